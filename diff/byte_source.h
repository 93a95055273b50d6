// Bytes that come in pieces.
#ifndef TAVOMEND_DIFF_BYTE_SOURCE_H
#define TAVOMEND_DIFF_BYTE_SOURCE_H

#include "diff/byte_view.h"

namespace ORVX::Difference {
class ByteSource {
public:
    virtual ~ByteSource() = default;
    // The next piece, valid until the next call; empty when there are no more.
    [[nodiscard]] virtual ByteView Next() = 0;
};
} // namespace ORVX::Difference

#endif
