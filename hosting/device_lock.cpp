#include "hosting/device_lock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/file.h>
#include <thread>

namespace ORVX::TavomendHosting {
using Handles::UniqueDescriptor;

namespace {
using Clock = std::chrono::steady_clock;
constexpr mode_t LOCK_MODE = 0600;
constexpr std::chrono::milliseconds PAUSE{50};

// The byte that is marked: its number is read by programs of other versions, so that names are only added.
constexpr const char* OPERATIONS[] = {"an operation", "deliver",     "apply",        "load",          "boot",
                                      "revoke",       "clear",       "install",      "test",          "version",
                                      "info",         "device init", "device users", "device install"};

struct flock MarkOf(const std::string& operation)
{
    const auto* found = std::find(std::begin(OPERATIONS), std::end(OPERATIONS), operation);
    struct flock mark {};
    mark.l_type = F_RDLCK; // the kind that a file opened for reading can have
    mark.l_whence = SEEK_SET;
    mark.l_start = found == std::end(OPERATIONS) ? 0 : std::distance(std::begin(OPERATIONS), found);
    mark.l_len = 1;
    return mark;
}

std::string WhoHolds(int file)
{
    struct flock query {};
    query.l_type = F_WRLCK;
    query.l_whence = SEEK_SET;
    if (fcntl(file, F_GETLK, &query) != 0 || query.l_type == F_UNLCK) {
        return "busy: another process works on this device"; // what the holder has left behind, or not yet marked
    }
    const auto number = static_cast<size_t>(query.l_start);
    return "busy: process " + std::to_string(query.l_pid) + " (" +
           OPERATIONS[number < std::size(OPERATIONS) ? number : 0] + ") works on this device";
}
} // namespace

OperationResult DeviceLock::Take(const std::string& deviceFolder, const std::string& operation, int wait,
                                 const std::function<bool()>& isStopAsked)
{
    // Inherited over exec: whoever goes on with the work goes on with the lock.
    UniqueDescriptor file(open((deviceFolder + DEVICE_LOCK_PATH).c_str(), O_RDONLY | O_CREAT | O_NOFOLLOW, LOCK_MODE));
    if (!file.IsValid()) {
        return {Outcome::FAILED, std::string("cannot lock the device: ") + strerror(errno)};
    }
    const auto end = Clock::now() + std::chrono::seconds(std::max(wait, 0));
    while (flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return {Outcome::FAILED, std::string("cannot lock the device: ") + strerror(errno)};
        }
        if (wait >= 0 && Clock::now() >= end) {
            return {Outcome::BUSY, WhoHolds(file.Get())};
        }
        if (isStopAsked && isStopAsked()) {
            return {Outcome::INTERRUPTED, "interrupted; nothing was done"};
        }
        std::this_thread::sleep_for(PAUSE);
    }
    struct flock mark = MarkOf(operation);
    fcntl(file.Get(), F_SETLK, &mark);
    file_ = std::move(file);
    return {Outcome::DONE, ""};
}
} // namespace ORVX::TavomendHosting
