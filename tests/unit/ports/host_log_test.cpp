#include <gtest/gtest.h>
#include <regex>

#include "platform/api/kalog.h"
#include "ports/host/host_log.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::HostLog;

class HostLogTest : public DeviceTest {};

TEST_F(HostLogTest, FormatsAsPrintfDoesAndHidesWhatIsPrivate)
{
    const LogCapture log;
    const auto print = [&log](const char* expected, const char* format, auto... values) {
        EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, "tag", format, values...), 0);
        EXPECT_TRUE(log.Contains(std::string("<") + expected + ">")) << expected;
    };
    print("plain", "<plain>");
    print("7|x|-5|ff|FF|17|@", "<%d|%{public}c|%{public}i|%x|%{public}X|%o|%c>", 7, 'x', -5, 255, 255, 15, '@');
    print("4294967296 -1 18446744073709551615", "<%ld %{public}lld %zu>", 4294967296L, -1LL, SIZE_MAX);
    print("0005|  5|0x5", "<%04d|%3d|%#x>", 5, 5, 5);
    print("<private> <private> <private> seen", "<%{private}s %{private}d %{private}ld %s>", "hidden", 1, 2L, "seen");
    print("(null) <private>", "<%s %{private}s>", nullptr, nullptr);
    print("0x10 100%", "<%p 100%%>", reinterpret_cast<void*>(16));
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, "tag", "%{public"), 0); // a cut format
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, "tag", "end %"), 0);
    EXPECT_TRUE(log.Contains("end %"));
    HostLog::SetListener([](int32_t level, const std::string& line) {
        EXPECT_EQ(level, KALOG_DEBUG) << line;
        HostLog::Reset();
        KalogPrint(KALOG_TYPE_CORE, KALOG_ERROR, 0, "tag", "from the listener, unheard");
    });
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_DEBUG, 0, "tag", "a line"), 0);
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, nullptr, "x"), -1);
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, "tag", nullptr), -1);
}

TEST_F(HostLogTest, StandardErrorGetsItsLevelsOnly)
{
    const auto printAll = [] {
        testing::internal::CaptureStderr();
        for (const int32_t level : {1, 3, 4, 5, 6, 7}) {
            KalogPrint(KALOG_TYPE_CORE, level, 0xABC12345, "tag", "level %d", level);
        }
        return testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(printAll(), ""); // the default
    HostLog::SetStderrLevel(0);
    const std::string time = "\\d\\d:\\d\\d:\\d\\d\\.\\d{3} ";
    std::string expected;
    for (const char* line : {"\\? 12345/tag: level 1", "D 12345/tag: level 3", "I 12345/tag: level 4",
                             "W 12345/tag: level 5", "E 12345/tag: level 6", "\\? 12345/tag: level 7"}) {
        expected += time + line + "\n";
    }
    const std::string all = printAll();
    EXPECT_TRUE(std::regex_match(all, std::regex(expected))) << all;
    HostLog::SetStderrLevel(KALOG_ERROR);
    const std::string errors = printAll();
    EXPECT_TRUE(std::regex_match(errors, std::regex(time + "E 12345/tag: level 6\n" + time + "\\? .*\n"))) << errors;
}

} // namespace
} // namespace ORVX::TavomendTest
