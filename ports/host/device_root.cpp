#include "ports/host/device_root.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include "handles/unique_descriptor.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendHost {
using Handles::UniqueDescriptor;

namespace {
UniqueDescriptor OpenDirectory(const char* path)
{
    return UniqueDescriptor(open(path, O_PATH | O_DIRECTORY | O_CLOEXEC));
}

bool WriteProcFile(const char* path, const std::string& text)
{
    const UniqueDescriptor file(open(path, O_WRONLY | O_CLOEXEC));
    return file.IsValid() && write(file.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Makes the process root of a user namespace of its own, where its one user is mapped (user_namespaces(7)).
bool EnterUserNamespace()
{
    const std::string uid = std::to_string(geteuid());
    const std::string gid = std::to_string(getegid());
    return unshare(CLONE_NEWUSER) == 0 && WriteProcFile("/proc/self/setgroups", "deny") &&
           WriteProcFile("/proc/self/uid_map", "0 " + uid + " 1") &&
           WriteProcFile("/proc/self/gid_map", "0 " + gid + " 1");
}
} // namespace

std::unique_ptr<DeviceRoot> DeviceRoot::Enter(const std::string& directory, std::string& error)
{
    UniqueDescriptor oldRoot = OpenDirectory("/");
    UniqueDescriptor oldDirectory = OpenDirectory(".");
    if (!TavomendEngine::FileUtils::DirIsExist(directory)) {
        error = "there is no directory " + directory;
        return nullptr;
    }
    if (!oldRoot.IsValid() || !oldDirectory.IsValid()) {
        error = std::string("cannot keep the way back out of a device root: ") + strerror(errno);
        return nullptr;
    }
    if (chroot(directory.c_str()) != 0 && (errno != EPERM || !EnterUserNamespace() || chroot(directory.c_str()) != 0)) {
        error = "cannot change root to " + directory + " (" + strerror(errno) +
                "): run as root with CAP_SYS_CHROOT, or allow unprivileged user namespaces "
                "(sysctl kernel.unprivileged_userns_clone=1)";
        return nullptr;
    }
    if (chdir("/") != 0) {
        error = std::string("cannot enter the device root: ") + strerror(errno);
    }
    return std::unique_ptr<DeviceRoot>(new DeviceRoot(oldRoot.Release(), oldDirectory.Release()));
}

DeviceRoot::DeviceRoot(int oldRoot, int oldDirectory) : oldRoot_(oldRoot), oldDirectory_(oldDirectory) {}

DeviceRoot::~DeviceRoot()
{
    if (fchdir(oldRoot_) == 0 && chroot(".") == 0) {
        static_cast<void>(fchdir(oldDirectory_) == 0);
    }
    close(oldRoot_);
    close(oldDirectory_);
}
} // namespace ORVX::TavomendHost
