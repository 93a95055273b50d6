// The statistics by which the numbers and delta bytes of a difference are coded, written once for maker and applier:
// Coder is a RangeDecoder, which ignores the values handed in and gives those that it reads, or the maker's encoder,
// which gives back what it is handed.
#ifndef TAVOMEND_DIFF_DELTA_MODEL_H
#define TAVOMEND_DIFF_DELTA_MODEL_H

#include <algorithm>
#include <vector>

#include "diff/adaptive_bit.h"

namespace ORVX::Difference {
// What a number is; each kind has statistics of its own. The order is part of the format.
enum class NumberKind : uint8_t {
    REGION_COUNT,
    RAW_LENGTH,
    LEVEL,
    PLAIN_LENGTH,
    GROUP_LENGTH,
    GROUP_DROP,
    GROUP_LOAD,
    PIECE_METHOD,
    PIECE_GAP,
    PIECE_LENGTH,
    RAW_SEEK,
    RAW_DELTA,
    RAW_EXTRA,
    PLAIN_SEEK,
    PLAIN_DELTA,
    PLAIN_EXTRA,
    SAME_RUN,
    IS_FILTERED, // from version 2 on, as what follows
    CONTENT_FILTER,
    PIECE_FILTER,
    PRIMING_SOURCE, // from version 3 on, as what follows
    PRIMING_START,
    PRIMING_LENGTH,
    PREDICTS_HEADERS,
    HAS_OLD_ENTRY,
    OLD_ENTRY,
    PACKED_LENGTH,
    COUNT,
};

// Numbers: the count of binary digits in unary, then the digits, the highest ones with statistics. Every number below
// 2^40 - 1 can be coded; which of them make sense is for the caller to check, for damage can bring any.
class NumberModel {
public:
    // Digits behind the first that a number plus one may have, and one more.
    static constexpr int DIGITS_MAX = 40;

    NumberModel() : sizes_(KINDS * SIZE_CONTEXTS * DIGITS_MAX), digits_(KINDS * DIGITS_MAX * DIGIT_NODES) {}

    // Gives the number that was coded: the value, or what the decoder read.
    template <class Coder>
    uint64_t Code(Coder& coder, NumberKind kind, uint64_t value)
    {
        const auto row = static_cast<size_t>(kind);
        int digits = 0;
        for (uint64_t rest = value + 1; rest > 1; rest >>= 1) {
            ++digits;
        }
        AdaptiveBit* const sizes = &sizes_[(row * SIZE_CONTEXTS + lastSize_[row]) * DIGITS_MAX];
        int coded = 0;
        while (coded < DIGITS_MAX - 1 && CodeBit(coder, sizes[coded], coded < digits ? 1 : 0) == 1) {
            ++coded;
        }
        lastSize_[row] = static_cast<size_t>(coded) / SIZE_CONTEXT_WIDTH;
        uint64_t number = 1;
        AdaptiveBit* const nodes = &digits_[(row * DIGITS_MAX + static_cast<size_t>(coded)) * DIGIT_NODES];
        for (int i = coded - 1; i >= 0; --i) {
            const int bit = static_cast<int>((value + 1) >> i & 1);
            const bool isHigh = coded - i <= HIGH_DIGITS;
            AdaptiveBit& node = isHigh ? nodes[number] : nodes[HIGH_NODES + static_cast<size_t>(i)];
            number = number << 1 | static_cast<uint64_t>(CodeBit(coder, node, bit));
        }
        return number - 1;
    }

    // The same for numbers of either sign.
    template <class Coder>
    int64_t CodeSigned(Coder& coder, NumberKind kind, int64_t value)
    {
        const uint64_t folded = value < 0 ? ~static_cast<uint64_t>(value) << 1 | 1 : static_cast<uint64_t>(value) << 1;
        const uint64_t coded = Code(coder, kind, folded);
        return static_cast<int64_t>((coded & 1) != 0 ? ~(coded >> 1) : coded >> 1);
    }

private:
    static constexpr size_t KINDS = static_cast<size_t>(NumberKind::COUNT);
    static constexpr size_t SIZE_CONTEXT_WIDTH = 4;
    static constexpr size_t SIZE_CONTEXTS = DIGITS_MAX / SIZE_CONTEXT_WIDTH;
    static constexpr int HIGH_DIGITS = 3;
    static constexpr size_t HIGH_NODES = 8;
    static constexpr size_t DIGIT_NODES = HIGH_NODES + DIGITS_MAX;

    template <class Coder>
    static int CodeBit(Coder& coder, AdaptiveBit& model, int bit)
    {
        constexpr uint32_t MARGIN = 32;
        const uint32_t probability = model.probability < MARGIN           ? MARGIN
                                     : model.probability > 65536 - MARGIN ? 65536 - MARGIN
                                                                          : model.probability;
        const int coded = coder.Code(bit, probability);
        model.Learn(coded, ADAPTIVE_MEMORY_MAX);
        return coded;
    }

    std::vector<AdaptiveBit> sizes_;
    std::vector<AdaptiveBit> digits_;
    std::array<size_t, KINDS> lastSize_{};
};

// What came before the byte that is coded, in the stretch of old content that the new content follows.
struct DeltaHistory {
    uint32_t changed = 0; // one bit per byte, the last one lowest: set where new and old differed
    uint32_t same = 0;    // equal bytes since the last change, as far as they matter
    uint8_t delta1 = 0;   // new minus old of the last byte
    uint8_t delta2 = 0;   // and of the one before
    uint8_t old1 = 0;     // the last old byte
    uint8_t old2 = 0;
    uint8_t new1 = 0; // the last new byte
    uint8_t new2 = 0;
};

// Delta bytes: whether a byte differs from the old one, and by how much. About 5 MiB of statistics.
class ByteModel {
public:
    // After so many equal bytes a run's length is coded instead of one flag for each byte.
    static constexpr uint32_t RUN_AFTER = 32;

    ByteModel();

    // Whether a byte differs from the old one.
    template <class Coder>
    bool CodeChanged(Coder& coder, const DeltaHistory& history, uint8_t old, bool isChanged)
    {
        const uint32_t near = history.changed & 0xFF;
        const FlagMixer::Opinions opinions = {
            &At(FLAGS + 0, Slot(near)),
            &At(FLAGS + 1, Slot(old | (near & 15) << 8)),
            &At(FLAGS + 2, Slot(old | history.old1 << 8, near & 1)),
            &At(FLAGS + 3, Slot(history.delta1 | history.delta2 << 8, std::min(history.same, 8U))),
            &At(FLAGS + 4, Slot(old | history.old1 << 8, history.old2 + 1U)),
            &At(FLAGS + 5, Slot(old | lastDelta1_ << 8, std::min(history.same, 3U))),
        };
        FlagMixer::Weights& weights = flagWeights_[std::min(history.same, RUN_AFTER - 1)];
        return FlagMixer::Code(coder, isChanged ? 1 : 0, opinions, weights, FLAG_MEMORY) == 1;
    }

    // The difference, new minus old, of a byte that changed.
    template <class Coder>
    uint8_t CodeDelta(Coder& coder, const DeltaHistory& history, uint8_t old, uint8_t delta)
    {
        uint8_t& guess = guesses_[Slot(old | uint32_t{history.old1} << 8)];
        if (CodeGuessed(coder, history, old, guess, delta == guess)) {
            return Remember(guess, guess);
        }
        const std::array<uint32_t, DELTA_CONTEXTS> contexts = {
            0U,
            lastDelta1_,
            lastDelta1_ | lastDelta2_ << 8,
            old,
            old | uint32_t{history.delta1} << 8,
            old | uint32_t{history.old1} << 8,
            old | uint32_t{history.new1} << 8 | uint32_t{history.new2} << 16,
        };
        // The slots of half a byte lie in one cache line for each context.
        DeltaMixer::Opinions lines{};
        uint32_t node = 1;
        for (int i = 7; i >= 0; --i) {
            if (i % 4 == 3) {
                for (size_t j = 0; j < DELTA_CONTEXTS; ++j) {
                    lines[j] = &At(DELTAS + j, Slot(contexts[j], node) & ~(LINE_SIZE - 1));
                }
            }
            const uint32_t inLine = i >= 4 ? node : (node & ((8U >> i) - 1)) | 8U >> i;
            DeltaMixer::Opinions opinions{};
            for (size_t j = 0; j < DELTA_CONTEXTS; ++j) {
                opinions[j] = lines[j] + inLine;
            }
            const int bit = DeltaMixer::Code(coder, delta >> i & 1, opinions, deltaWeights_[node], DELTA_MEMORY);
            node = node << 1 | static_cast<uint32_t>(bit);
        }
        return Remember(guess, static_cast<uint8_t>(node));
    }

private:
    static constexpr size_t FLAG_CONTEXTS = 6;
    static constexpr size_t DELTA_CONTEXTS = 7;
    static constexpr size_t GUESS_CONTEXTS = 4;
    static constexpr int SLOT_BITS = 16;
    static constexpr uint16_t FLAG_MEMORY = 250;
    static constexpr uint16_t DELTA_MEMORY = 120;

    using FlagMixer = BitMixer<FLAG_CONTEXTS>;
    using GuessMixer = BitMixer<GUESS_CONTEXTS>;
    using DeltaMixer = BitMixer<DELTA_CONTEXTS>;

    // The tables lie one behind another in one allocation: the C library keeps one of that size for the next
    // difference, but gives many smaller ones back, and pages that have to be cleared again cost more than the filling.
    static constexpr size_t FLAGS = 0;
    static constexpr size_t DELTAS = FLAGS + FLAG_CONTEXTS;
    static constexpr size_t GUESSES = DELTAS + DELTA_CONTEXTS;
    static constexpr size_t TABLES = GUESSES + GUESS_CONTEXTS;
    static constexpr size_t LINE_SIZE = 16;
    struct alignas(64) Line {
        std::array<AdaptiveBit, LINE_SIZE> slots;
    };

    AdaptiveBit& At(size_t table, size_t slot)
    {
        return lines_[(table << SLOT_BITS | slot) / LINE_SIZE].slots[slot % LINE_SIZE];
    }

    // Whether the difference is the one that came last in the same place: most are, and this saves coding eight bits.
    template <class Coder>
    bool CodeGuessed(Coder& coder, const DeltaHistory& history, uint8_t old, uint8_t guess, bool isGuessed)
    {
        const uint32_t agrees = guess == lastDelta1_ ? 1 : 0;
        const GuessMixer::Opinions opinions = {
            &At(GUESSES + 0, Slot(guess | lastDelta1_ << 8, lastDelta2_)),
            &At(GUESSES + 1, Slot(old | uint32_t{guess} << 8, agrees)),
            &At(GUESSES + 2, Slot(old | uint32_t{history.old1} << 8, guess)),
            &At(GUESSES + 3, Slot(history.delta1 | uint32_t{guess} << 8, std::min(history.same, 3U))),
        };
        return GuessMixer::Code(coder, isGuessed ? 1 : 0, opinions, guessWeights_[agrees], FLAG_MEMORY) == 1;
    }

    uint8_t Remember(uint8_t& guess, uint8_t delta)
    {
        guess = delta;
        lastDelta2_ = lastDelta1_;
        lastDelta1_ = delta;
        return delta;
    }

    static uint32_t Hash(uint32_t a, uint32_t b)
    {
        uint32_t hash = a * 0x9E3779B1U + b * 0x85EBCA6BU;
        hash = (hash ^ hash >> 15) * 0x2C1B3C6DU;
        return hash ^ hash >> 13;
    }
    static size_t Slot(uint32_t a, uint32_t b = 0) { return Hash(a, b) >> (32 - SLOT_BITS); }

    std::vector<Line> lines_;
    std::vector<uint8_t> guesses_; // the last difference for each two old bytes
    std::vector<FlagMixer::Weights> flagWeights_;
    std::array<GuessMixer::Weights, 2> guessWeights_;
    std::vector<DeltaMixer::Weights> deltaWeights_;
    uint32_t lastDelta1_ = 0;
    uint32_t lastDelta2_ = 0;
};

// All statistics of one difference.
struct DeltaModel {
    NumberModel numbers;
    ByteModel bytes;
};
} // namespace ORVX::Difference

#endif
