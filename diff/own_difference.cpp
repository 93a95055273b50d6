#include "diff/own_difference.h"

#include <algorithm>

#include "diff/difference_header.h"
#include "diff/matched_content.h"
#include "diff/old_excerpt.h"
#include "diff/own_writer.h"
#include "diff/parallel.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
// Parts are matched in parallel, and the next one begins a stretch of its own.
constexpr size_t PART_MIN = size_t{256} << 10;
constexpr size_t PART_MAX = size_t{1} << 20;
// How many bytes more another alignment must explain to be worth its numbers depends on what bytes of their own cost,
// and on how the changes lie. Small content is cut by each rule; of large one a sample is, out of the two largest
// contents, and all of it by those rules only that do best there.
const std::vector<MatchRule> RULES = {{8, false}, {8, true}, {12, true}, {16, true}, {32, false}};
constexpr size_t SAMPLED_CONTENTS = 2;
constexpr size_t LIKELY_RULES = 2;
// Only the best one where the next is larger by such a part, and for so much content: it would take long.
constexpr size_t UNLIKELY_SHARE_MIN = 64;
constexpr size_t ONE_RULE_FROM = size_t{128} << 20;
// Fewer raw bytes than such a part of the old file are matched with an excerpt of it.
constexpr size_t LITTLE_RAW_SHARE = 8;
// Measured: what matching and coding take beside contents and suffixes.
constexpr size_t WORK_ROOM = size_t{192} << 20;
// More content lies in a scratch file.
constexpr uint64_t SCRATCH_FROM = uint64_t{256} << 20;

// One plan carried out.
class OwnMaker {
public:
    OwnMaker(const OwnRequest& request, CodeUse code, StepProgress& progress)
        : request_(request), old_(request.old.View()), fresh_(request.fresh.View()), maxVersion_(request.version),
          memory_(request.memory), progress_(progress)
    {
        const size_t window = std::min<size_t>(request.window, DifferenceWindowMax(request.version));
        plan_ = MakeDifferencePlan(
            old_, fresh_,
            {window, code, request.sampledFrom, request.proof, request.scratch, std::min(SCRATCH_FROM, memory_ / 4)},
            [&progress](size_t bytes, size_t total) { progress.Advance("inflate", bytes, total); });
    }

    // What was not filtered may have to be tried so as well.
    [[nodiscard]] bool IsFilteringOpen() const { return plan_.hasCode && !plan_.isLarge; }

    std::optional<OwnDifference> Make()
    {
        MatchAll();
        progress_.Tell("encode", 0, fresh_.size);
        std::vector<Matches> ways;
        for (size_t i = 0; i < ways_; ++i) {
            ways.push_back(MatchesOf(i));
        }
        std::optional<std::string> bytes = WriteOwnDifference({old_, fresh_, plan_, maxVersion_}, ways);
        progress_.Tell("encode", fresh_.size, fresh_.size);
        const auto isDeflated = [](const Region& each) { return each.level != 0 && each.level != STORED_LEVEL; };
        const auto entries = std::count_if(plan_.regions.begin(), plan_.regions.end(), isDeflated);
        return bytes.has_value()
                   ? std::optional(OwnDifference{std::move(*bytes), static_cast<size_t>(entries), plan_.isPresumed})
                   : std::nullopt;
    }

private:
    // Entries together that are small, and parts of those that are large.
    [[nodiscard]] std::vector<MatchedPart> PartsOf(const Group& group) const
    {
        std::vector<MatchedPart> parts;
        size_t start = group.newStart;
        for (const Group& span : plan_.spans) {
            const size_t end = std::min(span.newEnd, group.newEnd);
            while (end > start && (end - start >= PART_MIN || end == group.newEnd)) {
                const size_t next = end - start > 2 * PART_MAX ? start + PART_MAX : end;
                const ByteView fresh = {plan_.newPlain.data() + start, next - start};
                parts.push_back({fresh, OldPosition(start, group) - group.oldStart, {}});
                start = next;
            }
        }
        return parts;
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
        newSize_ = plan_.newPlain.size();
        for (const Region& region : plan_.regions) {
            newSize_ += region.raw.size;
        }
        MakeContents();
        std::vector<MatchedContent*> largestFirst;
        for (MatchedContent& content : contents_) {
            largestFirst.push_back(&content);
            total_ += content.OldSize(); // is gone through when it is sorted
        }
        std::sort(largestFirst.begin(), largestFirst.end(),
                  [](const auto* a, const auto* b) { return a->NewSize() > b->NewSize(); });
        const size_t mostWays = plan_.isLarge ? LIKELY_RULES : RULES.size();
        total_ += mostWays * newSize_;
        progress_.Tell("match", 0, total_); // sorting may take long
        const std::vector<MatchRule> rules = plan_.isLarge ? LikelyRules(largestFirst) : RULES;
        ways_ = rules.size();
        Advance((mostWays - ways_) * newSize_);
        InParallel(
            largestFirst.size(),
            [&](size_t i) {
                largestFirst[i]->Match(rules, [this](size_t bytes) { Advance(bytes); });
                Advance(largestFirst[i]->OldSize());
                Rest(largestFirst[i] - contents_.data());
            },
            MatchersAtATime());
    }

    // What was matched is not needed until it is coded.
    void Rest(size_t content) const
    {
        if (content < plan_.groups.size()) {
            const Group& group = plan_.groups[content];
            plan_.oldPlain.Rest(group.oldStart, group.oldEnd);
            plan_.newPlain.Rest(group.newStart, group.newEnd);
        }
    }

    // All cores match as well where there is but one matcher: only sorting is left to one of them.
    [[nodiscard]] size_t MatchersAtATime() const
    {
        const bool isResting = plan_.oldPlain.IsMapped(); // what is not being matched
        size_t room = WORK_ROOM;
        if (!isResting) {
            room += old_.size + 2 * fresh_.size + plan_.oldPlain.size() + plan_.newPlain.size();
        }
        std::vector<size_t> needs;
        for (const MatchedContent& content : contents_) {
            needs.push_back(Matcher::RoomFor(content.OldSize()) +
                            (isResting ? content.OldSize() + content.NewSize() : 0));
        }
        std::sort(needs.rbegin(), needs.rend());
        size_t count = 0;
        while (count < needs.size() && room + needs[count] <= memory_) {
            room += needs[count++];
        }
        return std::max<size_t>(1, count);
    }

    // The raw bytes last.
    void MakeContents()
    {
        for (const Group& group : plan_.groups) {
            contents_.emplace_back(ByteView{plan_.oldPlain.data() + group.oldStart, group.oldEnd - group.oldStart},
                                   PartsOf(group), plan_.isLarge);
        }
        std::vector<MatchedPart> raw;
        std::vector<ByteView> views;
        for (const Region& region : plan_.regions) {
            raw.push_back({region.raw, 0, {}});
            views.push_back(region.raw);
        }
        if (plan_.isLarge && newSize_ - plan_.newPlain.size() < old_.size / LITTLE_RAW_SHARE) {
            excerpt_.emplace(old_, views);
        }
        contents_.emplace_back(excerpt_.has_value() ? excerpt_->View() : old_, std::move(raw), plan_.isLarge);
        request_.old.Rest();
        request_.fresh.Rest();
    }

    // The same ones on all machines.
    [[nodiscard]] std::vector<MatchRule> LikelyRules(const std::vector<MatchedContent*>& largestFirst) const
    {
        std::vector<std::vector<size_t>> sizes(std::min(SAMPLED_CONTENTS, largestFirst.size()));
        const size_t atATime = MatchersAtATime();
        InParallel(
            sizes.size(),
            [&](size_t job) {
                const size_t i = sizes.size() - 1 - job; // what stays sorted is the one that is matched first
                largestFirst[i]->Sort();
                sizes[i] = largestFirst[i]->TrySample(RULES);
                if (i >= atATime) {
                    largestFirst[i]->Forget();
                }
            },
            atATime);
        std::vector<std::pair<size_t, size_t>> ranks; // size and number
        for (size_t i = 0; i < RULES.size(); ++i) {
            ranks.emplace_back(0, i);
            for (const std::vector<size_t>& each : sizes) {
                ranks.back().first =
                    std::max(ranks.back().first, each[i] == SIZE_MAX ? SIZE_MAX : ranks.back().first + each[i]);
            }
        }
        std::sort(ranks.begin(), ranks.end());
        std::vector<MatchRule> rules;
        for (size_t i = 0; i < LIKELY_RULES; ++i) {
            rules.push_back(RULES[ranks[i].second]);
        }
        const size_t best = ranks[0].first;
        if (newSize_ >= ONE_RULE_FROM || ranks[1].first - best > best / UNLIKELY_SHARE_MIN) {
            rules.resize(1);
        }
        return rules;
    }

    void Advance(size_t bytes) { progress_.Advance("match", bytes, total_); }

    [[nodiscard]] Matches MatchesOf(size_t way) const
    {
        Matches matches;
        for (const MatchedPart& part : contents_.back().Parts()) {
            matches.raw.push_back(excerpt_.has_value() ? excerpt_->InOld(part.ways[way]) : part.ways[way]);
        }
        for (size_t i = 0; i < plan_.groups.size(); ++i) {
            matches.plain.emplace_back();
            for (const MatchedPart& part : contents_[i].Parts()) {
                for (Stretch stretch : part.ways[way]) {
                    stretch.oldPosition += plan_.groups[i].oldStart;
                    Append(matches.plain.back(), stretch);
                }
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

    const OwnRequest& request_;
    const ByteView old_;
    const ByteView fresh_;
    const uint8_t maxVersion_;
    const uint64_t memory_;
    StepProgress& progress_;
    DifferencePlan plan_;
    uint64_t total_ = 0; // bytes to match
    size_t newSize_ = 0; // all new content
    size_t ways_ = 0;
    std::optional<OldExcerpt> excerpt_;    // of the old file, where there are few raw bytes to match with it
    std::vector<MatchedContent> contents_; // one for each group, and one for the raw bytes
};
} // namespace

std::optional<OwnDifference> MakeOwnDifference(const OwnRequest& request, StepProgress& progress)
{
    bool isFilteringOpen = false;
    std::optional<OwnDifference> usual;
    {
        OwnMaker maker(request, request.version >= 2 ? CodeUse::SAMPLED : CodeUse::PLAIN, progress);
        isFilteringOpen = request.version >= 2 && maker.IsFilteringOpen();
        usual = maker.Make();
    }
    if (!isFilteringOpen || !usual.has_value()) {
        return usual;
    }
    std::optional<OwnDifference> filtered = OwnMaker(request, CodeUse::FILTERED, progress).Make();
    const bool isWorthIt = filtered.has_value() && IsWorthLaterVersion(filtered->bytes.size(), usual->bytes.size());
    return isWorthIt ? filtered : usual;
}
} // namespace ORVX::Difference
