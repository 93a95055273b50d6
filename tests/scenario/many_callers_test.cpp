// Programs that come to one device at the same time: one works, the others wait or are told who does.
#include <filesystem>
#include <future>
#include <memory>
#include <unistd.h>

#include "hosting/device_lock.h"
#include "tests/scenario/device_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHosting::DeviceLock;
using TavomendHosting::Outcome;

TEST(ManyCallersTest, OneWorksOnADeviceAtATime)
{
    const DeviceWorld world;
    const std::string files = " " + world.At("app.tvpk") + " " + world.At("sign.bin");
    WriteFile(world.At("app.tvpk"), "no package");
    WriteFile(world.At("sign.bin"), "no signature");
    ASSERT_EQ(world.Tavomend("version").exitCode, 0);
    const auto before = ListTree(world.At("dev/data/update"));
    auto lock = std::make_unique<DeviceLock>();
    ASSERT_EQ(lock->Take(world.At("dev"), "apply", 0).outcome, Outcome::DONE);
    const std::string busy = "busy: process " + std::to_string(getpid()) + " (apply) works on this device";
    for (const std::string& command :
         {std::string("apply"), "deliver" + files, "install" + files, std::string("load --stage init"),
          std::string("boot"), std::string("clear"), std::string("revoke com.hot"), std::string("test"),
          std::string("version"), std::string("info --wait 0"), std::string("device users --add 7"),
          "device install " + world.At("Hot.vab")}) {
        const CliResult result = world.Tavomend(command);
        EXPECT_EQ(result.exitCode, 4) << command;
        EXPECT_EQ(result.out, "") << command;
        EXPECT_EQ(result.err, "tavomend: " + busy + "\n") << command;
    }
    EXPECT_EQ(ListTree(world.At("dev/data/update")), before);
    EXPECT_EQ(world.Tavomend("--json apply").out,
              R"({"schema":1,"event":"error","error":{"code":"busy","message":")" + busy + "\"}}\n");
    for (const char* command : {"status", "device list"}) {
        EXPECT_EQ(world.Tavomend(command).exitCode, 0) << command;
    }
    for (const char* command : {"version --wait", "--wait 600 version"}) {
        lock = std::make_unique<DeviceLock>();
        static_cast<void>(lock->Take(world.At("dev"), "boot", 0));
        auto waiting = std::async(std::launch::async, [&] { return world.Tavomend(command); });
        lock.reset();
        EXPECT_EQ(waiting.get().out, "patch00\n") << command;
    }
}

// Each pair of the changing commands at once on a device on which a patch waits, five times: whatever comes first, the
// next boot has it.
TEST(ManyCallersTest, TwoCommandsAtOnceLoseNothing)
{
    const DeviceWorld world;
    const std::string files = " " + world.At("app.tvpk") + " " + world.At("sign.bin");
    const std::string clear = "clear --yes";
    const std::string revoke = "revoke com.hot";
    const std::vector<std::string> commands = {"deliver" + files,
                                               "install" + files,
                                               "apply",
                                               "load --stage sa",
                                               "boot",
                                               "info",
                                               revoke,
                                               clear,
                                               "device install " + world.At("Single.vab") + " --user 0"};
    uint32_t version = 1;
    for (size_t round = 0; round < 2 * commands.size() * commands.size(); ++round) {
        const std::string& one = commands[round % commands.size()];
        const std::string& other = commands[round / commands.size() % commands.size()];
        if (one > other) {
            continue;
        }
        const std::string what = one + " and " + other;
        PatchRecipe recipe = DeviceWorld::BaselinePatch(++version);
        recipe.apps.resize(1);
        world.Deliver(recipe);
        auto beside = std::async(std::launch::async, [&] { return world.Tavomend(one); });
        for (const CliResult& result : {world.Tavomend(other), beside.get()}) {
            const bool isLate = result.err == "tavomend: a delivered package is waiting: apply it, or boot, first\n";
            EXPECT_TRUE(result.exitCode == 0 || result.exitCode == 3 || result.exitCode == 4 || isLate)
                << what << ": " << result.err;
        }
        const bool isCleared = one == clear || other == clear;
        const bool isRevoked = one == revoke || other == revoke;
        const CliResult boot = world.Tavomend("boot");
        EXPECT_TRUE(boot.exitCode == 0 || boot.exitCode == 3) << boot.err;
        const uint32_t now = world.InstalledVersions()["com.hot"];
        EXPECT_TRUE(now == version || isCleared || (isRevoked && now == 1)) << what << ": " << now;
        const size_t left = ListTree(world.At("dev/data/update/tavomend/package")).size();
        EXPECT_TRUE(left == 2 || (isCleared && left == 0)) << what;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
