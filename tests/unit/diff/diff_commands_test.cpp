// `tvpk diff` and `tvpk patch`, from outside.
#include <nlohmann/json.hpp>
#include <sys/wait.h>

#include "diff/difference_result.h"
#include "tests/unit/diff/sample_archive.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
class DiffCommandsTest : public testing::Test {
protected:
    void SetUp() override
    {
        const std::string content = CodeLikeContent(30000, 1);
        WriteArchive(scratch_.Path("old"), {{"code", content, 6}});
        WriteArchive(scratch_.Path("new"), {{"code", NextVersion(content), 6}});
    }

    // The exit code; what the program wrote is in "stdout" and "stderr".
    int Call(const std::string& arguments) const
    {
        const std::string command = "cd '" + scratch_.Path("") + "' && " TVPK_PROGRAM " " + arguments;
        return WEXITSTATUS(std::system((command + " >stdout 2>stderr").c_str()));
    }

    ScratchDirectory scratch_;
};

TEST_F(DiffCommandsTest, MakeAndApplyOneDifference)
{
    ASSERT_EQ(Call("diff --json old new difference"), 0) << scratch_.Read("stderr");
    const auto made = nlohmann::json::parse(scratch_.Read("stdout"));
    EXPECT_EQ(made.at("schema"), 1);
    EXPECT_EQ(made.at("kind"), "archive");
    EXPECT_EQ(made.at("newSize"), scratch_.Read("new").size());
    EXPECT_EQ(made.at("diffSize"), scratch_.Read("difference").size());
    EXPECT_EQ(scratch_.Read("stderr"), "");

    ASSERT_EQ(Call("patch difference old out"), 0) << scratch_.Read("stderr");
    EXPECT_TRUE(scratch_.Read("out") == scratch_.Read("new"));
}

TEST_F(DiffCommandsTest, FailuresAreOneLineAndACode)
{
    ASSERT_EQ(Call("diff old new difference"), 0);
    EXPECT_EQ(Call("patch --json difference new out"), 1);
    EXPECT_EQ(nlohmann::json::parse(scratch_.Read("stdout")).at("code"), Difference::DIFFERENCE_WRONG_BASE);
    const std::string line = scratch_.Read("stderr");
    EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
    EXPECT_FALSE(scratch_.Has("out"));
    EXPECT_EQ(Call("diff missing new other"), 1);
    EXPECT_FALSE(scratch_.Has("other"));
    EXPECT_EQ(Call("diff old new"), 2);
}
} // namespace
} // namespace ORVX::TavomendTest
