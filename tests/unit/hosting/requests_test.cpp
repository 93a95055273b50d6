// Deliveries, clearing and questions, each in a process of its own, as hosts ask.
#include <sys/stat.h>

#include "formats/device_paths.h"
#include "hosting/delivery.h"
#include "hosting/requests.h"
#include "platform/utility/sys_utils.h"
#include "tests/unit/hosting/hosted_device.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendHosting;

const PackageFiles FILES = {"/tmp/out/app.tvpk", "/tmp/out/sign.bin"};

std::string LineOfOperation(const OperationResult& result)
{
    return WordOf(result.outcome) + (result.reason.empty() ? "" : ": " + result.reason);
}

class RequestsTest : public HostedDeviceTest {
protected:
    void SetUp() override
    {
        HostedDeviceTest::SetUp();
        TavomendEngine::SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_INIT); // as another left it
    }
    void WriteFiles(const SigningKey& key) const
    {
        const std::string package = PatchBuilder(recipe).Package();
        WriteFile(FILES.package, package);
        WriteFile(FILES.signature, key.Sign(package));
    }
    [[nodiscard]] std::string Deliver() const
    {
        return Play([](IHostObserver& observer) {
            std::string error;
            if (!BringIn(FILES, "", error)) {
                observer.OnEngineStatus(0, error);
            }
            const auto result = DeliverIncoming();
            return LineOfOperation(result) + (result.refusal.empty() ? "" : ", refused: " + result.refusal);
        });
    }
    [[nodiscard]] std::string Version() const
    {
        return Play([](IHostObserver& /*observer*/) {
            const auto result = AskVersion();
            return LineOfOperation(result) + " " + result.version;
        });
    }
    [[nodiscard]] std::string Info() const
    {
        return Play([this](IHostObserver& /*observer*/) {
            const auto result = AskInfo(port);
            std::string line = LineOfOperation(result) + (result.isPending ? ", pending" : "");
            for (const auto& [name, isFixed] : result.fixed) {
                line += ", " + name + (isFixed ? " fixed" : " not fixed");
            }
            return line;
        });
    }
    [[nodiscard]] std::string Test() const
    {
        return Play([this](IHostObserver& /*observer*/) {
            const auto result = AskTest(port);
            return LineOfOperation(result) + " " + result.text;
        });
    }
};

TEST_F(RequestsTest, FilesThatCannotBeBroughtInLeaveNothing)
{
    WriteFiles(Key());
    WriteFile("/tmp/file", "");
    struct Case {
        PackageFiles files;
        const char* deviceRoot;
        const char* error;
    };
    const Case cases[] = {
        {{"/none", FILES.signature}, "", "there is no file /none"},
        {{FILES.package, "/none"}, "", "there is no file /none"},
        {{FILES.package, "/tmp"}, "", "there is no file /tmp"},
        {FILES, "/tmp/file", "cannot copy /tmp/out/app.tvpk to the device"},
    };
    for (const auto& entry : cases) {
        std::string error;
        EXPECT_FALSE(BringIn(entry.files, entry.deviceRoot, error));
        EXPECT_EQ(error, entry.error);
        EXPECT_TRUE(ListTree(Formats::PACKAGE_DIR).empty()) << error;
    }
    std::string error;
    ASSERT_TRUE(BringIn(FILES, "/tmp/device", error)) << error;
    for (const auto& [source, target] :
         {std::pair{FILES.package, INCOMING_PACKAGE}, std::pair{FILES.signature, INCOMING_SIGNATURE}}) {
        const std::string path = std::string("/tmp/device") + target;
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777U, 0600U);
        EXPECT_EQ(ReadFile(path), ReadFile(source));
    }
}

TEST_F(RequestsTest, ADeliveryWaitsUntilItIsApplied)
{
    WriteFiles(SigningKey());
    EXPECT_EQ(Deliver(), "done, refused: the signature does not verify\n");
    EXPECT_EQ(Version(), "failed: the delivered package does not pass its check: the signature does not verify \n");
    WriteFiles(Key());
    EXPECT_EQ(Deliver(), "done\n");
    EXPECT_EQ(ReadFile(Formats::PACKAGE_PATH), ReadFile(FILES.package));
    EXPECT_EQ(ReadFile(Formats::SIGN_PATH), ReadFile(FILES.signature));
    EXPECT_EQ(Version(), "done patch01\n");
    EXPECT_EQ(Info(), "nothing: a delivered package is waiting: apply it, or boot, first, pending\n");
    const std::string nothing =
        Play([](IHostObserver& /*observer*/) { return LineOfOperation(DeliverIncoming()); }); // nothing brought in
    EXPECT_EQ(nothing, "failed: cannot put the package in place: No such file or directory\n");
}

TEST_F(RequestsTest, QuestionsAreAnsweredFromThePatchInForce)
{
    EXPECT_EQ(Version(), "done patch00\n");
    EXPECT_EQ(Info(), "nothing: no patch is in force\n");
    EXPECT_EQ(Test(), "done \"Vab\": \"null,vab patch backup package no exist\"\n");
    recipe.apps[1].files[0].hash = Sha256Hex("another content");
    Place();
    EXPECT_NE(Apply(), "");
    EXPECT_EQ(Version(), "done patch01\n");
    EXPECT_EQ(Info(), "done, com.a fixed, com.b not fixed\n");
    EXPECT_EQ(Test(), "done \"Vab\": \"com.a:2:true,com.b:2:false\"\n");
    EXPECT_EQ(Play([](IHostObserver& /*observer*/) { return LineOfOperation(RevokeBundles({"com.a"})); }), "failed\n");
    const StatusView view = AskStatus(port);
    EXPECT_EQ(view.status + " " + view.version + " " + view.detail,
              "activites_failed patch01 1|0(1|600,611,640):48;1|1(1|811,822,810,822):35");
    EXPECT_EQ(view.explanation, "com.b: a rebuilt file does not have the stated hash (1|640)");
    port.refused = ServiceStart::ATTACH;
    EXPECT_EQ(Info(), "no platform: the services do not start\n");
    EXPECT_EQ(Test(), "no platform: the services do not start \n");
}

TEST_F(RequestsTest, APatchThatNamesNoApplicationsHasNothingToTell)
{
    recipe = PatchRecipe();
    recipe.action = 2;
    Place();
    EXPECT_NE(Boot(), "");
    EXPECT_EQ(Info(), "nothing: the patch in force names no applications\n");
}

TEST_F(RequestsTest, ClearingForgetsThePatchAndKeepsTheApplications)
{
    Place();
    EXPECT_NE(Apply(), "");
    EXPECT_TRUE(Exists(Formats::BACKUP_PACKAGE_PATH));
    EXPECT_EQ(Play([](IHostObserver& /*observer*/) { return LineOfOperation(ClearPatches()); }), "done\n");
    EXPECT_FALSE(Exists(Formats::BACKUP_PACKAGE_PATH));
    EXPECT_EQ(AskStatus(port).status, "idle");
    EXPECT_EQ(Versions(), "com.a 2, com.b 2");
}
} // namespace
} // namespace ORVX::TavomendTest
