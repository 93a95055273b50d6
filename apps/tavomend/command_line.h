// The command line of the hosting program.
#ifndef TAVOMEND_APPS_TAVOMEND_COMMAND_LINE_H
#define TAVOMEND_APPS_TAVOMEND_COMMAND_LINE_H

namespace ORVX::TavomendCli {
// Reads the command line and runs one command. 0 done, 1 failed, 2 wrong usage, 3 nothing to do, 4 the device is
// busy, 5 done up to what takes a boot; 130 or 143 stopped at a safe point by SIGINT or SIGTERM.
[[nodiscard]] int RunTavomend(int argc, char** argv);
} // namespace ORVX::TavomendCli

#endif
