// Machine code as differences like it: calls name where they lead to, not how far away that is.
#ifndef TAVOMEND_DIFF_CODE_FILTER_H
#define TAVOMEND_DIFF_CODE_FILTER_H

#include <cstddef>
#include <cstdint>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// What is put in before some code changes the distances in all calls that lead across it, but only the addresses that
// lie behind it. The order is part of the format.
enum class CodeFilter : uint8_t { NONE, ARM64, X86, COUNT };

// Bytes of a filtered entry that are turned back at a time, from its start on: part of the format.
constexpr size_t FILTERED_PART = size_t{64} << 10;

// Distances to addresses and back, in place. position: of the first byte in its content. A part is taken by itself: an
// instruction that does not lie in it as a whole stays as it is. Any bytes come back as they were, also those that are
// no code, as long as the parts are the same.
void MakeAbsolute(CodeFilter filter, uint8_t* bytes, size_t size, uint64_t position);
void MakeRelative(CodeFilter filter, uint8_t* bytes, size_t size, uint64_t position);
} // namespace ORVX::Difference

#endif
