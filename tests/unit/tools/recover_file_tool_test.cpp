#include <gtest/gtest.h>

#include "formats/device_paths.h"
#include "tests/support/device_fixture.h"
#include "tools/recover_file_tool.h"

namespace ORVX::TavomendTest {
namespace {
using Formats::BACKUP_RECOVER_LIST_PATH;
using Formats::RECOVER_LIST_PATH;
using TavomendEngine::RecoverFileTool;
using Names = std::vector<std::string>;

class RecoverFileToolTest : public DeviceTest {
protected:
    RecoverFileTool tool_;
};

TEST_F(RecoverFileToolTest, WritesTheListAndDropsTheBackup)
{
    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, "old");
    ASSERT_TRUE(tool_.WriteReInstallFile({"com.a", "com.b"}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}");
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));

    EXPECT_TRUE(tool_.WriteReInstallFile({}));
    EXPECT_EQ(ReadFile(Formats::RECOVER_LIST_PATH), "{\n\t\"list\":\t[\"com.a\", \"com.b\"]\n}");
}

TEST_F(RecoverFileToolTest, FailsWhereTheListCannotBeWritten)
{
    std::filesystem::remove_all(Formats::WORK_DIR);
    const LogCapture log;
    EXPECT_FALSE(tool_.WriteReInstallFile({"com.a"}));
    EXPECT_TRUE(log.Contains("file is NULL, errorMessage: No such file or directory"));
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
        WriteFile(Formats::RECOVER_LIST_PATH, damaged.text);
        const LogCapture log;
        Names names;
        EXPECT_EQ(tool_.GetRecoverBundleNameList(names), damaged.isRead) << damaged.text;
        EXPECT_EQ(names, damaged.names) << damaged.text;
        EXPECT_TRUE(log.Contains(damaged.message)) << damaged.text;
    }
}

TEST_F(RecoverFileToolTest, RenamesAndRemoves)
{
    tool_.RenameRevokeFileToBak(); // nothing there: nothing done
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    EXPECT_FALSE(tool_.RecoverFileIsExist());

    WriteFile(Formats::BACKUP_RECOVER_LIST_PATH, "old");
    WriteFile(Formats::RECOVER_LIST_PATH, "new");
    EXPECT_TRUE(tool_.RecoverFileIsExist());
    tool_.RenameRevokeFileToBak();
    EXPECT_EQ(ReadFile(Formats::BACKUP_RECOVER_LIST_PATH), "new");
    EXPECT_FALSE(tool_.RecoverFileIsExist());

    tool_.RemoveRevokeBakFile();
    EXPECT_FALSE(Exists(Formats::BACKUP_RECOVER_LIST_PATH));
    tool_.RemoveRevokeBakFile();
}
} // namespace
} // namespace ORVX::TavomendTest
