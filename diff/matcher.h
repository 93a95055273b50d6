// Finds what of new content follows old content, exactly or nearly.
#ifndef TAVOMEND_DIFF_MATCHER_H
#define TAVOMEND_DIFF_MATCHER_H

#include <functional>
#include <vector>

#include "diff/byte_view.h"
#include "diff/known_blocks.h"

namespace ORVX::Difference {
// New content: first as many bytes as delta that follow the old content from a position on, byte for byte with few
// differences, then as many as extra that have no counterpart.
struct Stretch {
    size_t oldPosition = 0;
    size_t delta = 0;
    size_t extra = 0;
};

// When to move to another alignment: when it explains so many bytes more than the one before, at least 1, and if far
// ones are dearer, one more for each four digits of the way there beyond eight.
struct MatchRule {
    size_t gain;
    bool isFarDearer;
};

// The old content with all its suffixes in order: four bytes for each of its bytes, and the time to sort them. Made
// once for each group and once for the raw bytes, then searched, also by several threads. The old content must outlive
// it.
class Matcher {
public:
    // isHasty: leaves out searches that hardly ever find anything worth having.
    Matcher(ByteView old, bool isHasty);
    // About what the matcher of old content of that size takes, in bytes.
    [[nodiscard]] static size_t RoomFor(size_t oldSize);

    // Ways to cut new content into stretches, one for each rule. No stretch is empty. start: where in the old content
    // the new one is likely to begin. No old content at all, or too much of it to be sorted, gives a single stretch of
    // extra bytes. progress hears now and then how many more bytes of the new content have been gone through, in the
    // end of all of them for each rule.
    using Progress = std::function<void(size_t bytes)>;
    [[nodiscard]] std::vector<std::vector<Stretch>>
    Match(ByteView fresh, size_t start, const std::vector<MatchRule>& rules, const Progress& progress) const;

private:
    struct Found {
        size_t rank = 0; // among the suffixes
        size_t length = 0;
    };
    [[nodiscard]] Found Longest(const uint8_t* text, size_t size) const;
    // Of the places where as much is the same, the one nearest to a position: what leads to it takes fewer digits.
    [[nodiscard]] size_t Nearest(const Found& found, ByteView text, size_t expected) const;
    void IndexPrefixes();
    [[nodiscard]] size_t PrefixOf(const uint8_t* text, size_t size) const;

    ByteView old_;
    bool isHasty_;
    std::vector<int32_t> suffixes_;
    size_t prefixSize_ = 0;
    std::vector<uint32_t> prefixes_; // for each beginning, how many suffixes are below it
    KnownBlocks blocks_;             // if it is hasty
};
} // namespace ORVX::Difference

#endif
