#include <csignal>

#include "apps/common/standard_output.h"
#include "apps/tvpk/command_line.h"

int main(int argc, char** argv)
{
    const ORVX::Cli::StandardOutput output;
    std::signal(SIGPIPE, SIG_IGN); // what is half made is cleaned up when nobody reads what is said
    const int exitCode = ORVX::Tvpk::RunTvpk(argc, argv);
    return output.End(ORVX::Cli::Console("tvpk", false), exitCode);
}
