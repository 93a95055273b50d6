#include "diff/own_difference.h"

#include <algorithm>

#include "diff/difference_encoder.h"
#include "diff/difference_header.h"
#include "diff/extra_writer.h"
#include "diff/matched_content.h"
#include "diff/old_excerpt.h"
#include "diff/parallel.h"
#include "diff/priming_choice.h"
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
// Not every device reads version 2: it must make a difference smaller by such a part.
constexpr size_t GAIN_SHARE_MIN = 256;
constexpr size_t PRIMED_EXTRA_MAX = size_t{8} << 20;

// One plan carried out.
class OwnMaker {
public:
    OwnMaker(const OwnRequest& request, CodeUse code, StepProgress& progress)
        : old_(request.old), fresh_(request.fresh), maxVersion_(request.version), memory_(request.memory),
          progress_(progress)
    {
        const size_t window = std::min<size_t>(request.window, DifferenceWindowMax(request.version));
        plan_ =
            MakeDifferencePlan(old_, fresh_, {window, code, request.sampledFrom, request.proof},
                               [&progress](size_t bytes, size_t total) { progress.Advance("inflate", bytes, total); });
    }

    // What was not filtered may have to be tried so as well.
    [[nodiscard]] bool IsFilteringOpen() const { return plan_.hasCode && !plan_.isLarge; }

    std::optional<OwnDifference> Make()
    {
        MatchAll();
        progress_.Tell("encode", 0, fresh_.size);
        std::optional<std::string> bytes = EncodeBest();
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
            },
            MatchersAtATime());
    }

    // All cores match as well where there is but one matcher: only sorting is left to one of them.
    [[nodiscard]] size_t MatchersAtATime() const
    {
        size_t room = WORK_ROOM + old_.size + 2 * fresh_.size + plan_.oldPlain.size() + plan_.newPlain.size();
        std::vector<size_t> needs;
        for (const MatchedContent& content : contents_) {
            needs.push_back(Matcher::RoomFor(content.OldSize()));
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

    struct Attempt {
        CodedParts parts;
        size_t size = SIZE_MAX; // about
    };

    [[nodiscard]] Attempt Try(const Matches& matches) const
    {
        Attempt attempt{EncodeDifference(old_, plan_, matches, {NeededVersion()})};
        if (ways_ == 1) {
            return attempt;
        }
        const size_t extra = EstimateExtra(attempt.parts.extra, BytesOf(PrimingFor(attempt.parts.extra, matches)));
        attempt.size = extra == SIZE_MAX ? SIZE_MAX : attempt.parts.model.size() + extra;
        return attempt;
    }

    // Before much extra data the dictionary is soon full of that.
    [[nodiscard]] Priming PrimingFor(const std::string& extra, const Matches& matches) const
    {
        const bool isPrimed = maxVersion_ >= 3 && !extra.empty() && extra.size() <= PRIMED_EXTRA_MAX;
        return isPrimed ? ChoosePriming(old_, plan_, matches) : Priming{};
    }

    [[nodiscard]] ByteView BytesOf(const Priming& priming) const { return PrimingBytes(old_, plan_, priming); }

    [[nodiscard]] std::optional<std::string> EncodeBest() const
    {
        Matches matches;
        CodedParts parts;
        std::optional<CompressedExtra> extra;
        if (ways_ == 1) {
            matches = MatchesOf(0);
            InParallel(2, [&](size_t i) {
                if (i == 0) {
                    extra = Compress(EncodeOnlyExtra(old_, plan_, matches, {NeededVersion()}));
                } else {
                    parts = EncodeDifference(old_, plan_, matches, {NeededVersion()});
                }
            });
        } else {
            std::vector<Attempt> attempts(ways_);
            InParallel(attempts.size(), [&](size_t i) { attempts[i] = Try(MatchesOf(i)); });
            const auto best = std::min_element(attempts.begin(), attempts.end(),
                                               [](const Attempt& a, const Attempt& b) { return a.size < b.size; });
            matches = MatchesOf(static_cast<size_t>(best - attempts.begin()));
            parts = std::move(best->parts);
            extra = Compress(parts.extra);
        }
        if (!extra.has_value()) {
            return std::nullopt;
        }
        std::optional<std::string> usual = WriteDown(parts, *extra, matches);
        if (maxVersion_ < 3 || !usual.has_value()) {
            return usual;
        }
        std::optional<std::string> foretold = Foretell(parts, *extra, matches);
        const bool isWorthIt =
            foretold.has_value() && foretold->size() < usual->size() - usual->size() / GAIN_SHARE_MIN;
        return isWorthIt ? foretold : usual;
    }

    [[nodiscard]] std::optional<CompressedExtra> Compress(const std::string& extra) const
    {
        const ExtraChunks chunks = NeededVersion() >= 2 ? ExtraChunks::FREE
                                   : maxVersion_ >= 2   ? ExtraChunks::DEAR
                                                        : ExtraChunks::NONE;
        return plan_.isLarge ? CompressMuchExtra(extra, chunks) : CompressExtra(extra, maxVersion_ >= 2);
    }

    // In version 1 or 2.
    [[nodiscard]] std::optional<std::string> WriteDown(const CodedParts& parts, const CompressedExtra& extra,
                                                       const Matches& matches) const
    {
        if (extra.isChunked && NeededVersion() < 2) {
            return Assemble(2, parts.windowSize, EncodeDifference(old_, plan_, matches, {2}).model, extra);
        }
        return Assemble(NeededVersion(), parts.windowSize, parts.model, extra);
    }

    // In version 3, with all that it has.
    [[nodiscard]] std::optional<std::string> Foretell(const CodedParts& usual, const CompressedExtra& usualExtra,
                                                      const Matches& matches) const
    {
        const Priming priming = PrimingFor(usual.extra, matches);
        const size_t gainMin = (usual.model.size() + usualExtra.bytes.size()) / GAIN_SHARE_MIN;
        if (priming.source == Priming::NONE && newSize_ - plan_.newPlain.size() <= gainMin) {
            return std::nullopt; // no more raw bytes than that
        }
        const CodedParts parts = EncodeDifference(old_, plan_, matches, {3, priming, true});
        if (priming.source == Priming::NONE && parts.model.size() + gainMin >= usual.model.size()) {
            return std::nullopt; // nothing that would be worth compressing the extra bytes once more
        }
        const std::optional<CompressedExtra> extra =
            parts.extra.empty() ? CompressedExtra{} : CompressPrimedExtra(parts.extra, usualExtra, BytesOf(priming));
        return extra.has_value() ? Assemble(3, parts.windowSize, parts.model, *extra) : std::nullopt;
    }

    [[nodiscard]] uint8_t NeededVersion() const
    {
        const bool isWide = std::any_of(plan_.groups.begin(), plan_.groups.end(), [](const Group& group) {
            return group.oldEnd - group.oldStart > DifferenceWindowMax(DIFFERENCE_VERSION_MIN);
        });
        return plan_.isFiltered || isWide ? 2 : 1;
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
    const bool isWorthIt =
        filtered.has_value() && filtered->bytes.size() < usual->bytes.size() - usual->bytes.size() / GAIN_SHARE_MIN;
    return isWorthIt ? filtered : usual;
}
} // namespace ORVX::Difference
