// SIGINT and SIGTERM as a wish that the work stop at its next safe point.
#ifndef TAVOMEND_APPS_COMMON_STOP_REQUEST_H
#define TAVOMEND_APPS_COMMON_STOP_REQUEST_H

#include <csignal>

namespace ORVX::Cli {
// As long as it lives, these two signals do nothing but leave their number here, and make calls that wait return early;
// also in processes that are forked off. One that was ignored before stays ignored. One in a process.
class StopRequest {
public:
    StopRequest();
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    // The last signal's number; 0 before the first. From any thread.
    [[nodiscard]] static int Signal();
    // As shells have it.
    [[nodiscard]] static int ExitCode();

private:
    struct sigaction formerInt_ {};
    struct sigaction formerTerm_ {};
};
} // namespace ORVX::Cli

#endif
