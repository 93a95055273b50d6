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
    WriteFile(BACKUP_RECOVER_LIST_PATH, "old");
    const LogCapture log;
    ASSERT_TRUE(tool_.WriteReInstallFile({"com.a", "com.b"}));
    EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), AB_TEXT);
    EXPECT_FALSE(Exists(BACKUP_RECOVER_LIST_PATH));
    EXPECT_EQ(log.Count("WriteReInstallFile begin"), 1U);
    EXPECT_EQ(log.Count("remove revoke bak file end"), 1U);

    WriteFile(BACKUP_RECOVER_LIST_PATH, "old"); // no names: nothing is touched
    EXPECT_TRUE(tool_.WriteReInstallFile({}));
    EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), AB_TEXT);
    EXPECT_TRUE(Exists(BACKUP_RECOVER_LIST_PATH));
}

TEST_F(RecoverFileToolTest, TheListIsTheEnginesInTheInitStage)
{
    WriteFile("/etc/passwd", "tavomend:x:1011:1012::/:/bin/x\n");
    if (chown("/etc/passwd", 1011, 1012) != 0) {
        GTEST_SKIP() << "this user cannot give files away";
    }
    for (const auto& [stage, owner] : {std::pair{TavomendEngine::RUNNING_STAGE_SA, geteuid()},
                                       std::pair{TavomendEngine::RUNNING_STAGE_INIT, uid_t{1011}}}) {
        TavomendEngine::SysUtils::SetRunningStage(stage);
        ASSERT_TRUE(tool_.WriteReInstallFile({"com.a"}));
        struct stat info {};
        ASSERT_EQ(stat(RECOVER_LIST_PATH, &info), 0);
        EXPECT_EQ(info.st_uid, owner);
    }
}

TEST_F(RecoverFileToolTest, FailsWhereTheListCannotBeWritten)
{
    const LogCapture log;
    {
        const FileSizeLimit limit(10); // shows when the file is closed
        EXPECT_FALSE(tool_.WriteReInstallFile({"com.a", "com.b"}));
    }
    EXPECT_EQ(log.Count("file is NULL, errorMessage: No such file or directory"), 0U);
    std::filesystem::remove_all(Formats::WORK_DIR);
    EXPECT_FALSE(tool_.WriteReInstallFile({"com.a"}));
    EXPECT_EQ(log.Count("file is NULL, errorMessage: No such file or directory"), 1U);
}

TEST_F(RecoverFileToolTest, TheBackupTakesPrecedence)
{
    Names names;
    EXPECT_TRUE(tool_.GetRecoverBundleNameList(names));
    EXPECT_EQ(names, Names());
    WriteFile(Formats::RECOVER_LIST_PATH, R"({"list": ["com.new"]})");
    EXPECT_TRUE(tool_.GetRecoverBundleNameList(names));
    EXPECT_EQ(names, Names{"com.new"});
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, R"({"list": ["com.old"]})");
    EXPECT_TRUE(tool_.GetRecoverBundleNameList(names));
    EXPECT_EQ(names, (Names{"com.new", "com.old"})); // appended
}

TEST_F(RecoverFileToolTest, ReadsWhatIsWholeOfADamagedList)
{
    struct Case {
        const char* text;
        bool isRead;
        Names names;
        const char* message;
    };
    const Case cases[] = {
        {R"({"list": ["a", 5, "c"]})", false, {"a"}, "parse product model failed"},
        {R"({"list": []})", true, {}, "get recover bundleName list end"},
        {R"({})", false, {}, "listArr is null"},
        {R"({"list": "a"})", false, {}, "listArr is null"},
        {R"({"list": ["a")", false, {}, "cJSON root is NULL."},
    };
    for (const auto& damaged : cases) {
        WriteFile(RECOVER_LIST_PATH, damaged.text);
        const LogCapture log;
        Names names;
        EXPECT_EQ(tool_.GetRecoverBundleNameList(names), damaged.isRead) << damaged.text;
        EXPECT_EQ(names, damaged.names) << damaged.text;
        EXPECT_EQ(log.Count(damaged.message), 1U) << damaged.text;
        const bool isWalked = damaged.isRead || !damaged.names.empty();
        EXPECT_EQ(log.Count("get recover bundleName list end"), isWalked ? 1U : 0U) << damaged.text;
        EXPECT_EQ(log.Count(""), damaged.isRead || !isWalked ? 1U : 2U) << damaged.text;
    }
}

TEST_F(RecoverFileToolTest, RenamesAndRemoves)
{
    {
        const LogCapture log;
        tool_.RenameRevokeFileToBak(); // nothing there: nothing done
        EXPECT_EQ(log.Count(""), 0U);
        tool_.RemoveRevokeBakFile();
        EXPECT_EQ(log.Count("remove revoke bak file end"), 1U);
        EXPECT_FALSE(tool_.RecoverFileIsExist());
        EXPECT_EQ(log.Count("recover file not exist"), 1U);
    }
    EXPECT_FALSE(Exists(BACKUP_RECOVER_LIST_PATH));

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

    WriteFile(RECOVER_LIST_PATH, "stays");
    std::filesystem::create_directories(BACKUP_RECOVER_LIST_PATH);
    tool_.RenameRevokeFileToBak();
    EXPECT_EQ(log.Count("rename recover file failed, errorMessage: Is a directory"), 1U);
    EXPECT_EQ(log.Count("rename revoke file to bak"), 2U);
    EXPECT_EQ(ReadFile(RECOVER_LIST_PATH), "stays");
}
} // namespace
} // namespace ORVX::TavomendTest
