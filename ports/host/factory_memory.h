// What earlier scans have found below the factory's directory, so that a boot reads only what has changed.
#ifndef TAVOMEND_PORTS_HOST_FACTORY_MEMORY_H
#define TAVOMEND_PORTS_HOST_FACTORY_MEMORY_H

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "formats/bundle_file.h"

namespace ORVX::TavomendHost {
constexpr const char* FACTORY_MEMORY_PATH = "/data/service/bundles/factory_files";

// The names in a directory, without links and other files.
struct Listing {
    std::vector<std::string> directories;
    std::vector<std::string> bundleFiles;
};
// False when the directory could not be listed to its end; the listing then has what came before. One that is not there
// is empty.
[[nodiscard]] bool ListDirectory(const std::string& path, Listing& listing);

// A file or directory counts as unchanged while its path, size, inode, device and both its times, in nanoseconds, are
// the same, and so is /etc/os-release: images that are made to be the same again may give a new file the stamp of an
// old one. What was changed around the time of its reading is read once more, since a clock's tick may have hidden a
// change.
//
// A cache file: where it is missing, damaged or of another kind, everything is read. Made by the platform for one boot
// scan; for one thread.
class FactoryMemory {
public:
    // path: where it lies. now: the clock that files get their times from.
    FactoryMemory(std::string path, timespec now);

    // What ListDirectory gives; of an unchanged directory, what it gave.
    [[nodiscard]] bool List(const std::string& path, Listing& listing);
    // What ReadBundleFile gives; of an unchanged file, what it gave.
    [[nodiscard]] std::optional<Formats::BundleManifest> Read(const std::string& path, std::string& error);
    // Reads a file through that Read has told from memory alone, for who is going to use it. False, with a line for
    // people, when it is not what it was then; from then on it is not remembered.
    [[nodiscard]] bool Confirm(const std::string& path, std::string& error);
    // Puts down what was asked for since, where that is not what lies there already.
    void Save() const;

private:
    template <typename Value>
    struct Entry {
        std::string stamp;
        bool isYoung = false; // changed around the time of its reading
        bool isRead = false;  // in this scan
        Value value;
    };
    template <typename Value>
    using Entries = std::map<std::string, Entry<Value>>; // by path

    [[nodiscard]] std::string Print() const;
    void Parse(const std::string& text);
    // Takes over what is remembered of something unchanged; null for anything else.
    template <typename Value>
    [[nodiscard]] static const Value* Recall(const std::string& path, Entries<Value>& former, Entries<Value>& found);
    // Notes what was read of something that has had the stamp before and after.
    template <typename Value>
    void Note(const std::string& path, const std::string& stamp, const Value& value, Entries<Value>& found);
    [[nodiscard]] std::optional<Formats::BundleManifest> ReadThrough(const std::string& path, std::string& error);

    const std::string path_;
    const timespec now_;
    const std::string system_; // the hash of /etc/os-release; empty when there is none, and nothing is remembered then
    bool isChanged_ = false;
    Entries<Listing> formerListings_; // what is left here at the end is gone from the device
    Entries<Listing> listings_;
    Entries<Formats::BundleManifest> formerFiles_;
    Entries<Formats::BundleManifest> files_;
};
} // namespace ORVX::TavomendHost

#endif
