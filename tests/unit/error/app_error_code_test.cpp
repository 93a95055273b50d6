#include <gtest/gtest.h>

#include "error/app_error_code.h"

namespace ORVX::TavomendEngine {
namespace {
TEST(AppErrorCodeTest, WritesStageStateAndCodesNewestFirst)
{
    AppErrorCode errors;
    errors.Init(1, 1, "");
    errors.AddErrMsgs(100, 20);
    errors.AddErrMsgs(100, 30);
    errors.AddErrMsgs(100); // a key that is there already stays as it is
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "1|1(100|30,20)");
}

TEST(AppErrorCodeTest, AKeyAloneHasNoBar)
{
    AppErrorCode errors;
    errors.Init(0, 0, "");
    errors.AddErrMsgs(100);
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "0|0(100)");
}

TEST(AppErrorCodeTest, CarriesTheOperationBeforeAndForgetsOlderOnes)
{
    AppErrorCode errors;
    EXPECT_EQ(errors.GetAppErrorCode(), "");
    errors.Init(1, 1, "0|0(100|20)");
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "0|0(100|20);1|1");
    errors.Init(1, 0, "");
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "1|0");
}

TEST(AppErrorCodeTest, KeepsWhatWasRecordedBeforeTheOperationOpened)
{
    AppErrorCode errors;
    errors.AddErrMsgs(100, 20);
    errors.Init(1, 0, "");
    errors.AddErrMsgs(100, 20);
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "1|0(100|20,20)");
}

TEST(AppErrorCodeTest, ASecondInitInsideAnOperationChangesNothing)
{
    AppErrorCode errors;
    errors.Init(1, 1, "before");
    errors.Init(0, 0, "other");
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "before;1|1");
}

TEST(AppErrorCodeTest, ALongHistoryKeepsItsLast256Characters)
{
    AppErrorCode errors;
    const std::string start(45, 'a');
    const std::string end(252, 'b'); // with ";1|1" behind it exactly 256
    errors.Init(1, 1, start + end);
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), end + ";1|1");
    EXPECT_EQ(errors.DisposalErrCode(std::string(256, 'c')), std::string(256, 'c'));
    EXPECT_EQ(errors.DisposalErrCode("x" + std::string(256, 'c')), std::string(256, 'c'));
}
} // namespace
} // namespace ORVX::TavomendEngine
