#include <future>
#include <gtest/gtest.h>
#include <regex>
#include <sys/socket.h>
#include <sys/un.h>

#include "handles/unique_descriptor.h"
#include "platform/api/kalog.h"
#include "ports/host/host_log.h"
#include "ports/host/journal_sink.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendHost::HostLog;
using TavomendHost::JournalSink;

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

// Where a journal listens: one datagram an entry.
class FakeJournal {
public:
    FakeJournal() : socket_(socket(AF_UNIX, SOCK_DGRAM, 0))
    {
        const timeval most{10, 0}; // for entries that never come
        EXPECT_EQ(setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &most, sizeof(most)), 0);
        sockaddr_un address{AF_UNIX, "/tmp/journal"};
        EXPECT_EQ(bind(socket_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    }
    [[nodiscard]] std::string Next(int flags = 0) const
    {
        std::string entry(1 << 18, ' ');
        const ssize_t size = recv(socket_.Get(), entry.data(), entry.size(), flags);
        return size < 0 ? "nothing" : entry.substr(0, static_cast<size_t>(size));
    }

private:
    Handles::UniqueDescriptor socket_;
};

// The entries' form is the one that the journal's own documentation gives.
TEST_F(HostLogTest, TheJournalGetsWhatIsKnownOfALine)
{
    EXPECT_EQ(JournalSink::Open("boot", "/tmp/journal"), nullptr);
    EXPECT_EQ(JournalSink::Open("boot", std::string(200, 'x')), nullptr);
    const FakeJournal journal;
    const auto sink = JournalSink::Open("device init", "/tmp/journal");
    ASSERT_NE(sink, nullptr);
    HostLog::SetSink(sink);
    const std::string common = "SYSLOG_IDENTIFIER=tavomend\nTAVOMEND_OPERATION=device init\n";
    KalogPrint(KALOG_TYPE_CORE, KALOG_WARN, 0, "tag", "[%{public}s(%{public}s):%{public}d] a %{private}s %{public}s",
               "a.cpp", "Work", 7, "hidden", "line");
    EXPECT_EQ(journal.Next(), "MESSAGE=[a.cpp(Work):7] a <private> line\nPRIORITY=4\n" + common +
                                  "CODE_FILE=a.cpp\nCODE_FUNC=Work\nCODE_LINE=7\n");
    const std::pair<int32_t, char> priorities[] = {
        {KALOG_DEBUG, '7'}, {KALOG_INFO, '6'}, {KALOG_ERROR, '3'}, {KALOG_ERROR + 1, '7'}};
    for (const auto& [level, priority] : priorities) {
        KalogPrint(KALOG_TYPE_CORE, level, 0, "tag", "%{public}s", "[a.cpp(Work):7] no place");
        EXPECT_EQ(journal.Next(),
                  "MESSAGE=[a.cpp(Work):7] no place\nPRIORITY=" + std::string(1, priority) + "\n" + common);
    }
    sink->Report(KALOG_INFO, "two\nlines", {{"TAVOMEND_BUNDLE", "com.a"}, {"TAVOMEND_CODE", ""}});
    EXPECT_EQ(journal.Next(), std::string("MESSAGE\n\x09\0\0\0\0\0\0\0two\nlines\n", 26) + "PRIORITY=6\n" + common +
                                  "TAVOMEND_BUNDLE=com.a\n");
    sink->Report(KALOG_INFO, std::string(1 << 20, 'x'), {});
    EXPECT_EQ(journal.Next(), "MESSAGE=" + std::string(48UL * 1024, 'x') + "\nPRIORITY=6\n" + common);
    HostLog::Reset();
    KalogPrint(KALOG_TYPE_CORE, KALOG_ERROR, 0, "tag", "unheard");
    EXPECT_EQ(journal.Next(MSG_DONTWAIT), "nothing");

    // More than the queue holds.
    constexpr int COUNT = 3000;
    auto received = std::async(std::launch::async, [&journal] {
        int count = 0;
        while (count < COUNT && journal.Next() != "nothing") {
            ++count;
        }
        return count;
    });
    for (int i = 0; i < COUNT; ++i) {
        sink->Report(KALOG_INFO, "an entry", {});
    }
    EXPECT_EQ(received.get(), COUNT);
}
} // namespace
} // namespace ORVX::TavomendTest
