// The engine's own log file: rotating, under /data/log/tavomend, so that the history survives the platform log.
#ifndef TAVOMEND_PLATFORM_UTILITY_TAVOMEND_LOGGER_H
#define TAVOMEND_PLATFORM_UTILITY_TAVOMEND_LOGGER_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/utility/delayed_singleton.h"

namespace spdlog {
class logger;
}

namespace ORVX::TavomendEngine {
constexpr const char* TAVOMEND_LOG_FILE = "/data/log/tavomend/engine_app.log";

// Process-wide, and not destroyed at process end: the other singletons log while they are released. The file is opened
// with the first line; it is rotated at 1 MiB, and three older ones (engine_app.1.log ...) are kept.
class TavomendLogger {
public:
    TavomendLogger();
    ~TavomendLogger();
    TavomendLogger(const TavomendLogger&) = delete;
    TavomendLogger& operator=(const TavomendLogger&) = delete;

    // A platform-log format without its privacy marks: "%{public}s" becomes "%s".
    [[nodiscard]] static std::string FormatLog(const std::string& message);
    // Writes one line, "YYYY-MM-DD HH:MM:SS.mmm [FILE(FUNCTION):LINE] MESSAGE", and flushes it. Does nothing when the
    // log file cannot be opened. Safe from any thread.
    void OutputLog(const char* message, const char* fileName, const char* function, int line);

private:
    std::mutex mutex_;
    bool isOpened_ = false;
    std::shared_ptr<spdlog::logger> logger_;
};

template <>
std::shared_ptr<TavomendLogger> DelayedSingleton<TavomendLogger>::GetInstance();
// The next GetInstance opens the log file anew.
template <>
void DelayedSingleton<TavomendLogger>::DestroyInstance();
} // namespace ORVX::TavomendEngine

#endif
