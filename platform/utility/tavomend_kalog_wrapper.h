// Which of the engine's messages reach the platform log.
#ifndef TAVOMEND_PLATFORM_UTILITY_TAVOMEND_KALOG_WRAPPER_H
#define TAVOMEND_PLATFORM_UTILITY_TAVOMEND_KALOG_WRAPPER_H

#include <cstdint>

namespace ORVX::TavomendEngine {
enum TavomendLogLevel : int32_t {
    TAVOMEND_LOG_DEBUG = 0,
    TAVOMEND_LOG_INFO = 1,
    TAVOMEND_LOG_WARN = 2,
    TAVOMEND_LOG_ERROR = 3,
};

// Process-wide; safe from any thread.
class TavomendKalogWrapper {
public:
    // True when messages of this wrapper level are written to the platform log.
    [[nodiscard]] static bool JudgeLevel(int32_t level);
    // The lowest level that is admitted; info unless set.
    static void SetLevel(int32_t level);
};
} // namespace ORVX::TavomendEngine

#endif
