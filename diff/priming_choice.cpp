#include "diff/priming_choice.h"

#include <algorithm>
#include <numeric>

#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
constexpr size_t BLOCK = size_t{256} << 10;

// How many extra bytes stand behind the blocks of the old content.
void CountExtra(const Stretches& stretches, std::vector<uint64_t>& extra)
{
    size_t position = 0;
    for (const Stretch& stretch : stretches) {
        position = stretch.delta != 0 ? stretch.oldPosition + stretch.delta : position;
        extra[std::min(position / BLOCK, extra.size() - 1)] += stretch.extra;
    }
}

// Where the run of so many blocks begins that has most of them; the first such.
size_t BestStart(const std::vector<uint64_t>& extra, size_t blocks)
{
    uint64_t sum = std::accumulate(extra.begin(), extra.begin() + static_cast<ptrdiff_t>(blocks), uint64_t{0});
    uint64_t best = sum;
    size_t start = 0;
    for (size_t i = blocks; i < extra.size(); ++i) {
        sum += extra[i];
        sum -= extra[i - blocks];
        if (sum > best) {
            best = sum;
            start = i + 1 - blocks;
        }
    }
    return start * BLOCK;
}

bool IsDeflating(const DifferencePlan& plan)
{
    return std::any_of(plan.regions.begin(), plan.regions.end(),
                       [](const Region& each) { return each.level != 0 && each.level != STORED_LEVEL; });
}
} // namespace

Priming ChoosePriming(ByteView old, const DifferencePlan& plan, const Matches& matches)
{
    const bool hasContent = !plan.groups.empty();
    const size_t size = hasContent ? plan.groups.front().oldEnd : old.size;
    if (size == 0) {
        return {};
    }
    const Priming::Source source = hasContent ? Priming::WINDOW : Priming::BASE;
    const uint64_t sizeMax = IsDeflating(plan) ? PRIMING_MAX_BESIDE_DEFLATE : PRIMING_MAX;
    if (size <= sizeMax) {
        return {source, 0, size};
    }
    std::vector<uint64_t> extra((size + BLOCK - 1) / BLOCK);
    if (hasContent) {
        CountExtra(matches.plain.front(), extra);
    } else {
        for (const Stretches& stretches : matches.raw) {
            CountExtra(stretches, extra);
        }
    }
    const size_t start = BestStart(extra, sizeMax / BLOCK);
    return {source, start, std::min<uint64_t>(sizeMax, size - start)};
}

ByteView PrimingBytes(ByteView old, const DifferencePlan& plan, const Priming& priming)
{
    switch (priming.source) {
    case Priming::BASE:
        return {old.data + priming.start, priming.size};
    case Priming::WINDOW:
        return {plan.oldPlain.data() + priming.start, priming.size};
    default:
        return {};
    }
}
} // namespace ORVX::Difference
