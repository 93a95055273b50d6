#include <csignal>

#include "apps/common/standard_output.h"
#include "apps/common/stop_request.h"
#include "apps/tavomend/command_line.h"

int main(int argc, char** argv)
{
    const ORVX::Cli::StandardOutput output;
    const ORVX::Cli::StopRequest stop;
    std::signal(SIGPIPE, SIG_IGN); // a boot goes on when nobody reads what it says
    const int exitCode = ORVX::TavomendCli::RunTavomend(argc, argv);
    return output.End(ORVX::Cli::Console("tavomend", false), exitCode);
}
