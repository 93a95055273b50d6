#include "apps/common/stop_request.h"

namespace ORVX::Cli {
namespace {
constexpr int EXIT_BY_SIGNAL = 128;

volatile std::sig_atomic_t g_signal = 0; // a handler reaches nothing else

struct sigaction Take(int signal)
{
    struct sigaction former {};
    sigaction(signal, nullptr, &former);
    if (former.sa_handler != SIG_IGN) {
        struct sigaction action {}; // without SA_RESTART: whoever waits is to look
        action.sa_handler = [](int number) { g_signal = number; };
        sigaction(signal, &action, nullptr);
    }
    return former;
}
} // namespace

StopRequest::StopRequest() : formerInt_(Take(SIGINT)), formerTerm_(Take(SIGTERM)) {}

StopRequest::~StopRequest()
{
    sigaction(SIGINT, &formerInt_, nullptr);
    sigaction(SIGTERM, &formerTerm_, nullptr);
}

int StopRequest::Signal()
{
    return g_signal;
}

int StopRequest::ExitCode()
{
    return EXIT_BY_SIGNAL + g_signal;
}
} // namespace ORVX::Cli
