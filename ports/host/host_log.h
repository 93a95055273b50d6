// Where KalogPrint's lines go on a Linux host: standard error by level, a sink that the program sets, and syslog where
// there is one.
#ifndef TAVOMEND_PORTS_HOST_HOST_LOG_H
#define TAVOMEND_PORTS_HOST_HOST_LOG_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "ports/host/log_sink.h"

namespace ORVX::TavomendHost {
constexpr int32_t HOST_LOG_NOTHING = 100;

// Set up by the hosting program before it starts anything else; what it sets holds for the process. On
// standard error a line is "TIME LEVEL DOMAIN/TAG: TEXT": the time in UTC, the level's letter, the domain's last five
// digits. Safe from any thread.
class HostLog {
public:
    // The lowest platform level (KalogLevel) that reaches standard error; HOST_LOG_NOTHING, the default, for none.
    static void SetStderrLevel(int32_t level);
    // Connects to syslog if its socket is there; nothing happens otherwise. Call it before the process enters a device
    // root.
    static void OpenSyslog();
    // Also hands every line to a sink, in place of an earlier one; none for a null.
    static void SetSink(std::shared_ptr<const ILogSink> sink);
    // Also hands every line (level, text with prefix) to a listener, on the thread that logs and without a lock; an
    // empty function stops that, but a line under way may still come. For tests, which look for a message, and for
    // hosts that forward the log.
    static void SetListener(std::function<void(int32_t level, const std::string& line)> listener);
    // As at the start of the process: no line goes anywhere. For tests.
    static void Reset();
};
} // namespace ORVX::TavomendHost

#endif
