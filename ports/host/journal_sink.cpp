#include "ports/host/journal_sink.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>

#include "platform/api/kalog.h"

namespace ORVX::TavomendHost {
using Handles::UniqueDescriptor;

namespace {
constexpr size_t VALUE_SIZE_MAX = 48UL * 1024; // a datagram has to hold the entry
constexpr time_t WAIT_SECONDS_MAX = 1;
constexpr size_t LENGTH_SIZE = 8;
constexpr unsigned BITS_OF_BYTE = 8;

int PriorityOf(int32_t level)
{
    constexpr int PRIORITIES[] = {LOG_DEBUG, LOG_INFO, LOG_WARNING, LOG_ERR};
    return level >= KALOG_DEBUG && level <= KALOG_ERROR ? PRIORITIES[level - KALOG_DEBUG] : LOG_DEBUG;
}

// A value of one line stands behind "="; any other behind its length, 64 bits with the lowest byte first.
std::string EntryOf(const JournalSink::Fields& fields)
{
    std::string entry;
    for (const auto& [name, whole] : fields) {
        const std::string value = whole.substr(0, VALUE_SIZE_MAX);
        if (value.find('\n') == std::string::npos) {
            entry += value.empty() ? "" : name + "=" + value + "\n";
            continue;
        }
        entry += name + "\n";
        for (size_t i = 0; i < LENGTH_SIZE; ++i) {
            entry += static_cast<char>(value.size() >> (i * BITS_OF_BYTE) & UINT8_MAX);
        }
        entry += value + "\n";
    }
    return entry;
}
} // namespace

JournalSink::JournalSink(UniqueDescriptor socket, std::string operation)
    : socket_(std::move(socket)), operation_(std::move(operation))
{
}

std::shared_ptr<JournalSink> JournalSink::Open(const std::string& operation, const std::string& socketPath)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof(address.sun_path)) {
        return nullptr;
    }
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    UniqueDescriptor journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as connect(2) wants it
    if (!journal.IsValid() || connect(journal.Get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        return nullptr;
    }
    const timeval most{WAIT_SECONDS_MAX, 0};
    static_cast<void>(setsockopt(journal.Get(), SOL_SOCKET, SO_SNDTIMEO, &most, sizeof(most)));
    return std::shared_ptr<JournalSink>(new JournalSink(std::move(journal), operation));
}

void JournalSink::Take(const LogLine& line) const
{
    Report(line.level, line.text,
           {{"CODE_FILE", line.file},
            {"CODE_FUNC", line.function},
            {"CODE_LINE", line.file.empty() ? "" : std::to_string(line.line)}});
}

void JournalSink::Report(int32_t level, const std::string& message, const Fields& fields) const
{
    Fields all = {{"MESSAGE", message},
                  {"PRIORITY", std::to_string(PriorityOf(level))},
                  {"SYSLOG_IDENTIFIER", "tavomend"},
                  {"TAVOMEND_OPERATION", operation_}};
    all.insert(all.end(), fields.begin(), fields.end());
    const std::string entry = EntryOf(all);
    const int flags = MSG_NOSIGNAL | (isStuck_ ? MSG_DONTWAIT : 0);
    const ssize_t sent = send(socket_.Get(), entry.data(), entry.size(), flags);
    isStuck_ = sent < 0 && errno == EAGAIN;
}
} // namespace ORVX::TavomendHost
