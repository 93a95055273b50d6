// How much memory a process of this device may use.
#ifndef TAVOMEND_PORTS_HOST_USABLE_MEMORY_H
#define TAVOMEND_PORTS_HOST_USABLE_MEMORY_H

#include <cstdint>

namespace ORVX::TavomendHost {
// In bytes: the least of what the machine has, what the control groups of this process allow (both versions, each with
// all those above it) and its limit of address space (RLIMIT_AS). What cannot be read limits nothing: a device in a
// folder has no control groups to be seen. From any thread.
[[nodiscard]] uint64_t UsableMemory();
} // namespace ORVX::TavomendHost

#endif
