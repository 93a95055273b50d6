#include <gmock/gmock.h>

#include "common/log.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::TavomendKalogWrapper;
using TavomendEngine::TavomendLogger;

class LogTest : public DeviceTest {};

TEST_F(LogTest, WritesEveryMessageToTheFileAndToThePlatformLogWhatTheLevelAllows)
{
    const LogCapture log;
    TAVOMEND_LOG_E("open %{public}s failed, result: %{public}d of %lu", "file", -1, 7UL);
    EXPECT_TRUE(log.Contains("[log_test.cpp(TestBody):" + std::to_string(__LINE__ - 1) +
                             "] open file failed, result: -1 of 7"));
    TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_WARN);
    TAVOMEND_LOG_I("an info for the file");
    TAVOMEND_LOG_W("a warning for both");
    EXPECT_FALSE(log.Contains("an info for the file"));
    EXPECT_TRUE(log.Contains("a warning for both"));
    const std::string tooLong(1024, 'x');
    const std::string fits(1023, 'y');
    TAVOMEND_LOG_W("%{public}s", tooLong.c_str()); // for the file's buffer
    TAVOMEND_LOG_W("%{public}s", fits.c_str());
    EXPECT_TRUE(log.Contains(tooLong));
    const std::string file = ReadFile(TavomendEngine::TAVOMEND_LOG_FILE);
    for (const std::string& text : {std::string("open file failed, result: -1 of 7"), std::string("an info"), fits}) {
        EXPECT_NE(file.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(file.find("xxx"), std::string::npos);
    EXPECT_FALSE(TavomendKalogWrapper::JudgeLevel(1));
    EXPECT_TRUE(TavomendKalogWrapper::JudgeLevel(2) && TavomendKalogWrapper::JudgeLevel(3));
    EXPECT_EQ(TavomendLogger::FormatLog("a %{public}s b %{private}d c %d %"), "a %s b %d c %d %");
    EXPECT_EQ(TavomendLogger::FormatLog("{public} 5%% %{other}s %{public}"), "{public} 5%% %{other}s %");

    TavomendLogger().OutputLog("a {} text with 5% and %s", "file.cpp", "Function", 42);
    EXPECT_THAT(ReadFile(TavomendEngine::TAVOMEND_LOG_FILE).substr(file.size()),
                testing::MatchesRegex("20[0-9][0-9]-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3} "
                                      "\\[file\\.cpp\\(Function\\):42\\] a \\{\\} text with 5% and %s\n"));
}

TEST_F(LogTest, ALineFitsItsBufferOrIsLeftOut)
{
    char text[4] = "old";
    EXPECT_EQ(TavomendEngine::sprintf_s(nullptr, 4, "x"), -1);
    EXPECT_EQ(TavomendEngine::sprintf_s(text, 0, "x"), -1);
    EXPECT_STREQ(text, "old");
    EXPECT_EQ(TavomendEngine::sprintf_s(text, 4, "%d", 123), 3);
    EXPECT_STREQ(text, "123");
    EXPECT_EQ(TavomendEngine::sprintf_s(text, 4, "%d", 1234), -1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(TavomendEngine::sprintf_s(text, 1, "%s", ""), 0);
    text[0] = 'x';
    EXPECT_EQ(TavomendEngine::sprintf_s(text, 4, nullptr), -1);
    EXPECT_STREQ(text, "");
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

} // namespace
} // namespace ORVX::TavomendTest
