#include <gtest/gtest.h>

#include "package/app_restorer.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/unit/package/package_test.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

// A record made by hand: a difference and a whole file of a hot application, in a delivered package.
class AppRestorerTest : public PackageTest {
protected:
    void SetUp() override
    {
        PackageTest::SetUp();
        recipe_.apps[0].files.push_back({"/system/app/Demo/Whole.vab", "", whole_, true, "", ""});
        Deliver();
        const std::string dir = HOT_DIR;
        record_.bundleName = "com.a";
        record_.appPatchType = "hot";
        record_.fileNum = 2;
        record_.targetFiles = {"/com.a/Demo.vab.diff", "/com.a/Whole.vab"};
        record_.diffPaths = {dir + "Demo.vab.diff", dir + "Whole.vab"};
        record_.basePaths = {BASE, "/system/app/Demo/Whole.vab"};
        record_.appsHashs = {Sha256Hex(NEW), Sha256Hex(whole_)};
        record_.restoreProductPaths = {dir + "Demo.vab", dir + "Whole.vab"};
        record_.state = APP_MUST_PATCH;
    }
    void TearDown() override { zip_->Reset(); }
    std::string TakeErrors() { return std::exchange(errors_, ""); }

    const std::string whole_ = std::string(5000, 'w'); // several of the pieces that are hashed at once
    AppRestoreRecord record_;
    std::string errors_;
    sptr<ParseZipTool> zip_ = MakeSptr<ParseZipTool>(Formats::PACKAGE_PATH);
    AppRestorer restorer_{zip_, MakeSptr<RestoreTool>(), [this](const std::string& name, int32_t code) {
                              errors_ += name + " " + std::to_string(code) + " ";
                          }};
};

TEST_F(AppRestorerTest, EachStateAllowsItsSteps)
{
    struct Case {
        const char* exactErrors;
        AppRestoreState state;
        bool isExacted;
        bool isRestored;
    };
    const Case cases[] = {
        {"com.a 420 ", APP_PARSED, false, false},
        {"com.a 420 ", APP_EXACT_FAILED, false, false},
        {"com.a 420 ", APP_RESTORED, false, true},
        {"com.a 420 ", APP_RESTORE_FAILED, false, false},
        {"", APP_FIXED, true, true},
    };
    for (const Case& step : cases) {
        record_.state = step.state;
        EXPECT_EQ(restorer_.Exact(record_), step.isExacted) << step.state;
        EXPECT_EQ(TakeErrors(), step.exactErrors) << step.state;
        EXPECT_EQ(restorer_.Restore(record_), step.isRestored) << step.state;
        EXPECT_EQ(TakeErrors(), "") << step.state;
        EXPECT_EQ(record_.state, step.state);
    }
    AppRestoreRecord none = record_; // the number is signed: below 0 there are no files
    none.fileNum = -1;
    none.targetFiles.clear();
    EXPECT_TRUE(restorer_.CheckFiles(none) && restorer_.RebuildFiles(none) && restorer_.CheckProducts(none));
    record_.state = APP_EXACTED;
    EXPECT_TRUE(restorer_.Exact(record_));
    EXPECT_FALSE(Exists(HOT_DIR)); // nothing was touched
    EXPECT_EQ(errors_, "");
    record_.restoreProductPaths.clear();
    EXPECT_FALSE(restorer_.Restore(record_));
    EXPECT_EQ(errors_, "com.a 620 ");
    EXPECT_EQ(record_.state, APP_EXACTED);
}

TEST_F(AppRestorerTest, AFailureIsNamedAndItsDirectoryRemoved)
{
    struct Case {
        std::function<void(AppRestoreRecord&)> change;
        const char* errors;
    };
    const Case cases[] = {
        {[](auto& record) { record.appsHashs[0].back() ^= 1; }, "com.a 640 com.a 611 "},
        {[](auto& record) { record.basePaths[0] = "/none"; }, "com.a 612 com.a 611 "},
    };
    const std::string neighbour = "/data/update/tavomend/app/temp/hot/internal/com.b/Other.vab";
    for (const Case& failure : cases) {
        AppRestoreRecord record = record_;
        failure.change(record);
        WriteFile(neighbour, "x");
        ASSERT_TRUE(restorer_.Exact(record));
        EXPECT_FALSE(restorer_.Restore(record));
        EXPECT_EQ(record.state, APP_RESTORE_FAILED);
        EXPECT_EQ(TakeErrors(), failure.errors);
        EXPECT_FALSE(Exists(HOT_DIR));
        EXPECT_TRUE(Exists(neighbour));
    }
    AppRestoreRecord record = record_;
    record.basePaths[0] = "/none";
    ASSERT_TRUE(restorer_.Exact(record));
    FaultyFileLayer layer;
    layer.FailCall("rmdir", 1, EBUSY);
    EXPECT_FALSE(restorer_.Restore(record));
    EXPECT_EQ(TakeErrors(), "com.a 612 com.a 611 com.a 613 ");

    AppRestoreRecord good = record_;
    ASSERT_TRUE(restorer_.Exact(good) && restorer_.Restore(good));
    EXPECT_EQ(good.state, APP_RESTORED);
    EXPECT_EQ(ListTree(HOT_DIR), (std::vector<std::string>{good.restoreProductPaths[0] + " " + Sha256Hex(NEW),
                                                           good.restoreProductPaths[1] + " " + Sha256Hex(whole_)}));
    record_.targetFiles[1] = "/com.a/None.vab";
    EXPECT_FALSE(restorer_.Exact(record_));
    EXPECT_EQ(record_.state, APP_EXACT_FAILED);
    EXPECT_EQ(TakeErrors(), "com.a 440 ");
}

TEST_F(AppRestorerTest, ColdFilesMustLieInPlaceAndGoToTheEngine)
{
    record_.appPatchType = "cold";
    for (std::string& path : record_.diffPaths) {
        path = std::string(Formats::COLD_WORK_DIR) + "/internal" + path.substr(path.rfind("/com.a"));
    }
    WriteFile(record_.diffPaths[0], "x");
    EXPECT_FALSE(restorer_.Exact(record_)); // and the archive is not asked
    EXPECT_EQ(TakeErrors(), "com.a 431 com.a 430 ");
    EXPECT_EQ(record_.state, APP_EXACT_FAILED);

    record_.state = APP_MUST_PATCH;
    record_.fileNum = 1;
    WriteFile("/etc/passwd", "tavomend:x:0:0::/:\n");
    FaultyFileLayer layer;
    EXPECT_TRUE(restorer_.Exact(record_));
    EXPECT_EQ(record_.state, APP_EXACTED);
    EXPECT_EQ(std::count_if(layer.Calls().begin(), layer.Calls().end(),
                            [](const std::string& call) { return call.rfind("lchown", 0) == 0; }),
              4); // the file and the three directories on the way to
    EXPECT_EQ(layer.Calls().back(), "lchown /data/update/tavomend/app/temp/cold");
    EXPECT_EQ(errors_, "");
}
} // namespace
} // namespace ORVX::TavomendTest
