// Cuts new content into stretches in those ways that are likely to code smallest.
#ifndef TAVOMEND_DIFF_MATCHED_CONTENT_H
#define TAVOMEND_DIFF_MATCHED_CONTENT_H

#include <memory>
#include <vector>

#include "diff/difference_encoder.h"

namespace ORVX::Difference {
// A part of the new content that is matched by itself.
struct MatchedPart {
    ByteView fresh;
    size_t start = 0;            // where in the old content it is likely to begin
    std::vector<Stretches> ways; // one for each rule that it was matched by; positions are those of the old content
};

// New content that goes on from the same old content. The maker of differences has one for each group and one for the
// raw bytes; each is for one thread at a time, and uses all cores itself.
class MatchedContent {
public:
    // What old and the parts refer to must outlive this object. isHasty: see Matcher.
    MatchedContent(ByteView old, std::vector<MatchedPart> parts, bool isHasty);
    MatchedContent(MatchedContent&&) = default;

    [[nodiscard]] size_t OldSize() const { return old_.size; }
    [[nodiscard]] size_t NewSize() const { return newSize_; }
    [[nodiscard]] const std::vector<MatchedPart>& Parts() const { return parts_; }

    // Sorts the old content, unless that was done. What that takes (Matcher::RoomFor) is given back by Match or Forget.
    void Sort();
    void Forget() { matcher_ = nullptr; }
    // About how many bytes a sample of the parts takes, for each rule; SIZE_MAX where that cannot be told. Needs Sort.
    [[nodiscard]] std::vector<size_t> TrySample(const std::vector<MatchRule>& rules) const;
    // Fills the ways of all parts, on all cores; progress hears of every byte once for each rule.
    void Match(const std::vector<MatchRule>& rules, const Matcher::Progress& progress);

private:
    ByteView old_;
    bool isHasty_;
    std::vector<MatchedPart> parts_;
    size_t newSize_ = 0;
    std::unique_ptr<Matcher> matcher_;
};
} // namespace ORVX::Difference

#endif
