#include "diff/matcher.h"

#include <algorithm>
#include <cstring>
#include <divsufsort.h>
#include <numeric>

namespace ORVX::Difference {
namespace {
// Longer common beginnings are not told apart while searching: this bounds the time on repetitive content.
constexpr size_t COMPARED_MAX = 4096;
// From this size of the old content on, a table of three bytes' beginnings saves more than it costs to fill.
constexpr size_t THREE_BYTES_FROM = size_t{8} << 20;
// Places of the same length that are looked at on either side.
constexpr size_t NEIGHBOURS_MAX = 64;
// How far back a new alignment may take over from the one before. Where content repeats itself for megabytes, each
// could from the beginning on, and the time would grow with the square of their length.
constexpr size_t BACKWARD_MAX = size_t{256} << 10;
// Binary digits of a seek that each takes, and those that cost as much as an extra byte.
constexpr int NEAR_DIGITS = 8;
constexpr int DIGITS_OF_A_BYTE = 4;
// Bytes between two words about how far the search has come.
constexpr size_t TOLD_AFTER = size_t{1} << 20;

// What was found at a place, in 8 bytes: there is one for each byte of the new content.
struct Remembered {
    uint32_t rank;
    uint32_t length : 31;
    uint32_t isKnown : 1;
};

size_t PrefixSize(size_t oldSize)
{
    return oldSize < THREE_BYTES_FROM ? 2 : 3;
}

// In large steps for as long as all is the same, then eight bytes at a time.
size_t CommonLength(const uint8_t* a, size_t aSize, const uint8_t* b, size_t bSize)
{
    constexpr size_t BLOCK = 256;
    const size_t size = std::min(aSize, bSize);
    size_t length = 0;
    const auto isWordEqual = [&] {
        uint64_t x = 0;
        uint64_t y = 0;
        std::memcpy(&x, a + length, sizeof(x));
        std::memcpy(&y, b + length, sizeof(y));
        return x == y;
    };
    while (length + sizeof(uint64_t) <= size && isWordEqual()) {
        length += sizeof(uint64_t);
        while (length + BLOCK <= size && std::memcmp(a + length, b + length, BLOCK) == 0) {
            length += BLOCK;
        }
    }
    return static_cast<size_t>(std::mismatch(a + length, a + size, b + length).first - a);
}

// The length at which twice the number of equal bytes exceeds the length by most: how far an alignment reaches.
template <class IsEqual>
size_t Reach(size_t limit, IsEqual isEqual)
{
    int64_t equal = 0;
    int64_t best = 0;
    size_t reach = 0;
    for (size_t i = 0; i < limit; ++i) {
        equal += isEqual(i) ? 1 : 0;
        const int64_t score = 2 * equal - static_cast<int64_t>(i + 1);
        if (score > best) {
            best = score;
            reach = i + 1;
        }
    }
    return reach;
}

// Goes through the new content and cuts it where another alignment becomes better than the current one.
class Scan {
public:
    // ends: where what is found at each position of the new content ends at the latest; empty: not known.
    Scan(ByteView old, ByteView fresh, size_t start, const std::vector<uint32_t>& ends,
         const Matcher::Progress& progress)
        : old_(old), fresh_(fresh), start_(std::min(start, old.size)), ends_(ends), progress_(progress)
    {
    }

    // longest: what is found at a position of the new content; nearest: the best of the places where that is the same.
    template <class Search, class Choice>
    std::vector<Stretch> Run(const MatchRule& rule, Search longest, Choice nearest)
    {
        told_ = 0;
        lastNew_ = 0;
        lastOld_ = start_;
        size_t position = 0;
        size_t length = 0;
        decltype(longest(0)) found;
        while (position < fresh_.size) {
            size_t score = 0;
            size_t scored = position += length;
            length = 0;
            missed_ = 0;
            missedEnd_ = position;
            for (; position < fresh_.size; ++position) {
                if (IsHopeless(position, rule.gain)) {
                    score -= scored > position && FollowsCurrent(position) ? 1 : 0;
                    scored = std::max(scored, position + 1);
                    continue;
                }
                found = longest(position);
                length = found.length;
                for (; scored < position + length; ++scored) {
                    score += FollowsCurrent(scored) ? 1 : 0;
                }
                if (length == score && length != 0) {
                    break;
                }
                if (length > score + rule.gain) {
                    const size_t expected = lastOld_ + position - lastNew_;
                    const size_t at = nearest(found, position, expected);
                    if (!rule.isFarDearer || length > score + rule.gain + FarGain(at, expected)) {
                        break;
                    }
                }
                score -= FollowsCurrent(position) ? 1 : 0;
            }
            if (length != score || position == fresh_.size) {
                Cut(position, position < fresh_.size ? nearest(found, position, lastOld_ + position - lastNew_) : 0);
            }
            Tell(std::min(position, fresh_.size));
        }
        Tell(fresh_.size);
        return std::move(stretches_);
    }

private:
    // What leads far away takes more digits: a byte of gain for four of them, but for the eight that any has.
    static size_t FarGain(size_t position, size_t expected)
    {
        size_t gain = 0;
        const size_t distance = position < expected ? expected - position : position - expected;
        for (size_t rest = distance >> NEAR_DIGITS; rest != 0; rest >>= DIGITS_OF_A_BYTE) {
            ++gain;
        }
        return gain;
    }

    void Tell(size_t position)
    {
        if (position - told_ >= TOLD_AFTER || position == fresh_.size) {
            progress_(position - told_);
            told_ = position;
        }
    }

    // Whether the current alignment misses so little of what may be found at the position that no other is better by
    // the gain. Asked with rising positions.
    bool IsHopeless(size_t position, size_t gain)
    {
        if (ends_.empty()) {
            return false;
        }
        if (missedEnd_ <= position) {
            missed_ = 0;
            missedEnd_ = position;
        } else if (position != missedStart_) {
            missed_ -= FollowsCurrent(missedStart_) ? 0 : 1;
        }
        missedStart_ = position;
        for (; missed_ <= gain && missedEnd_ < ends_[position]; ++missedEnd_) {
            missed_ += FollowsCurrent(missedEnd_) ? 0 : 1;
        }
        return missed_ <= gain;
    }

    bool FollowsCurrent(size_t position) const
    {
        const size_t old = position + lastOld_ - lastNew_;
        return old < old_.size && old_.data[old] == fresh_.data[position];
    }

    // The current alignment reaches forwards, the next one backwards; where they overlap, the border goes where most
    // bytes are equal.
    void Cut(size_t position, size_t oldPosition)
    {
        const size_t between = position - lastNew_;
        size_t forward = Reach(std::min(between, old_.size - lastOld_),
                               [this](size_t i) { return old_.data[lastOld_ + i] == fresh_.data[lastNew_ + i]; });
        size_t backward = 0;
        if (position < fresh_.size) {
            backward = Reach(std::min({between, oldPosition, BACKWARD_MAX}), [this, position, oldPosition](size_t i) {
                return old_.data[oldPosition - 1 - i] == fresh_.data[position - 1 - i];
            });
        }
        if (forward + backward > between) {
            const size_t overlap = forward + backward - between;
            const size_t kept = Border(position, oldPosition, forward, backward, overlap);
            forward += kept;
            forward -= overlap;
            backward -= kept;
        }
        if (between != 0) {
            stretches_.push_back({lastOld_, forward, between - backward - forward});
            if (stretches_.back().delta + stretches_.back().extra == 0) {
                stretches_.pop_back();
            }
        }
        lastNew_ = position - backward;
        lastOld_ = oldPosition - backward;
    }

    // How many bytes of the overlap stay with the current alignment.
    size_t Border(size_t position, size_t oldPosition, size_t forward, size_t backward, size_t overlap) const
    {
        int64_t score = 0;
        int64_t best = 0;
        size_t border = 0;
        for (size_t i = 0; i < overlap; ++i) {
            const size_t fromCurrent = forward - overlap + i;
            score += old_.data[lastOld_ + fromCurrent] == fresh_.data[lastNew_ + fromCurrent] ? 1 : 0;
            score -= old_.data[oldPosition - backward + i] == fresh_.data[position - backward + i] ? 1 : 0;
            if (score > best) {
                best = score;
                border = i + 1;
            }
        }
        return border;
    }

    ByteView old_;
    ByteView fresh_;
    const size_t start_;
    const std::vector<uint32_t>& ends_;
    const Matcher::Progress& progress_;
    size_t told_ = 0; // bytes that progress has heard of
    size_t lastNew_ = 0;
    size_t lastOld_ = 0;
    // Bytes that the current alignment misses, and between where.
    size_t missed_ = 0;
    size_t missedStart_ = 0;
    size_t missedEnd_ = 0;
    std::vector<Stretch> stretches_;
};
} // namespace

Matcher::Matcher(ByteView old, bool isHasty) : old_(old), isHasty_(isHasty)
{
    if (old.size == 0 || old.size > INT32_MAX) {
        return;
    }
    suffixes_.resize(old.size);
    if (divsufsort(old.data, suffixes_.data(), static_cast<int32_t>(old.size)) != 0) {
        suffixes_.clear();
        return;
    }
    IndexPrefixes();
    if (isHasty) {
        blocks_ = KnownBlocks(old);
    }
}

size_t Matcher::RoomFor(size_t oldSize)
{
    return oldSize * sizeof(int32_t) + (size_t{1} << 8 * PrefixSize(oldSize)) * sizeof(uint32_t) +
           KnownBlocks::RoomFor(oldSize);
}

void Matcher::IndexPrefixes()
{
    prefixSize_ = PrefixSize(old_.size);
    prefixes_.resize((size_t{1} << 8 * prefixSize_) + 1);
    for (size_t i = 0; i < old_.size; ++i) {
        ++prefixes_[PrefixOf(old_.data + i, old_.size - i) + 1];
    }
    std::partial_sum(prefixes_.begin(), prefixes_.end(), prefixes_.begin());
}

// What is too short counts as if zeros followed: a suffix that ends there stands just before those that have them.
size_t Matcher::PrefixOf(const uint8_t* text, size_t size) const
{
    size_t prefix = 0;
    for (size_t i = 0; i < prefixSize_; ++i) {
        prefix = prefix << 8 | (i < size ? text[i] : 0U);
    }
    return prefix;
}

std::vector<std::vector<Stretch>> Matcher::Match(ByteView fresh, size_t start, const std::vector<MatchRule>& rules,
                                                 const Progress& progress) const
{
    std::vector<std::vector<Stretch>> ways(rules.size());
    if (suffixes_.empty()) {
        progress(fresh.size * rules.size());
        std::fill(ways.begin(), ways.end(), std::vector<Stretch>(fresh.size == 0 ? 0 : 1, Stretch{0, 0, fresh.size}));
        return ways;
    }
    std::vector<Remembered> found(fresh.size); // most places are asked for with each gain
    const std::vector<uint32_t> ends = isHasty_ ? blocks_.LastEnds(fresh) : std::vector<uint32_t>{};
    Scan scan(old_, fresh, start, ends, progress);
    for (size_t i = 0; i < rules.size(); ++i) {
        ways[i] = scan.Run(
            rules[i],
            [&](size_t position) {
                Remembered& at = found[position];
                if (!at.isKnown) {
                    const Found longest = Longest(fresh.data + position, fresh.size - position);
                    at = {static_cast<uint32_t>(longest.rank), static_cast<uint32_t>(longest.length), 1};
                }
                return Found{at.rank, at.length};
            },
            [&](const Found& longest, size_t position, size_t expected) {
                return Nearest(longest, {fresh.data + position, fresh.size - position}, expected);
            });
    }
    return ways;
}

size_t Matcher::Nearest(const Found& found, ByteView text, size_t expected) const
{
    size_t nearest = static_cast<size_t>(suffixes_[found.rank]);
    const auto distance = [expected](size_t position) {
        return position < expected ? expected - position : position - expected;
    };
    const auto isNearer = [&](size_t rank) {
        const auto position = static_cast<size_t>(suffixes_[rank]);
        const size_t length = std::min(found.length, old_.size - position);
        if (length != found.length || std::memcmp(old_.data + position, text.data, length) != 0) {
            return false; // nor is it any further on
        }
        nearest = distance(position) < distance(nearest) ? position : nearest;
        return true;
    };
    for (size_t i = 1; i <= NEIGHBOURS_MAX && i <= found.rank && isNearer(found.rank - i); ++i) {
    }
    for (size_t i = 1; i <= NEIGHBOURS_MAX && found.rank + i < suffixes_.size() && isNearer(found.rank + i); ++i) {
    }
    return nearest;
}

Matcher::Found Matcher::Longest(const uint8_t* text, size_t size) const
{
    size_t low = 0;
    size_t high = suffixes_.size() - 1;
    if (size >= prefixSize_) {
        const size_t prefix = PrefixOf(text, size);
        low = prefixes_[prefix] - std::min(prefixes_[prefix], 1U);
        high = std::min<size_t>(high, prefixes_[prefix + 1]);
    }
    // Both bounds, and so all between them, begin like the text for as long as the shorter of these.
    size_t lowLength = 0;
    size_t highLength = 0;
    while (high - low > 1) {
        const size_t middle = low + (high - low) / 2;
        const auto start = static_cast<size_t>(suffixes_[middle]);
        const size_t limit = std::min({size, old_.size - start, COMPARED_MAX});
        size_t length = std::min({lowLength, highLength, limit});
        length += CommonLength(old_.data + start + length, limit - length, text + length, limit - length);
        const bool isOver = start + length == old_.size && length < size; // one that ends is below what goes on
        const bool isBelow = isOver || (length < limit && old_.data[start + length] < text[length]);
        (isBelow ? low : high) = middle;
        (isBelow ? lowLength : highLength) = length;
    }
    Found best;
    for (const size_t i : {low, high}) {
        const auto start = static_cast<size_t>(suffixes_[i]);
        const size_t length = CommonLength(old_.data + start, old_.size - start, text, size);
        if (length > best.length) {
            best = {i, length};
        }
    }
    return best;
}
} // namespace ORVX::Difference
