// A place that takes the platform log's lines whole, with what is known of each.
#ifndef TAVOMEND_PORTS_HOST_LOG_SINK_H
#define TAVOMEND_PORTS_HOST_LOG_SINK_H

#include <cstdint>
#include <string>

namespace ORVX::TavomendHost {
struct LogLine {
    int32_t level = 0; // KalogLevel
    std::string text;  // as everywhere, with the place it comes from as a prefix
    // That place; without a file for lines that do not tell it.
    std::string file;
    std::string function;
    int line = 0;
};

class ILogSink {
public:
    virtual ~ILogSink() = default;
    // On the thread that logs and without a lock; must not log.
    virtual void Take(const LogLine& line) const = 0;
};
} // namespace ORVX::TavomendHost

#endif
