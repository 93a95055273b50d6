#include "diff/matched_content.h"

#include <algorithm>

#include "diff/extra_writer.h"
#include "diff/parallel.h"

namespace ORVX::Difference {
namespace {
// One part in so many, and of a long one a piece of that size in so many.
constexpr size_t SAMPLE_STEP = 8;
constexpr size_t LARGE_SAMPLE_STEP = 16;
constexpr size_t LARGE_FROM = size_t{32} << 20;
constexpr size_t SAMPLE_PIECE = size_t{1} << 20;

std::vector<MatchedPart> SampleOf(const std::vector<MatchedPart>& parts, size_t step)
{
    std::vector<MatchedPart> sample;
    for (size_t i = 0; i < parts.size(); i += step) {
        const ByteView& fresh = parts[i].fresh;
        for (size_t at = 0; at < fresh.size; at += step * SAMPLE_PIECE) {
            sample.push_back({{fresh.data + at, std::min(SAMPLE_PIECE, fresh.size - at)}, parts[i].start + at, {}});
        }
    }
    return sample;
}

void MatchBy(const std::vector<MatchRule>& rules, const Matcher& matcher, std::vector<MatchedPart>& parts,
             const Matcher::Progress& progress)
{
    InParallel(parts.size(),
               [&](size_t i) { parts[i].ways = matcher.Match(parts[i].fresh, parts[i].start, rules, progress); });
}

size_t SizeOfWay(ByteView old, const std::vector<MatchedPart>& parts, size_t way)
{
    std::vector<CutContent> cut;
    for (const MatchedPart& part : parts) {
        cut.push_back({part.fresh, part.ways[way]});
    }
    const CodedParts coded = EncodeStretches(old, cut);
    const size_t extra = EstimateExtra(coded.extra);
    return extra == SIZE_MAX ? SIZE_MAX : coded.model.size() + extra;
}
} // namespace

MatchedContent::MatchedContent(ByteView old, std::vector<MatchedPart> parts, bool isHasty)
    : old_(old), isHasty_(isHasty), parts_(std::move(parts))
{
    for (const MatchedPart& part : parts_) {
        newSize_ += part.fresh.size;
    }
}

void MatchedContent::Sort()
{
    if (matcher_ == nullptr) {
        matcher_ = std::make_unique<Matcher>(old_, isHasty_);
    }
}

std::vector<size_t> MatchedContent::TrySample(const std::vector<MatchRule>& rules) const
{
    std::vector<MatchedPart> sample = SampleOf(parts_, newSize_ < LARGE_FROM ? SAMPLE_STEP : LARGE_SAMPLE_STEP);
    MatchBy(rules, *matcher_, sample, [](size_t) {});
    std::vector<size_t> sizes(rules.size());
    InParallel(rules.size(), [&](size_t i) { sizes[i] = SizeOfWay(old_, sample, i); });
    return sizes;
}

void MatchedContent::Match(const std::vector<MatchRule>& rules, const Matcher::Progress& progress)
{
    Sort();
    MatchBy(rules, *matcher_, parts_, progress);
    Forget();
}
} // namespace ORVX::Difference
