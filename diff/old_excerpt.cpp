#include "diff/old_excerpt.h"

#include <algorithm>

#include "diff/known_blocks.h"

namespace ORVX::Difference {
namespace {
// Shorter pieces that both have are chance.
constexpr size_t SHARED_MIN = 12;
// Bytes on either side, over which an alignment may go on in spite of changes.
constexpr size_t AROUND = 256;
// The old content is looked through in such steps, and beyond the end of each for what goes on there.
constexpr size_t STEP = size_t{1} << 20;
} // namespace

OldExcerpt::OldExcerpt(ByteView old, const std::vector<ByteView>& fresh)
{
    std::vector<uint8_t> all;
    for (const ByteView& each : fresh) {
        all.insert(all.end(), each.data, each.data + each.size);
    }
    const KnownBlocks blocks(ByteView{all.data(), all.size()});
    for (size_t at = 0; at < old.size; at += STEP) {
        const std::vector<uint32_t> ends = blocks.LastEnds({old.data + at, std::min(STEP + SHARED_MIN, old.size - at)});
        for (size_t i = 0; i < std::min(STEP, old.size - at); ++i) {
            if (ends[i] >= i + SHARED_MIN) {
                Take(old, at + i - std::min(at + i, AROUND), std::min(old.size, at + i + SHARED_MIN + AROUND));
            }
        }
    }
}

void OldExcerpt::Take(ByteView old, size_t from, size_t end)
{
    if (from > taken_ || places_.empty()) {
        places_.push_back({bytes_.size(), from});
        taken_ = from;
    }
    if (end > taken_) {
        bytes_.insert(bytes_.end(), old.data + taken_, old.data + end);
        taken_ = end;
    }
}

std::vector<Stretch> OldExcerpt::InOld(const std::vector<Stretch>& stretches) const
{
    std::vector<Stretch> found;
    for (Stretch rest : stretches) {
        const size_t before = found.size();
        while (rest.delta != 0) {
            const auto next =
                std::upper_bound(places_.begin(), places_.end(), rest.oldPosition,
                                 [](size_t position, const Place& each) { return position < each.start; });
            const size_t end = next == places_.end() ? bytes_.size() : next->start;
            const Place& place = *std::prev(next);
            const size_t length = std::min(rest.delta, end - rest.oldPosition);
            found.push_back({place.oldStart + rest.oldPosition - place.start, length, 0});
            rest.oldPosition += length;
            rest.delta -= length;
        }
        if (found.size() == before) {
            found.push_back({});
        }
        found.back().extra = rest.extra;
    }
    return found;
}
} // namespace ORVX::Difference
