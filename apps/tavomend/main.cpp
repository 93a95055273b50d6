#include "apps/common/standard_output.h"
#include "apps/tavomend/command_line.h"

int main(int argc, char** argv)
{
    const ORVX::Cli::StandardOutput output;
    const int exitCode = ORVX::TavomendCli::RunTavomend(argc, argv);
    return output.End(ORVX::Cli::Console("tavomend", false), exitCode);
}
