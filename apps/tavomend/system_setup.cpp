#include "apps/tavomend/system_setup.h"

#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "apps/common/printable.h"
#include "apps/tavomend/made_paths.h"
#include "formats/device_paths.h"
#include "formats/signature.h"
#include "handles/file_error.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/host_platform.h"

namespace ORVX::TavomendCli {
using TavomendEngine::FileUtils;
using TavomendHost::HostPlatform;

namespace {
constexpr uint32_t KEY_MODE = 0644;

// key: the content; empty for none.
bool PutKey(const std::string& key, std::string& error)
{
    const std::string former = FileUtils::GetFileStream(Formats::PUBLIC_KEY_PATH);
    if (key.empty() || former == key) {
        return true;
    }
    if (!former.empty()) {
        error = std::string("there is another public key in ") + Formats::PUBLIC_KEY_PATH +
                ", and packages for it: remove it first";
        return false;
    }
    if (!FileUtils::ReplaceFile(Formats::PUBLIC_KEY_PATH, key, KEY_MODE)) {
        error = Handles::CannotWrite(Formats::PUBLIC_KEY_PATH, errno);
        return false;
    }
    return true;
}

// On the system's root. isChanged: whether anything was missing.
bool Complete(const std::string& key, MadePaths& made, bool& isChanged, std::string& error)
{
    if (TavomendEngine::SysUtils::GetBaseVersion().empty()) {
        error = std::string(TavomendEngine::OS_RELEASE_PATH) +
                " tells no version of the system: IMAGE_VERSION or VERSION_ID";
        return false;
    }
    for (const auto& path : HostPlatform::InitPaths()) {
        if (path != TavomendEngine::ACCOUNT_FILE) {
            made.WatchMissing(path);
        }
    }
    if (!key.empty()) {
        made.WatchMissing(Formats::PUBLIC_KEY_PATH);
    }
    bool isAccountAdded = false;
    const bool isDone = PutKey(key, error) && HostPlatform::CompleteSystem(isAccountAdded, error);
    isChanged = made.IsAnyMade() || isAccountAdded;
    return isDone;
}

int CompleteSystem(Session& session, const std::string& key, MadePaths& made)
{
    made.WatchMissing(TavomendHosting::DEVICE_LOCK_PATH);
    if (!FileUtils::MakeDirs(std::filesystem::path(TavomendHosting::DEVICE_LOCK_PATH).parent_path())) {
        return session.Out().Fail("cannot make the directory of the device's lock: " + Handles::SystemReason(errno));
    }
    if (const int locked = session.Lock(); locked != EXIT_DONE) {
        made.Keep(); // what another process makes is its own
        return locked;
    }
    std::string error;
    bool isChanged = false;
    if (!Complete(key, made, isChanged, error)) {
        return session.Out().Fail(error);
    }
    made.Keep();
    const auto platform = session.StartPlatform(ServiceStart::ATTACH);
    const auto bundles = platform == nullptr ? std::nullopt : platform->ListBundles();
    if (!bundles) {
        return platform == nullptr ? EXIT_FAILED : session.Out().Fail("the bundle store cannot be read");
    }
    const std::string version = TavomendEngine::SysUtils::GetBaseVersion();
    session.Out().Say(Cli::Printable((isChanged ? "a device at base version " : "nothing was missing: base version ") +
                                     version + ", " + std::to_string(bundles->size()) + " applications"));
    if (!FileUtils::FileIsExist(Formats::PUBLIC_KEY_PATH)) {
        session.Out().Note("no package can be verified until a public key is in " +
                           std::string(Formats::PUBLIC_KEY_PATH) + ": --public-key puts it there");
    }
    session.Out().Emit("init", {{"baseVersion", version}, {"installed", bundles->size()}, {"changed", isChanged}});
    return EXIT_DONE;
}
} // namespace

int RunSystemInit(Session& session, const std::string& publicKey)
{
    std::string error;
    if (!publicKey.empty() && !Formats::HasPublicKey(publicKey, error)) {
        return session.Out().Fail(error);
    }
    const std::string key = publicKey.empty() ? "" : FileUtils::GetFileStream(publicKey);
    // First of all: links of an image lead to what is in the image.
    if (!session.EnterRoot()) {
        return EXIT_FAILED;
    }
    MadePaths made;
    return CompleteSystem(session, key, made);
}
} // namespace ORVX::TavomendCli
