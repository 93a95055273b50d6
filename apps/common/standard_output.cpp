#include "apps/common/standard_output.h"

#include <cerrno>
#include <iostream>
#include <system_error>
#include <unistd.h>

namespace ORVX::Cli {
StandardOutput::StandardOutput() : former_(std::cout.rdbuf(this)) {}

StandardOutput::~StandardOutput()
{
    std::cout.rdbuf(former_);
}

int StandardOutput::End(const Console& console, int exitCode) const
{
    const bool isWhole = error_ == 0 || error_ == EPIPE;
    const bool isToldFailed = exitCode == EXIT_FAILED || exitCode == EXIT_USAGE;
    return isWhole || isToldFailed
               ? exitCode
               : console.Fail("cannot write to standard output: " + std::generic_category().message(error_));
}

StandardOutput::int_type StandardOutput::overflow(int_type letter)
{
    const char text = traits_type::to_char_type(letter);
    const bool isWritten = traits_type::eq_int_type(letter, traits_type::eof()) || xsputn(&text, 1) == 1;
    return isWritten ? traits_type::not_eof(letter) : traits_type::eof();
}

std::streamsize StandardOutput::xsputn(const char* text, std::streamsize size)
{
    std::streamsize done = 0;
    while (done < size && error_ == 0) {
        const ssize_t count = write(STDOUT_FILENO, text + done, static_cast<size_t>(size - done));
        if (count < 0 && errno != EINTR) {
            error_ = errno;
        }
        done += count > 0 ? count : 0;
    }
    return done;
}
} // namespace ORVX::Cli
