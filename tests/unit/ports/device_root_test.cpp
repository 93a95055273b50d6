// A device root for a user without rights. Not on a device root itself: who is on one gets no namespace.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "ports/host/device_root.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::DeviceRoot;

// Runs it in a process of its own, of a user without rights, and gives its exit code.
int RunAsNobody(const std::function<int()>& work)
{
    const pid_t child = fork();
    if (child == 0) {
        const bool isNobody = getuid() != 0 || (setgroups(0, nullptr) == 0 && setresgid(65534, 65534, 65534) == 0 &&
                                                setresuid(65534, 65534, 65534) == 0);
        // Who has changed users may write to its own /proc files only when it could be dumped.
        _exit(isNobody && prctl(PR_SET_DUMPABLE, 1) == 0 ? work() : 100);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(DeviceRootTest, AUserWithoutRightsBecomesRootOfANamespaceOrIsToldWhatToAllow)
{
    std::string directory = std::filesystem::temp_directory_path() / "tavomendXXXXXX";
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    std::filesystem::permissions(directory, std::filesystem::perms(0755));
    WriteFile(directory + "/mark", "inside");
    const bool isAllowed = RunAsNobody([] { return unshare(CLONE_NEWUSER) == 0 ? 1 : 0; }) == 1;
    const int entered = RunAsNobody([&directory] {
        std::string error;
        const auto root = DeviceRoot::Enter(directory, error);
        if (root != nullptr) {
            return Exists("/mark") && getuid() == 0 && getgid() == 0 ? 1 : 2;
        }
        const bool isClear = error.find("cannot change root to " + directory + " (") == 0 &&
                             error.find("): run as root with CAP_SYS_CHROOT, or") != std::string::npos;
        return isClear ? 3 : 4;
    });
    EXPECT_EQ(entered, isAllowed ? 1 : 3);
    std::filesystem::remove_all(directory);
}
} // namespace
} // namespace ORVX::TavomendTest
