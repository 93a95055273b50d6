#include "diff/filter_choice.h"

#include <algorithm>

#include "diff/difference_encoder.h"
#include "diff/difference_limits.h"
#include "diff/extra_writer.h"
#include "diff/parallel.h"

namespace ORVX::Difference {
namespace {
constexpr size_t PAIRS_OF_A_FILTER = 2;
constexpr size_t PIECES_OF_A_PAIR = 4;
constexpr size_t PIECE = size_t{256} << 10;
// What was before or behind a piece has grown or shrunk by less, mostly.
constexpr size_t AROUND = size_t{1} << 20;
constexpr MatchRule RULE = {16, true};

// Part of some code, and where it begins in it.
struct Excerpt {
    Excerpt(ByteView code, size_t from, size_t end) : bytes(code.data + from, code.data + end), start(from) {}

    void Filter(CodeFilter filter) { MakeAbsolute(filter, bytes.data(), bytes.size(), start); }
    [[nodiscard]] ByteView View() const { return {bytes.data(), bytes.size()}; }

    std::vector<uint8_t> bytes;
    size_t start;
};

size_t SizeOf(const Excerpt& old, const Excerpt& fresh, size_t likelyStart)
{
    const auto ways = Matcher(old.View(), false).Match(fresh.View(), likelyStart, {RULE}, [](size_t) {});
    const CodedParts coded = EncodeStretches(old.View(), {{fresh.View(), ways[0]}});
    const size_t extra = EstimateExtra(coded.extra);
    return coded.model.size() + (extra == SIZE_MAX ? coded.extra.size() : extra);
}

// One piece of a pair, as it is and filtered.
struct Trial {
    const CodePair* pair;
    size_t number; // of the piece
    size_t plain = 0;
    size_t filtered = 0;

    void Run()
    {
        const size_t room = pair->fresh.size - std::min(pair->fresh.size, PIECE);
        const size_t from = room * (2 * number + 1) / (2 * PIECES_OF_A_PAIR);
        const auto before = static_cast<size_t>(uint64_t{from} * pair->old.size / pair->fresh.size);
        Excerpt fresh(pair->fresh, from, std::min(pair->fresh.size, from + PIECE));
        Excerpt old(pair->old, before - std::min(before, AROUND), std::min(pair->old.size, before + PIECE + AROUND));
        plain = SizeOf(old, fresh, before - old.start);
        fresh.Filter(pair->filter);
        old.Filter(pair->filter);
        filtered = SizeOf(old, fresh, before - old.start);
    }
};
} // namespace

std::vector<CodeFilter> FiltersThatPay(std::vector<CodePair> pairs)
{
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const CodePair& a, const CodePair& b) { return a.fresh.size > b.fresh.size; });
    std::vector<Trial> trials;
    size_t counts[static_cast<size_t>(CodeFilter::COUNT)] = {};
    for (const CodePair& pair : pairs) {
        size_t& count = counts[static_cast<size_t>(pair.filter)];
        for (size_t i = 0; count < PAIRS_OF_A_FILTER && i < PIECES_OF_A_PAIR; ++i) {
            trials.push_back({&pair, i});
        }
        ++count;
    }
    InParallel(trials.size(), [&](size_t i) { trials[i].Run(); });
    std::vector<CodeFilter> filters;
    for (const CodeFilter filter : {CodeFilter::ARM64, CodeFilter::X86}) {
        size_t plain = 0;
        size_t filtered = 0;
        for (const Trial& trial : trials) {
            plain += trial.pair->filter == filter ? trial.plain : 0;
            filtered += trial.pair->filter == filter ? trial.filtered : 0;
        }
        if (IsWorthLaterVersion(filtered, plain)) {
            filters.push_back(filter);
        }
    }
    return filters;
}
} // namespace ORVX::Difference
