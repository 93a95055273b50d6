// What a hosting program asks of the port that it runs on, beside what the engine asks.
#ifndef TAVOMEND_PLATFORM_API_DEVICE_PORT_H
#define TAVOMEND_PLATFORM_API_DEVICE_PORT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ORVX {
enum class ServiceStart {
    SCAN,   // a boot: the bundle service scans, then publishes event 1
    ATTACH, // a look at a device that has come up: nothing is changed, event 1 counts as published
};

// What one boot scan did, for people to read.
struct ScanReport {
    struct Entry {
        std::string bundleName;   // empty for a file whose bundle could not be read
        std::string action;       // "factory", "restored", "updated", "skipped"
        std::string reason;       // why it was skipped; empty otherwise
        uint32_t versionCode = 0; // after the action
    };
    std::vector<Entry> entries;
    std::string storeRebuilt; // one line when the record of what is installed was damaged and has been made anew
};

// One application as the bundle service has it installed.
struct InstalledBundle {
    std::string bundleName;
    uint32_t versionCode = 0;
    std::string versionName;
    bool keepAlive = false;
    bool singleton = false;
    std::string bundleType;                     // "app" or "appServiceFwk"
    std::map<std::string, std::string> modules; // module to bundle file in use, absolute
    std::vector<int32_t> users;                 // 0 alone for a singleton
    bool isFactory = false;                     // runs its factory files
    std::optional<uint32_t> factoryVersion;
};

// The platform's services as long as they run in this process. One at a time in a process; the destructor waits for
// installs under way.
class IDevicePlatform {
public:
    virtual ~IDevicePlatform() = default;

    // Of the scan at the start; empty after ATTACH.
    [[nodiscard]] virtual const ScanReport& GetScanReport() const = 0;
    // By name; nothing when that cannot be read, which is not the same as an empty list.
    [[nodiscard]] virtual std::optional<std::vector<InstalledBundle>> ListBundles() const = 0;
    // By id; nothing when that cannot be read.
    [[nodiscard]] virtual std::optional<std::vector<int32_t>> ListUsers() const = 0;
    // Creates an account and publishes event 2. False with one line for people when it exists or the id is not above 0.
    [[nodiscard]] virtual bool AddUser(int32_t userId, std::string& error) = 0;
    // Takes the user's bundles along. False with one line for people.
    [[nodiscard]] virtual bool RemoveUser(int32_t userId, std::string& error) = 0;
};

// Chosen by the program; the rooms between it and the engine know this interface only.
class IDevicePort {
public:
    virtual ~IDevicePort() = default;

    // Null on failure; error is one line for people.
    [[nodiscard]] virtual std::unique_ptr<IDevicePlatform> Start(ServiceStart start, std::string& error) const = 0;
    // What a verdict of this port's bundle service means; empty for a number that is none of its own.
    [[nodiscard]] virtual std::string InstallCodeText(int32_t code) const = 0;
    // A file that the difference library rebuilds in this process: its bytes that are there, and its size; two zeros
    // when it is about to begin, and the size is not known yet.
    using RebuildWatcher = std::function<void(const std::string& product, uint64_t done, uint64_t total)>;
    // From now on tells the watcher, in place of an earlier one, on the thread that rebuilds; none without a function.
    // A port whose library tells nothing never calls it.
    virtual void WatchRebuilds(RebuildWatcher /*watcher*/) const {}
    // Why this device cannot apply a difference that begins like this: what follows the difference's name in a line for
    // people, such as "needs ...". Empty when nothing that the head tells stands against it, for a head of no format
    // that the port knows, and from a port that cannot tell: applying it will. head: the first DIFFERENCE_HEAD_SIZE
    // bytes, or all of a smaller difference.
    [[nodiscard]] virtual std::string WhyNotApplicable(const std::string& /*head*/) const { return ""; }
    // Enough for the header of any format that is known.
    static constexpr size_t DIFFERENCE_HEAD_SIZE = 128;
};
} // namespace ORVX

#endif
