#include <fstream>
#include <gmock/gmock.h>
#include <thread>

#include "common/log.h"
#include "ports/host/host_log.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::sprintf_s;
using TavomendEngine::TavomendKalogWrapper;
using TavomendEngine::TavomendLogger;

class LogTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        TavomendEngine::DelayedSingleton<TavomendLogger>::DestroyInstance(); // its file went with the last device
    }
};

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
    TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_WARN);
    TAVOMEND_LOG_I("an info for the file");
    TAVOMEND_LOG_W("a warning for both");
    EXPECT_FALSE(log.Contains("an info for the file"));
    EXPECT_TRUE(log.Contains("a warning for both"));
    EXPECT_NE(ReadFile(TavomendEngine::TAVOMEND_LOG_FILE).find("an info for the file"), std::string::npos);
    EXPECT_FALSE(TavomendKalogWrapper::JudgeLevel(1));
    EXPECT_TRUE(TavomendKalogWrapper::JudgeLevel(2));
    EXPECT_TRUE(TavomendKalogWrapper::JudgeLevel(3));
}

TEST_F(LogTest, ALineOfTheFileHasTimePlaceAndText)
{
    TavomendLogger logger;
    logger.OutputLog("a {} text with 5% and %s", "file.cpp", "Function", 42);
    EXPECT_THAT(ReadFile(TavomendEngine::TAVOMEND_LOG_FILE),
                testing::MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3} "
                                      "\\[file\\.cpp\\(Function\\):42\\] a \\{\\} text with 5% and %s\n"));
}

TEST_F(LogTest, TheFileIsRotatedAndThreeOldOnesStay)
{
    TavomendLogger logger;
    const std::string text(100 * 1000, 'x');
    for (int i = 0; i < 48; ++i) { // ten to a file
        logger.OutputLog(text.c_str(), "f", "F", i);
    }
    std::map<std::string, size_t> sizes;
    for (const auto& entry : std::filesystem::directory_iterator("/data/log/tavomend")) {
        sizes[entry.path().filename().string()] = entry.file_size() / text.size();
    }
    EXPECT_EQ(
        sizes,
        (std::map<std::string, size_t>{
            {"engine_app.log", 8}, {"engine_app.1.log", 10}, {"engine_app.2.log", 10}, {"engine_app.3.log", 10}}));
}

TEST_F(LogTest, FirstLinesOfSeveralThreadsAllArrive)
{
    for (int round = 0; round < 30; ++round) {
        std::filesystem::remove_all("/data/log");
        TavomendLogger logger;
        std::atomic<int> waiting{3};
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&logger, &waiting] {
                for (--waiting; waiting != 0;) {
                }
                logger.OutputLog("line", "f", "F", 1);
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        const std::string text = ReadFile(TavomendEngine::TAVOMEND_LOG_FILE);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
    }
}

TEST_F(LogTest, WithoutADirectoryForItNothingIsWritten)
{
    WriteFile("/data/log", "in the way");
    TavomendLogger().OutputLog("a line", "f", "F", 1);
    std::filesystem::remove("/data/log");
    std::filesystem::create_directories(TavomendEngine::TAVOMEND_LOG_FILE); // in the way of the file
    TavomendLogger().OutputLog("a line", "f", "F", 1);
    EXPECT_TRUE(ListTree("/data/log").empty());
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
    EXPECT_EQ(TavomendLogger::FormatLog("a %{public}s b %{private}d c %d %"), "a %s b %d c %d %");
    EXPECT_EQ(TavomendLogger::FormatLog("{public} 5%% %{other}s %{public}"), "{public} 5%% %{other}s %");
}

TEST(SecureFormatTest, NeverCutsAText)
{
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(sprintf_s(buffer, sizeof(buffer), "%d", 123), 3);
    EXPECT_STREQ(buffer, "123");
    EXPECT_EQ(sprintf_s(buffer, sizeof(buffer), "%d", 1234), -1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(sprintf_s(buffer, sizeof(buffer), ""), 0);
    buffer[0] = 'x';
    EXPECT_EQ(sprintf_s(buffer, 0, "1"), -1);
    EXPECT_EQ(buffer[0], 'x');
    const char* const noFormat = nullptr;
    EXPECT_EQ(sprintf_s(buffer, sizeof(buffer), noFormat), -1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(sprintf_s(nullptr, 4, "1"), -1);
}
} // namespace
} // namespace ORVX::TavomendTest
