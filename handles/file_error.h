// One line about a file that could not be read or written, with the system's reason.
#ifndef TAVOMEND_HANDLES_FILE_ERROR_H
#define TAVOMEND_HANDLES_FILE_ERROR_H

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "handles/unique_descriptor.h"

namespace ORVX::Handles {
// The system's words for a number of errno.
[[nodiscard]] inline std::string SystemReason(int error)
{
    return std::generic_category().message(error);
}

// Why a path names no regular file that can be read; empty when it does. Looks anew, so that it can be asked after a
// library has failed that gives no reason.
[[nodiscard]] inline std::string WhyUnreadable(const std::string& path)
{
    // Not to wait at a pipe that nobody writes to.
    const UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    char byte = 0;
    if (!file.IsValid() || fstat(file.Get(), &status) != 0) {
        return SystemReason(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return S_ISDIR(status.st_mode) ? SystemReason(EISDIR) : "it is no regular file";
    }
    return pread(file.Get(), &byte, 1, 0) < 0 ? SystemReason(errno) : "";
}

[[nodiscard]] inline std::string CannotRead(const std::string& path)
{
    const std::string reason = WhyUnreadable(path);
    return "cannot read " + path + (reason.empty() ? "" : ": " + reason);
}

// error: errno right after the failure; 0 where it says nothing.
[[nodiscard]] inline std::string CannotWrite(const std::string& path, int error)
{
    return "cannot write " + path + (error == 0 ? "" : ": " + SystemReason(error));
}
} // namespace ORVX::Handles

#endif
