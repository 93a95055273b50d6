#include "apps/tavomend/device_setup.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "apps/common/printable.h"
#include "apps/common/text_table.h"
#include "apps/tavomend/device_users.h"
#include "apps/tavomend/incoming_files.h"
#include "apps/tavomend/made_paths.h"
#include "formats/bundle_file.h"
#include "formats/device_paths.h"
#include "formats/signature.h"
#include "handles/file_error.h"
#include "platform/api/bundle_mgr.h"
#include "platform/api/system_ability_manager.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/bundle_file_set.h"
#include "ports/host/bundle_store.h"
#include "ports/host/host_platform.h"

namespace ORVX::TavomendCli {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

namespace {
constexpr uint32_t FILE_MODE = 0644;
constexpr const char* CANNOT_READ_STORE = "the bundle store cannot be read";

// Hands the installer's verdict over to the waiting command.
class Verdict : public StatusReceiverHost {
public:
    void OnStatusNotify(int32_t /*progress*/) override {}
    void OnFinished(int32_t resultCode, const std::string& resultMsg) override
    {
        promise_.set_value({resultCode, resultMsg});
    }
    void SetStreamInstallId(uint32_t /*installId*/) override {}
    [[nodiscard]] std::pair<int32_t, std::string> Wait() { return promise_.get_future().get(); }

private:
    std::promise<std::pair<int32_t, std::string>> promise_;
};

bool IsBaseVersion(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
        return letter >= ' ' && letter <= '~' && std::string("\"'\\$`").find(letter) == std::string::npos;
    });
}

// Where on the device each factory file goes: an application's directory is named after its first file. Nothing for a
// file that is no bundle file, does not go with the others of its application, or would take another one's place.
struct FactoryFiles {
    std::map<std::string, std::string> targets;                 // by file
    std::map<std::string, TavomendHost::BundleFileSet> bundles; // by name
};
std::optional<FactoryFiles> PlaceFactoryFiles(const std::vector<std::string>& files, std::string& error)
{
    std::map<std::string, std::string> dirs;    // by bundle name
    std::map<std::string, std::string> sources; // by target
    FactoryFiles factory;
    for (const auto& file : files) {
        const auto manifest = Formats::BundleFile::Read(file, error);
        if (!manifest) {
            return std::nullopt;
        }
        const bool isFwk = manifest->bundleType == Formats::BUNDLE_TYPE_SERVICE_FWK;
        const std::string name = fs::path(file).stem().string();
        const std::string dir = std::string(Formats::FACTORY_APP_DIR) + (isFwk ? "/appServiceFwk/" : "/") + name;
        const std::string target =
            dirs.emplace(manifest->bundleName, dir).first->second + "/" + name + Formats::BUNDLE_FILE_SUFFIX;
        const auto [former, isFree] = sources.emplace(target, file);
        if (!isFree) {
            error =
                former->second + " and " + file + " would both become " + target + ": give one of them another name";
            return std::nullopt;
        }
        if (!factory.bundles[manifest->bundleName].Add(file, *manifest, error)) {
            return std::nullopt;
        }
        factory.targets[file] = target;
    }
    return factory;
}

// What can be refused is refused before anything is written.
std::optional<FactoryFiles> LayOutFiles(const std::string& root, const DeviceSetup& setup, MadePaths& made,
                                        std::string& error)
{
    if (!IsBaseVersion(setup.baseVersion)) {
        error = "a base version is one line of printable characters, without quotes, backslashes, \"$\" and \"`\"";
        return std::nullopt;
    }
    const bool hasKey = !setup.publicKey.empty();
    if (hasKey && !Formats::HasPublicKey(setup.publicKey, error)) {
        return std::nullopt;
    }
    auto factory = PlaceFactoryFiles(setup.factoryFiles, error);
    if (!factory) {
        return std::nullopt;
    }
    made.Watch(root + TavomendEngine::OS_RELEASE_PATH);
    made.Watch(root + Formats::PUBLIC_KEY_PATH);
    for (const auto& entry : factory->targets) {
        made.Watch(root + entry.second);
    }
    const std::string release = "NAME=\"Device\"\nVERSION_ID=\"" + setup.baseVersion + "\"\n";
    if (!FileUtils::ReplaceFile(root + TavomendEngine::OS_RELEASE_PATH, release, FILE_MODE)) {
        error = Handles::CannotWrite(root + TavomendEngine::OS_RELEASE_PATH, errno);
        return std::nullopt;
    }
    if (hasKey && !FileUtils::ReplaceFileByCopy(setup.publicKey, root + Formats::PUBLIC_KEY_PATH, FILE_MODE)) {
        error = Handles::CannotWrite(root + Formats::PUBLIC_KEY_PATH, errno);
        return std::nullopt;
    }
    for (const auto& [file, target] : factory->targets) {
        if (!FileUtils::ReplaceFileByCopy(file, root + target, FILE_MODE)) {
            error = Handles::CannotWrite(root + target, errno);
            return std::nullopt;
        }
    }
    return factory;
}

bool RequestInstall(const std::vector<std::string>& paths, int32_t userId, const sptr<IStatusReceiver>& receiver)
{
    const auto abilities = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    const auto service = iface_cast<IBundleMgr>(abilities->GetSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID));
    InstallParam param;
    param.installFlag = InstallFlag::REPLACE_EXISTING;
    param.userId = userId;
    return service->GetBundleInstaller()->Install(paths, param, receiver) == 0;
}

std::string FlagsOf(const InstalledBundle& bundle)
{
    std::string flags = bundle.keepAlive ? "keep-alive" : "";
    for (const auto& [isSet, word] :
         {std::pair{bundle.singleton, "singleton"}, std::pair{bundle.bundleType != "app", "appServiceFwk"}}) {
        if (isSet) {
            flags += (flags.empty() ? "" : ",") + std::string(word);
        }
    }
    return flags;
}

std::vector<std::string> FilesOf(const InstalledBundle& bundle)
{
    std::vector<std::string> files;
    for (const auto& module : bundle.modules) {
        files.push_back(module.second);
    }
    return files;
}

// Nothing, shown, when they cannot be read.
std::optional<std::vector<InstalledBundle>> ListBundles(const Session& session, const IDevicePlatform& platform)
{
    auto bundles = platform.ListBundles();
    if (!bundles) {
        session.Out().Fail(CANNOT_READ_STORE);
    }
    return bundles;
}

int MakeDevice(Session& session, const std::string& root, const DeviceSetup& setup, MadePaths& made)
{
    std::string error;
    for (const auto& path : TavomendHost::HostPlatform::InitPaths()) {
        made.Watch(root + path);
    }
    const auto factory = LayOutFiles(root, setup, made, error);
    if (!factory) {
        return session.Out().Fail(error);
    }
    if (!session.EnterRoot()) {
        return EXIT_FAILED;
    }
    if (!TavomendHost::HostPlatform::InitDevice(error)) {
        return session.Out().Fail(error);
    }
    const auto platform = session.StartPlatform(ServiceStart::ATTACH);
    const auto bundles = platform == nullptr ? std::nullopt : ListBundles(session, *platform);
    if (!bundles) {
        return EXIT_FAILED;
    }
    for (const auto& given : factory->bundles) {
        const auto isIt = [&given](const auto& bundle) { return bundle.bundleName == given.first; };
        if (std::none_of(bundles->begin(), bundles->end(), isIt)) {
            return session.Out().Fail(given.first + " has not been taken; -v shows why");
        }
    }
    session.Out().Say("a device at base version " + setup.baseVersion + " with " + std::to_string(bundles->size()) +
                      " factory applications, user 100");
    session.Out().Emit("init", {{"baseVersion", setup.baseVersion}, {"installed", bundles->size()}});
    return EXIT_DONE;
}
} // namespace

int RunDeviceInit(Session& session, const DeviceSetup& setup)
{
    const std::string root = session.DeviceFolder();
    if (root.empty()) {
        return session.Out().Fail(
            "`device init` wants --root DIR; this machine itself becomes a device with `device init --system`");
    }
    if (FileUtils::FileIsExist(root + TavomendHost::BUNDLE_STORE_PATH)) {
        return session.Out().Fail("there is a device in " + root + " already");
    }
    const std::string absolute = fs::absolute(root).lexically_normal().string();
    MadePaths made;
    made.Watch(absolute);
    const std::string lock = absolute + TavomendHosting::DEVICE_LOCK_PATH;
    made.Watch(lock);
    if (!FileUtils::MakeDirs(fs::path(lock).parent_path())) {
        return session.Out().Fail("cannot make the directory " + root + ": " + Handles::SystemReason(errno));
    }
    if (const int locked = session.Lock(); locked != EXIT_DONE) {
        made.Keep(); // what another process makes is its own
        return locked;
    }
    const int result = MakeDevice(session, absolute, setup, made);
    session.LeaveRoot();
    if (result == EXIT_DONE) {
        made.Keep();
    }
    return result;
}

int RunDeviceInstall(Session& session, const std::vector<std::string>& files, int32_t userId)
{
    if (!session.CheckDevice()) {
        return EXIT_FAILED;
    }
    std::string error;
    IncomingFiles incoming(session.DeviceFolder());
    for (const auto& file : files) {
        if (!incoming.Add(file, error)) {
            return session.Out().Fail(error);
        }
    }
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    incoming.EnterDevice();
    const auto platform = session.StartPlatform(ServiceStart::ATTACH);
    if (platform == nullptr) {
        return EXIT_FAILED;
    }
    const auto verdict = MakeSptr<Verdict>();
    if (!RequestInstall(incoming.Paths(), userId, verdict)) {
        return session.Out().Fail("the bundle service refused the request");
    }
    auto [code, message] = verdict->Wait();
    message = incoming.InUsersWords(message);
    session.Out().Emit("install", {{"verdict", code}, {"message", message}});
    if (code != 0) {
        return session.Out().Fail(message);
    }
    session.Out().Say(Cli::Printable(message));
    return EXIT_DONE;
}

int RunDeviceList(Session& session)
{
    const auto platform = session.EnterDevice() ? session.StartPlatform(ServiceStart::ATTACH) : nullptr;
    const auto bundles = platform == nullptr ? std::nullopt : ListBundles(session, *platform);
    if (!bundles) {
        return EXIT_FAILED;
    }
    Cli::TextTable table({"BUNDLE", "USERS", "VERSION", "NAME", "STATE", "FLAGS"});
    auto rows = nlohmann::ordered_json::array();
    for (const auto& bundle : *bundles) {
        const char* state = !bundle.isFactory ? "updated" : "factory";
        table.Add({bundle.bundleName, JoinUsers(bundle.users), std::to_string(bundle.versionCode), bundle.versionName,
                   state, FlagsOf(bundle)});
        rows.push_back({{"bundle", bundle.bundleName},
                        {"users", bundle.users},
                        {"versionCode", bundle.versionCode},
                        {"versionName", bundle.versionName},
                        {"state", state},
                        {"keepAlive", bundle.keepAlive},
                        {"singleton", bundle.singleton},
                        {"type", bundle.bundleType},
                        {"files", FilesOf(bundle)}});
    }
    session.Out().Emit("list", {{"bundles", rows}});
    if (!session.Out().IsJson()) {
        session.Out().Say(table.ToString());
    }
    return EXIT_DONE;
}
} // namespace ORVX::TavomendCli
