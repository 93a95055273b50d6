// Finds which old content some new content resembles, whatever the two are called.
#ifndef TAVOMEND_DIFF_CONTENT_INDEX_H
#define TAVOMEND_DIFF_CONTENT_INDEX_H

#include <unordered_map>
#include <vector>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// A sample of the short strings in some content: of each the hash, of which one in some hundreds is kept, the same ones
// wherever they stand. Sorted, each once. Content that shares much shares much of its samples.
using ContentSample = std::vector<uint32_t>;
[[nodiscard]] ContentSample SampleContent(ByteView content);

// For the planner: old contents are added, then asked for.
class ContentIndex {
public:
    struct Likeness {
        size_t number = 0; // of the old content
        size_t shared = 0; // hashes that both samples have
    };

    void Add(size_t number, const ContentSample& sample);
    // The old contents that share anything with the new one, in the order of their numbers.
    [[nodiscard]] std::vector<Likeness> Find(const ContentSample& sample) const;

private:
    std::unordered_map<uint32_t, std::vector<size_t>> numbers_; // of the contents that have a hash
};
} // namespace ORVX::Difference

#endif
