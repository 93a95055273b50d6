#include <gtest/gtest.h>

#include "common/log.h"
#include "ports/host/host_log.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::sprintf_s;
using TavomendEngine::TavomendKalogWrapper;
using TavomendEngine::TavomendLogger;

class LogTest : public DeviceTest {};

TEST_F(LogTest, WritesEveryMessageTwice)
{
    const LogCapture log;
    TAVOMEND_LOG_E("open %{public}s failed, result: %{public}d of %lu", "file", -1, 7UL);
    EXPECT_TRUE(log.Contains("open file failed, result: -1 of 7"));
    EXPECT_TRUE(log.Contains("[log_test.cpp(TestBody):" + std::to_string(__LINE__ - 2) +
                             "] open file failed, result: -1 of 7"));
    EXPECT_NE(ReadFile(TavomendEngine::TAVOMEND_LOG_FILE).find("open file failed, result: -1 of 7"), std::string::npos);
}

TEST_F(LogTest, TheWrapperJudgesThePlatformLogOnly)
{
    const LogCapture log;
    TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_ERROR);
    TAVOMEND_LOG_W("a warning for the file");
    EXPECT_FALSE(log.Contains("a warning for the file"));
    EXPECT_NE(ReadFile(TavomendEngine::TAVOMEND_LOG_FILE).find("a warning for the file"), std::string::npos);
}

TEST_F(LogTest, AMessageTooLongForTheBufferStaysOutOfTheFile)
{
    const LogCapture log;
    const std::string tooLong(1024, 'x');
    const std::string fits(1023, 'y');
    TAVOMEND_LOG_I("%{public}s", tooLong.c_str());
    TAVOMEND_LOG_I("%{public}s", fits.c_str());
    EXPECT_TRUE(log.Contains(tooLong));
    const std::string file = ReadFile(TavomendEngine::TAVOMEND_LOG_FILE);
    EXPECT_EQ(file.find("xxx"), std::string::npos);
    EXPECT_NE(file.find(fits), std::string::npos);
}

TEST_F(LogTest, ThePlatformLogHidesPrivateValues)
{
    const LogCapture log;
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, "tag", "%{public}s %{private}s %{private}d %{public}zu 5%% %c",
                         "seen", "hidden", 5, size_t{6}, 'c'),
              0);
    EXPECT_TRUE(log.Contains("seen <private> <private> 6 5% c"));
    EXPECT_EQ(KalogPrint(KALOG_TYPE_CORE, KALOG_INFO, 0, nullptr, "x"), -1);
    EXPECT_EQ(TavomendLogger::FormatLog("a %{public}s b %{private}d c %d"), "a %s b %d c %d");
}

TEST(SecureFormatTest, NeverCutsAText)
{
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(sprintf_s(buffer, sizeof(buffer), "%d", 123), 3);
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(sprintf_s(buffer, sizeof(buffer), "%d", 1234), -1);
    EXPECT_STREQ(buffer, "");
}
} // namespace
} // namespace ORVX::TavomendTest
