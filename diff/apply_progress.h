// How far the making of a new file out of a difference has come.
#ifndef TAVOMEND_DIFF_APPLY_PROGRESS_H
#define TAVOMEND_DIFF_APPLY_PROGRESS_H

#include <cstdint>
#include <functional>

namespace ORVX::Difference {
// Bytes of the new file that are written, and its size. Called on the thread that applies, never with fewer bytes than
// before; at the end with the size, unless it fails. May be empty.
using ApplyProgress = std::function<void(uint64_t done, uint64_t total)>;
} // namespace ORVX::Difference

#endif
