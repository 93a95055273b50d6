// Standard output that remembers why something could not be written.
#ifndef TAVOMEND_APPS_COMMON_STANDARD_OUTPUT_H
#define TAVOMEND_APPS_COMMON_STANDARD_OUTPUT_H

#include <streambuf>

#include "apps/common/console.h"

namespace ORVX::Cli {
// Behind std::cout as long as it lives; made first by main, one in a process. Writes everything at once, so that a
// process that is forked off finds nothing to write a second time.
class StandardOutput : private std::streambuf {
public:
    StandardOutput();
    ~StandardOutput() override;
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // Gives the program's exit code, unless something could not be written: a script must not take half an answer for
    // the whole. Then it has failed, in one line where it has told no other failure; what it has done stays done. A
    // reader that has gone wanted no more.
    [[nodiscard]] int End(const Console& console, int exitCode) const;

private:
    int_type overflow(int_type letter) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;

    std::streambuf* const former_;
    int error_ = 0; // errno of the first failure
};
} // namespace ORVX::Cli

#endif
