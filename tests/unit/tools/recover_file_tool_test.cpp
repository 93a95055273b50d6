#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/unit/formats/file_size_limit.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendTest {
namespace {
using Formats::BACKUP_RECOVER_LIST_PATH;
using Formats::RECOVER_LIST_PATH;
using TavomendEngine::RecoverFileTool;
using Names = std::vector<std::string>;

constexpr const char* AB_TEXT = "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}";

class RecoverFileToolTest : public DeviceTest {
protected:
    RecoverFileTool tool_;
};

TEST_F(RecoverFileToolTest, WritesTheListAndDropsTheBackup)
{
    WriteFile("/etc/passwd", "tavomend:x:" + std::to_string(geteuid()) + ":1012::/:\n");
    for (const auto& [stage, group] : {std::pair{TavomendEngine::RUNNING_STAGE_SA, getegid()},
                                       std::pair{TavomendEngine::RUNNING_STAGE_INIT, gid_t{1012}}}) {
        TavomendEngine::SysUtils::SetRunningStage(stage);
        WriteFile(BACKUP_RECOVER_LIST_PATH, "old");
        ASSERT_TRUE(tool_.WriteReInstallFile({"com.a", "com.b"}));
        EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), AB_TEXT);
        EXPECT_FALSE(Exists(BACKUP_RECOVER_LIST_PATH));
        struct stat info {};
        ASSERT_EQ(stat(RECOVER_LIST_PATH, &info), 0);
        EXPECT_EQ(info.st_gid, group); // the engine's in the init stage
    }
    WriteFile(BACKUP_RECOVER_LIST_PATH, "old"); // no names: nothing is touched
    EXPECT_TRUE(tool_.WriteReInstallFile({}));
    EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), AB_TEXT);
    EXPECT_TRUE(Exists(BACKUP_RECOVER_LIST_PATH));
    {
        const FileSizeLimit limit(10); // shows when the file is closed
        EXPECT_FALSE(tool_.WriteReInstallFile({"com.a", "com.b"}));
    }
    std::filesystem::remove_all(Formats::WORK_DIR);
    EXPECT_FALSE(tool_.WriteReInstallFile({"com.a"}));
}

TEST_F(RecoverFileToolTest, TheListCountsWhenItIsOnTheDisk)
{
    const auto put = [] {
        WriteFile(RECOVER_LIST_PATH, "the older list");
        WriteFile(BACKUP_RECOVER_LIST_PATH, "the backup");
    };
    put();
    auto layer = std::make_unique<FaultyFileLayer>();
    ASSERT_TRUE(tool_.WriteReInstallFile({"com.a", "com.b"}));
    const std::vector<std::string> calls = layer->Calls();
    layer->CutPower();
    EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), AB_TEXT);
    tool_.RenameRevokeFileToBak();
    layer->CutPower();
    EXPECT_EQ(ReadFile(BACKUP_RECOVER_LIST_PATH), AB_TEXT);
    for (size_t n = 1; n <= calls.size(); ++n) {
        layer.reset();
        put();
        layer = std::make_unique<FaultyFileLayer>();
        layer->FailFrom(n);
        static_cast<void>(tool_.WriteReInstallFile({"com.a", "com.b"}));
        layer->CutPower();
        const std::string list = ReadFile(RECOVER_LIST_PATH);
        EXPECT_TRUE(list == "the older list" || list == AB_TEXT) << calls[n - 1] << ": " << list;
        EXPECT_TRUE(list == AB_TEXT || ReadFile(BACKUP_RECOVER_LIST_PATH) == "the backup") << calls[n - 1];
    }
    for (const char* kind : {"open", "write", "fsync", "close", "rename"}) {
        layer.reset();
        put();
        layer = std::make_unique<FaultyFileLayer>();
        layer->FailCall(kind, 1, ENOSPC);
        const LogCapture log;
        EXPECT_FALSE(tool_.WriteReInstallFile({"com.a"})) << kind;
        EXPECT_EQ(log.Contains("file is NULL, errorMessage: No space left on device"), kind == std::string("open"));
        EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), "the older list") << kind;
        EXPECT_EQ(Exists(BACKUP_RECOVER_LIST_PATH), kind == std::string("open")) << kind;
        EXPECT_EQ(ListTree(Formats::WORK_DIR).size(), kind == std::string("open") ? 2U : 1U) << kind;
    }
    layer.reset();
    std::filesystem::remove(RECOVER_LIST_PATH);
    std::filesystem::create_directory(RECOVER_LIST_PATH);
    WriteFile(BACKUP_RECOVER_LIST_PATH, "the backup");
    const LogCapture log;
    EXPECT_FALSE(tool_.WriteReInstallFile({"com.a"}));
    EXPECT_TRUE(log.Contains("file is NULL, errorMessage: Is a directory"));
    EXPECT_TRUE(Exists(BACKUP_RECOVER_LIST_PATH));
}

TEST_F(RecoverFileToolTest, ReadsWhatIsWholeOfADamagedList)
{
    Names names = {"x"};
    EXPECT_TRUE(tool_.GetRecoverBundleNameList(names)); // no list at all
    EXPECT_EQ(names, Names{"x"});
    for (const char* text : {R"({"list": "a"})", R"({"list": ["a")", R"({"list": ["a", 5, "c"]})"}) {
        WriteFile(RECOVER_LIST_PATH, text);
        EXPECT_FALSE(tool_.GetRecoverBundleNameList(names)) << text;
    }
    WriteFile(RECOVER_LIST_PATH, R"({"list": ["b"]})");
    EXPECT_TRUE(tool_.GetRecoverBundleNameList(names));
    EXPECT_EQ(names, (Names{"x", "a", "b"}));                       // appended
    WriteFile(BACKUP_RECOVER_LIST_PATH, R"({"list": ["c", "c"]})"); // goes first
    EXPECT_TRUE(tool_.GetRecoverBundleNameList(names));
    EXPECT_EQ(names, (Names{"x", "a", "b", "c", "c"}));
}

TEST_F(RecoverFileToolTest, RenamesAndRemoves)
{
    tool_.RenameRevokeFileToBak(); // nothing there: nothing done
    tool_.RemoveRevokeBakFile();
    EXPECT_FALSE(tool_.RecoverFileIsExist());

    WriteFile(BACKUP_RECOVER_LIST_PATH, "old");
    WriteFile(RECOVER_LIST_PATH, "new");
    EXPECT_TRUE(tool_.RecoverFileIsExist());
    const LogCapture log;
    tool_.RenameRevokeFileToBak();
    EXPECT_EQ(ReadFile(BACKUP_RECOVER_LIST_PATH), "new");
    EXPECT_FALSE(Exists(RECOVER_LIST_PATH));
    EXPECT_FALSE(tool_.RecoverFileIsExist()); // of the list alone
    tool_.RemoveRevokeBakFile();
    EXPECT_FALSE(Exists(BACKUP_RECOVER_LIST_PATH));
    EXPECT_EQ(log.Count(""), 3U); // the end of both, and the question's answer
}
} // namespace
} // namespace ORVX::TavomendTest
