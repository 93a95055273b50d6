// Where KalogPrint's lines go on a Linux host: standard error by level, and syslog where there is one.
#ifndef TAVOMEND_PORTS_HOST_HOST_LOG_H
#define TAVOMEND_PORTS_HOST_HOST_LOG_H

#include <cstdint>
#include <functional>
#include <string>

namespace ORVX::TavomendHost {
constexpr int32_t HOST_LOG_NOTHING = 100;

class HostLog {
public:
    // The lowest platform level (KalogLevel) that reaches standard error; HOST_LOG_NOTHING, the default, for none.
    static void SetStderrLevel(int32_t level);
    // Connects to syslog if its socket is there. Call it before the process enters a device root.
    static void OpenSyslog();
    // Also hands every line (level, text with prefix) to a listener; an empty function stops that. For tests, which
    // look for a message, and for hosts that forward the log.
    static void SetListener(std::function<void(int32_t level, const std::string& line)> listener);
};
} // namespace ORVX::TavomendHost

#endif
