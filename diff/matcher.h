// Finds what of new content follows old content, exactly or nearly.
#ifndef TAVOMEND_DIFF_MATCHER_H
#define TAVOMEND_DIFF_MATCHER_H

#include <functional>
#include <vector>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// New content: first as many bytes as delta that follow the old content from a position on, byte for byte with few
// differences, then as many as extra that have no counterpart.
struct Stretch {
    size_t oldPosition = 0;
    size_t delta = 0;
    size_t extra = 0;
};

// The old content with all its suffixes in order: four bytes for each of its bytes, and the time to sort them. Made
// once for each group and once for the raw bytes, then searched, also by several threads. The old content must outlive
// it.
class Matcher {
public:
    explicit Matcher(ByteView old);

    // Ways to cut new content into stretches, one for each gain: how many bytes more a new alignment must explain than
    // the one before it, at least 1. No stretch is empty. start: where in the old content the new one is likely to
    // begin. No old content at all, or too much of it to be sorted, gives a single stretch of extra bytes. progress
    // hears now and then how many more bytes of the new content have been gone through, in the end of all of them for
    // each gain.
    using Progress = std::function<void(size_t bytes)>;
    [[nodiscard]] std::vector<std::vector<Stretch>>
    Match(ByteView fresh, size_t start, const std::vector<size_t>& gains, const Progress& progress) const;

private:
    struct Found {
        size_t position = 0;
        size_t length = 0;
    };
    [[nodiscard]] Found Longest(const uint8_t* text, size_t size) const;
    void IndexPrefixes();
    [[nodiscard]] size_t PrefixOf(const uint8_t* text, size_t size) const;

    ByteView old_;
    std::vector<int32_t> suffixes_;
    size_t prefixSize_ = 0;
    std::vector<uint32_t> prefixes_; // for each beginning, how many suffixes are below it
};
} // namespace ORVX::Difference

#endif
