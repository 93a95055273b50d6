// Bounded printf with the semantics of Annex K's sprintf_s, which the C library here does not offer.
#ifndef TAVOMEND_PLATFORM_UTILITY_SECURE_FORMAT_H
#define TAVOMEND_PLATFORM_UTILITY_SECURE_FORMAT_H

#include <cstddef>

namespace ORVX::TavomendEngine {
// Number of characters written, without the NUL; -1, and an empty buffer, when the text does not fit or the arguments
// are not usable. A text is never cut.
int sprintf_s(char* buffer, size_t size, const char* format, ...);
} // namespace ORVX::TavomendEngine

#endif
