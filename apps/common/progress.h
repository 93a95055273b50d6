// Shows how far a long work has come.
#ifndef TAVOMEND_APPS_COMMON_PROGRESS_H
#define TAVOMEND_APPS_COMMON_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "apps/common/console.h"

namespace ORVX::Cli {
// One bar on a terminal, drawn anew at most ten times a second and taken away at the end; elsewhere a line, and with
// JSON an event "progress", at most once a second, and the end of each step that was told of. Work that is over within
// its first second is not told of without a terminal. One thread at a time, any thread.
class Progress {
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    // The console must outlive it. clock: for tests.
    explicit Progress(const Console& console, Clock clock = std::chrono::steady_clock::now);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // step: what is being done, for people. done and total: bytes.
    void Report(const std::string& step, uint64_t done, uint64_t total);

private:
    const Console& console_;
    const Clock clock_;
    std::chrono::steady_clock::time_point next_; // nothing is shown before
    std::string step_;                           // that was shown last
    bool isEndShown_ = false;                    // of that step
};
} // namespace ORVX::Cli

#endif
