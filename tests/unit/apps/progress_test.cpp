// How often a long work is told of where there is no terminal.
#include <gtest/gtest.h>

#include "apps/common/progress.h"

namespace ORVX::Cli {
namespace {
// Reports every quarter of a second, after 0 to 2.5 seconds.
void Work(const Console& console)
{
    std::chrono::steady_clock::time_point now;
    Progress progress(console, [&now] { return now; });
    for (uint64_t done = 0; done <= 10; ++done, now += std::chrono::milliseconds(250)) {
        progress.Report("making \x1b", done * 150'000, 1'500'000);
    }
}

TEST(ProgressTest, TellsOnceASecondAndNothingOfWhatIsOverAtOnce)
{
    for (const bool isJson : {false, true}) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Work(Console("program", isJson));
        const std::string out = testing::internal::GetCapturedStdout();
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(err, isJson ? ""
                              : "making \\x1b, 0.6 of 1.5 MB\nmaking \\x1b, 1.2 of 1.5 MB\n"
                                "making \\x1b, 1.5 of 1.5 MB\n");
        EXPECT_EQ(
            out,
            isJson
                ? "{\"schema\":1,\"event\":\"progress\",\"step\":\"making \\u001b\",\"done\":600000,\"total\":1500000,"
                  "\"unit\":\"bytes\"}\n{\"schema\":1,\"event\":\"progress\",\"step\":\"making \\u001b\","
                  "\"done\":1200000,\"total\":1500000,\"unit\":\"bytes\"}\n{\"schema\":1,\"event\":\"progress\","
                  "\"step\":\"making \\u001b\",\"done\":1500000,\"total\":1500000,\"unit\":\"bytes\"}\n"
                : "");
    }
}
} // namespace
} // namespace ORVX::Cli
