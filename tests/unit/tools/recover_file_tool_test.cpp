#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "formats/device_paths.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
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
