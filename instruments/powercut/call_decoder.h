// Which calls change files, and what a thread at the door of one is about to change. For the tracer, on x86-64.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_CALL_DECODER_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_CALL_DECODER_H

#include <array>
#include <optional>
#include <string>
#include <sys/types.h>
#include <sys/uio.h>

#include "instruments/powercut/system_call.h"

namespace ORVX::TavomendTest {
// A thread at the door of a call.
struct CallStop {
    pid_t thread;
    uint64_t number;
    std::array<uint64_t, 6> arguments;
};

// From now on this process, and those that it becomes or starts, stop for their tracer at the calls of interest.
[[nodiscard]] bool InstallFilter();
// Nothing for a call that changes no file below root after all. Needs a stop that the filter has made.
[[nodiscard]] std::optional<SystemCall> DecodeCall(const CallStop& stop, const std::string& root);
// Memory of another process: its addresses are mere numbers here.
[[nodiscard]] iovec There(uint64_t address, size_t size);
// The path by which this process sees another one's open file.
[[nodiscard]] std::string DescriptorLink(pid_t thread, uint64_t descriptor);
} // namespace ORVX::TavomendTest

#endif
