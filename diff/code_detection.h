// Tells machine code by the header of the file that it is in.
#ifndef TAVOMEND_DIFF_CODE_DETECTION_H
#define TAVOMEND_DIFF_CODE_DETECTION_H

#include "diff/byte_view.h"
#include "diff/code_filter.h"

namespace ORVX::Difference {
// For the maker: the filter of the machine that an ELF, Mach-O (64 bits) or PE file is for; NONE for all others. What
// is in the file is not checked further: the filters take any bytes.
[[nodiscard]] CodeFilter CodeFilterFor(ByteView content);
} // namespace ORVX::Difference

#endif
