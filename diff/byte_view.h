// A stretch of memory that somebody else owns, and keeps while it is looked at. An empty one may point nowhere.
#ifndef TAVOMEND_DIFF_BYTE_VIEW_H
#define TAVOMEND_DIFF_BYTE_VIEW_H

#include <cstddef>
#include <cstdint>

namespace ORVX::Difference {
struct ByteView {
    const uint8_t* data = nullptr;
    size_t size = 0;
};
} // namespace ORVX::Difference

#endif
