#include "ports/host/host_log.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include "platform/api/kalog.h"

namespace ORVX {
namespace {
constexpr const char* SYSLOG_SOCKET = "/dev/log";
constexpr const char* HIDDEN = "<private>";
constexpr const char* PLACE_PREFIX = "[%{public}s(%{public}s):%{public}d] "; // of lines that tell where they come from

struct LogSinks {
    std::atomic<int32_t> stderrLevel{TavomendHost::HOST_LOG_NOTHING};
    std::atomic<bool> hasSyslog{false};
    std::mutex mutex;
    std::function<void(int32_t, const std::string&)> listener;
    std::shared_ptr<const TavomendHost::ILogSink> sink;
};

LogSinks& Sinks()
{
    static auto* sinks = new LogSinks; // never released: singletons log while the process ends
    return *sinks;
}

// One conversion of a format: where it starts and ends, whether its value is hidden, and printf's form of it.
struct Conversion {
    size_t end = 0;
    bool isHidden = false;
    std::string plain;
};

Conversion ReadConversion(const std::string& format, size_t percent)
{
    Conversion conversion;
    size_t at = percent + 1;
    if (at < format.size() && format[at] == '{') {
        const size_t close = format.find('}', at);
        conversion.isHidden = format.compare(at, 9, "{private}") == 0;
        at = close == std::string::npos ? format.size() : close + 1;
    }
    const size_t end = format.find_first_of("diouxXcsp%", at);
    conversion.end = end == std::string::npos ? format.size() : end + 1;
    conversion.plain = "%" + format.substr(at, conversion.end - at);
    return conversion;
}

// Appends one formatted value; every branch takes the argument that the conversion stands for.
void AppendValue(std::string& line, const Conversion& conversion, va_list& arguments)
{
    const char kind = conversion.plain.back();
    const bool isLong = conversion.plain.find_first_of("lz") != std::string::npos;
    std::vector<char> text(64);
    int length = 0;
    if (kind == '%') {
        line += '%';
        return;
    }
    if (kind == 's') {
        const char* value = va_arg(arguments, const char*);
        const char* shown = value == nullptr ? "(null)" : value;
        line += conversion.isHidden ? HIDDEN : shown;
        return;
    }
    // NOLINTNEXTLINE(bugprone-branch-clone): each branch takes an argument of another type
    if (kind == 'p') {
        length = snprintf(text.data(), text.size(), conversion.plain.c_str(), va_arg(arguments, void*));
    } else if (isLong) {
        length = snprintf(text.data(), text.size(), conversion.plain.c_str(), va_arg(arguments, long));
    } else {
        length = snprintf(text.data(), text.size(), conversion.plain.c_str(), va_arg(arguments, int));
    }
    const char* shown = length > 0 ? text.data() : "";
    line += conversion.isHidden ? HIDDEN : shown;
}

std::string FormatLine(const std::string& format, va_list& arguments)
{
    std::string line;
    for (size_t at = 0; at < format.size();) {
        if (format[at] != '%') {
            line += format[at++];
            continue;
        }
        const Conversion conversion = ReadConversion(format, at);
        AppendValue(line, conversion, arguments);
        at = conversion.end;
    }
    return line;
}

// The first arguments are the place, when the format begins as such formats do.
void ReadPlace(const std::string& format, va_list& arguments, TavomendHost::LogLine& line)
{
    if (format.rfind(PLACE_PREFIX, 0) != 0) {
        return;
    }
    const char* const file = va_arg(arguments, const char*);
    const char* const function = va_arg(arguments, const char*);
    line.file = file == nullptr ? "" : file;
    line.function = function == nullptr ? "" : function;
    line.line = va_arg(arguments, int);
}

char LetterOf(int32_t level)
{
    constexpr const char* LETTERS = "DIWE";
    return level >= KALOG_DEBUG && level <= KALOG_ERROR ? LETTERS[level - KALOG_DEBUG] : '?';
}

int SyslogPriorityOf(int32_t level)
{
    switch (level) {
    case KALOG_ERROR:
        return LOG_ERR;
    case KALOG_WARN:
        return LOG_WARNING;
    case KALOG_INFO:
        return LOG_INFO;
    default:
        return LOG_DEBUG;
    }
}

std::string TimeStamp()
{
    struct timespec now {};
    clock_gettime(CLOCK_REALTIME, &now);
    struct tm parts {};
    gmtime_r(&now.tv_sec, &parts); // a device root has no time zone
    std::array<char, 32> text{};
    static_cast<void>(snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03ld", parts.tm_hour, parts.tm_min,
                               parts.tm_sec, now.tv_nsec / 1000000));
    return text.data();
}
} // namespace

int32_t KalogPrint(int32_t /*type*/, int32_t level, uint32_t domain, const char* tag, const char* format, ...)
{
    if (tag == nullptr || format == nullptr) {
        return -1;
    }
    TavomendHost::LogLine whole;
    whole.level = level;
    va_list arguments;
    va_start(arguments, format);
    ReadPlace(format, arguments, whole);
    va_end(arguments);
    va_start(arguments, format);
    whole.text = FormatLine(format, arguments);
    va_end(arguments);
    const std::string& line = whole.text;

    LogSinks& sinks = Sinks();
    if (level >= sinks.stderrLevel) {
        static_cast<void>(fprintf(stderr, "%s %c %05X/%s: %s\n", TimeStamp().c_str(), LetterOf(level),
                                  static_cast<unsigned>(domain & 0xFFFFFU), tag, line.c_str()));
    }
    if (sinks.hasSyslog) {
        syslog(SyslogPriorityOf(level), "%s: %s", tag, line.c_str());
    }
    std::function<void(int32_t, const std::string&)> listener;
    std::shared_ptr<const TavomendHost::ILogSink> sink;
    {
        const std::lock_guard<std::mutex> lock(sinks.mutex);
        listener = sinks.listener;
        sink = sinks.sink;
    }
    if (sink != nullptr) {
        sink->Take(whole);
    }
    if (listener) {
        listener(level, line);
    }
    return 0;
}
} // namespace ORVX

namespace ORVX::TavomendHost {
void HostLog::SetStderrLevel(int32_t level)
{
    Sinks().stderrLevel = level;
}

void HostLog::OpenSyslog()
{
    if (access(SYSLOG_SOCKET, W_OK) == 0) {
        openlog("tavomend", LOG_NDELAY | LOG_PID, LOG_DAEMON);
        Sinks().hasSyslog = true;
    }
}

void HostLog::SetListener(std::function<void(int32_t level, const std::string& line)> listener)
{
    LogSinks& sinks = Sinks();
    const std::lock_guard<std::mutex> lock(sinks.mutex);
    sinks.listener = std::move(listener);
}

void HostLog::SetSink(std::shared_ptr<const ILogSink> sink)
{
    LogSinks& sinks = Sinks();
    const std::lock_guard<std::mutex> lock(sinks.mutex);
    sinks.sink = std::move(sink);
}

void HostLog::Reset()
{
    SetStderrLevel(HOST_LOG_NOTHING);
    SetSink(nullptr);
    SetListener(nullptr);
    Sinks().hasSyslog = false;
    closelog();
}
} // namespace ORVX::TavomendHost
