#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

#include "error/app_error_code.h"

namespace ORVX::TavomendEngine {
namespace {
TEST(AppErrorCodeTest, TellsTheOperationsStageStateAndCodesNewestFirst)
{
    AppErrorCode errors;
    EXPECT_EQ(errors.GetAppErrorCode(), "");
    errors.AddErrMsgs(100, 20); // before the operation opens: it is kept
    errors.Init(1, 1, "");
    errors.Init(0, 0, "other"); // inside an operation: it changes nothing
    errors.AddErrMsgs(100, 30);
    errors.AddErrMsgs(100); // a key that is there already stays as it is
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "1|1(100|30,20)");
    errors.Init(1, 1, "0|0(100|20)");
    errors.AddErrMsgs(100);
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "0|0(100|20);1|1(100)");
    errors.Init(1, 0, "");
    EXPECT_EQ(errors.GetAppErrorCode(), "");
    errors.SetStop();
    errors.AddErrMsgs(100, 20); // between two operations
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), "1|0;-1|-1(100|20)");
    const std::string end(252, 'b'); // with ";1|1" behind it exactly the 256 characters that are kept
    errors.Init(1, 1, "a" + end);
    errors.SetStop();
    EXPECT_EQ(errors.GetAppErrorCode(), end + ";1|1");
    EXPECT_EQ(errors.DisposalErrCode(std::string(256, 'c')), std::string(256, 'c'));
}

TEST(AppErrorCodeTest, LosesNothingThatOtherThreadsRecordMeanwhile)
{
    constexpr int CODES = 50; // of each thread: two threads' fit the text
    for (int round = 0; round < 200; ++round) {
        AppErrorCode errors;
        std::atomic<int> working = 2;
        const auto record = [&] {
            for (int i = 0; i < CODES; ++i) {
                errors.AddErrMsgs(100, 7);
                errors.AddErrMsgs(100);
            }
            --working;
        };
        std::thread first(record);
        std::thread second(record);
        std::ptrdiff_t recorded = 0;
        for (bool isLast = false; !isLast;) {
            isLast = working == 0;
            errors.Init(1, 1, "");
            errors.SetStop();
            const std::string text = errors.GetAppErrorCode();
            recorded += std::count(text.begin(), text.end(), '7');
        }
        EXPECT_EQ(recorded, 2 * CODES);
        first.join();
        second.join();
    }
}
} // namespace
} // namespace ORVX::TavomendEngine
