#include "diff/own_difference.h"

#include <algorithm>

#include "diff/difference_encoder.h"
#include "diff/difference_header.h"
#include "diff/extra_writer.h"
#include "diff/parallel.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
// Segments are matched in parallel, and the next one begins a stretch of its own.
constexpr size_t SEGMENT_MIN = size_t{256} << 10;
constexpr size_t SEGMENT_MAX = size_t{1} << 20;
// Not every device reads version 2: it must make a difference smaller by such a part.
constexpr size_t GAIN_SHARE_MIN = 256;

// One plan carried out.
class OwnMaker {
public:
    OwnMaker(const OwnRequest& request, bool isFiltered, StepProgress& progress)
        : old_(request.old), fresh_(request.fresh), maxVersion_(request.version), progress_(progress)
    {
        const size_t window = std::min<size_t>(request.window, DifferenceWindowMax(request.version));
        plan_ = MakeDifferencePlan(old_, fresh_, {window, isFiltered}, [&progress](size_t bytes, size_t total) {
            progress.Advance("inflate", bytes, total);
        });
    }

    [[nodiscard]] bool HasCode() const { return plan_.hasCode; }

    std::optional<OwnDifference> Make()
    {
        MatchAll();
        progress_.Tell("encode", 0, fresh_.size);
        std::optional<std::string> bytes = EncodeBest();
        progress_.Tell("encode", fresh_.size, fresh_.size);
        const auto isDeflated = [](const Region& each) { return each.level != 0 && each.level != STORED_LEVEL; };
        const auto entries = std::count_if(plan_.regions.begin(), plan_.regions.end(), isDeflated);
        return bytes.has_value() ? std::optional(OwnDifference{std::move(*bytes), static_cast<size_t>(entries)})
                                 : std::nullopt;
    }

private:
    // A part of the new content that is matched by itself, and the ways to do so.
    struct Segment {
        size_t group;
        size_t newStart;
        size_t newEnd;
        size_t oldStart; // where it is likely to go on from
        std::vector<Stretches> ways;
    };

    // Entries together that are small, and parts of those that are large.
    void MakeSegments()
    {
        for (size_t i = 0; i < plan_.groups.size(); ++i) {
            const Group& group = plan_.groups[i];
            size_t start = group.newStart;
            for (const Group& span : plan_.spans) {
                const size_t end = std::min(span.newEnd, group.newEnd);
                while (end > start && (end - start >= SEGMENT_MIN || end == group.newEnd)) {
                    const size_t next = end - start > 2 * SEGMENT_MAX ? start + SEGMENT_MAX : end;
                    segments_.push_back({i, start, next, OldPosition(start, group), {}});
                    start = next;
                }
            }
        }
    }

    // Where in a group's old content the counterpart of a position in the new content lies, as far as can be told.
    size_t OldPosition(size_t newPosition, const Group& group) const
    {
        const auto span = std::upper_bound(plan_.spans.begin(), plan_.spans.end(), newPosition,
                                           [](size_t position, const Group& each) { return position < each.newEnd; });
        if (span == plan_.spans.end()) {
            return group.oldStart;
        }
        const uint64_t into = newPosition - span->newStart;
        const size_t position = span->oldStart + into * (span->oldEnd - span->oldStart) /
                                                     std::max<size_t>(1, span->newEnd - span->newStart);
        return std::clamp(position, group.oldStart, group.oldEnd);
    }

    void MatchAll()
    {
        MakeSegments();
        rawWays_.resize(plan_.regions.size());
        total_ = BytesToMatch();
        progress_.Tell("match", 0, total_); // sorting the old content may take long
        InParallel(plan_.groups.size() + 1, [&](size_t i) {
            // The groups first: they take longest.
            if (i < plan_.groups.size()) {
                MatchGroup(i);
            } else {
                MatchRaw();
            }
        });
    }

    // Old content is gone through when it is sorted, new content each time when it is matched.
    [[nodiscard]] uint64_t BytesToMatch() const
    {
        uint64_t total = old_.size;
        for (const Group& group : plan_.groups) {
            total += group.oldEnd - group.oldStart + rules_.size() * (group.newEnd - group.newStart);
        }
        for (const Region& region : plan_.regions) {
            total += rules_.size() * region.raw.size;
        }
        return total;
    }

    void MatchGroup(size_t index)
    {
        const Group& group = plan_.groups[index];
        const Matcher matcher({plan_.oldPlain.data() + group.oldStart, group.oldEnd - group.oldStart});
        Advance(group.oldEnd - group.oldStart);
        const auto isBefore = [](const Segment& each, size_t number) { return each.group < number; };
        const auto first = std::lower_bound(segments_.begin(), segments_.end(), index, isBefore);
        const auto last = std::lower_bound(first, segments_.end(), index + 1, isBefore);
        InParallel(static_cast<size_t>(last - first), [&](size_t i) {
            Segment& segment = first[static_cast<ptrdiff_t>(i)];
            segment.ways = matcher.Match(NewContent(segment), segment.oldStart - group.oldStart, rules_, advance_);
            for (Stretches& way : segment.ways) {
                for (Stretch& stretch : way) {
                    stretch.oldPosition += group.oldStart;
                }
            }
        });
    }

    [[nodiscard]] ByteView NewContent(const Segment& segment) const
    {
        return {plan_.newPlain.data() + segment.newStart, segment.newEnd - segment.newStart};
    }

    void MatchRaw()
    {
        const Matcher matcher(old_);
        Advance(old_.size);
        InParallel(plan_.regions.size(),
                   [&](size_t i) { rawWays_[i] = matcher.Match(plan_.regions[i].raw, 0, rules_, advance_); });
    }

    void Advance(size_t bytes) { progress_.Advance("match", bytes, total_); }

    [[nodiscard]] Matches MatchesOf(size_t way) const
    {
        Matches matches;
        for (const auto& ways : rawWays_) {
            matches.raw.push_back(ways[way]);
        }
        matches.plain.resize(plan_.groups.size());
        for (const Segment& segment : segments_) {
            for (const Stretch& stretch : segment.ways[way]) {
                Append(matches.plain[segment.group], stretch);
            }
        }
        return matches;
    }

    // A stretch that goes on where the last one ended is none of its own.
    static void Append(Stretches& stretches, const Stretch& stretch)
    {
        Stretch* const last = stretches.empty() ? nullptr : &stretches.back();
        if (last != nullptr && stretch.delta == 0) {
            last->extra += stretch.extra;
        } else if (last != nullptr && last->extra == 0 && last->oldPosition + last->delta == stretch.oldPosition) {
            last->delta += stretch.delta;
            last->extra = stretch.extra;
        } else {
            stretches.push_back(stretch);
        }
    }

    struct Attempt {
        CodedParts parts;
        size_t size = SIZE_MAX; // about
    };

    [[nodiscard]] Attempt Try(const Matches& matches) const
    {
        Attempt attempt{EncodeDifference(old_, plan_, matches, plan_.isFiltered ? 2 : 1)};
        const size_t extra = EstimateExtra(attempt.parts.extra);
        attempt.size = extra == SIZE_MAX ? SIZE_MAX : attempt.parts.model.size() + extra;
        return attempt;
    }

    [[nodiscard]] std::optional<std::string> EncodeBest() const
    {
        std::vector<Attempt> attempts(rules_.size());
        InParallel(attempts.size(), [&](size_t i) { attempts[i] = Try(MatchesOf(i)); });
        const auto best = std::min_element(attempts.begin(), attempts.end(),
                                           [](const Attempt& a, const Attempt& b) { return a.size < b.size; });
        const std::optional<CompressedExtra> extra = CompressExtra(best->parts.extra, maxVersion_ >= 2);
        if (!extra.has_value()) {
            return std::nullopt;
        }
        const size_t window = best->parts.windowSize;
        if (plan_.isFiltered) {
            return Assemble(2, window, best->parts.model, *extra);
        }
        if (extra->isChunked || window > DifferenceWindowMax(DIFFERENCE_VERSION_MIN)) {
            const Matches matches = MatchesOf(static_cast<size_t>(best - attempts.begin()));
            return Assemble(2, window, EncodeDifference(old_, plan_, matches, 2).model, *extra);
        }
        return Assemble(1, window, best->parts.model, *extra);
    }

    [[nodiscard]] std::optional<std::string> Assemble(uint8_t version, size_t window, const std::string& model,
                                                      const CompressedExtra& extra) const
    {
        DifferenceHeader header;
        header.version = version;
        header.zlibVersion = DeflateLibraryVersion();
        header.baseSize = static_cast<uint32_t>(old_.size);
        header.outputSize = static_cast<uint32_t>(fresh_.size);
        header.windowSize = static_cast<uint32_t>(window);
        header.extraProperties = extra.properties;
        if (!Handles::Sha256::Of(old_.data, old_.size, header.baseDigest) ||
            !Handles::Sha256::Of(fresh_.data, fresh_.size, header.outputDigest)) {
            return std::nullopt;
        }
        return AssembleDifference(header, model, extra.bytes);
    }

    const ByteView old_;
    const ByteView fresh_;
    const uint8_t maxVersion_;
    StepProgress& progress_;
    DifferencePlan plan_;
    uint64_t total_ = 0; // bytes to match
    std::vector<Segment> segments_;
    std::vector<std::vector<Stretches>> rawWays_; // of each region
    // How many bytes more a new alignment must explain to be worth its numbers depends on what the extra bytes cost,
    // and on how the changes lie: each rule is tried.
    const std::vector<MatchRule> rules_ = {{8, false}, {8, true}, {12, true}, {16, true}, {32, false}};
    const Matcher::Progress advance_ = [this](size_t bytes) { Advance(bytes); };
};
} // namespace

std::optional<OwnDifference> MakeOwnDifference(const OwnRequest& request, StepProgress& progress)
{
    bool hasCode = false;
    std::optional<OwnDifference> usual;
    {
        OwnMaker maker(request, false, progress);
        hasCode = maker.HasCode();
        usual = maker.Make();
    }
    if (!hasCode || request.version < 2 || !usual.has_value()) {
        return usual;
    }
    std::optional<OwnDifference> filtered = OwnMaker(request, true, progress).Make();
    const bool isWorthIt =
        filtered.has_value() && filtered->bytes.size() < usual->bytes.size() - usual->bytes.size() / GAIN_SHARE_MIN;
    return isWorthIt ? filtered : usual;
}
} // namespace ORVX::Difference
