// Probabilities that learn: the parts of which the model of a difference is made. Whole numbers only, so that maker and
// device compute the same on every machine; shifting a negative number to the right keeps its sign on all of them.
#ifndef TAVOMEND_DIFF_ADAPTIVE_BIT_H
#define TAVOMEND_DIFF_ADAPTIVE_BIT_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace ORVX::Difference {
constexpr int ADAPTIVE_MEMORY_MAX = 255;

// 32768 / (seen + 1.6): the first bit moves the mean far, but not all the way.
constexpr std::array<uint16_t, ADAPTIVE_MEMORY_MAX + 1> MakeAdaptiveSteps()
{
    std::array<uint16_t, ADAPTIVE_MEMORY_MAX + 1> steps{};
    for (size_t i = 0; i < steps.size(); ++i) {
        steps[i] = static_cast<uint16_t>(327680 / (10 * i + 16));
    }
    return steps;
}
constexpr auto ADAPTIVE_STEPS = MakeAdaptiveSteps();

// The logistic curve 4096 / (1 + e^(-x / 256)), between 1 and 4095, and its inverse.
class Logistic {
public:
    static constexpr int32_t STRETCH_MAX = 2047;

    // 33 points of the curve and straight lines between them.
    static constexpr int32_t Squash(int32_t x)
    {
        constexpr int16_t CURVE[] = {1,    2,    4,    6,    10,   17,   27,   45,   74,   120,  194,
                                     311,  488,  747,  1102, 1546, 2048, 2550, 2994, 3349, 3608, 3785,
                                     3902, 3976, 4022, 4051, 4069, 4079, 4086, 4090, 4092, 4094, 4095};
        if (x > STRETCH_MAX) {
            return 4095;
        }
        if (x < -STRETCH_MAX) {
            return 1;
        }
        const int32_t rest = (x + 2048) % 128;
        const int32_t point = (x + 2048) / 128;
        return (CURVE[point] * (128 - rest) + CURVE[point + 1] * rest + 64) / 128;
    }

    static constexpr std::array<int16_t, 4096> MakeInverse()
    {
        std::array<int16_t, 4096> table{};
        size_t filled = 0;
        for (int32_t x = -STRETCH_MAX; x <= STRETCH_MAX; ++x) {
            for (; filled <= static_cast<size_t>(Squash(x)); ++filled) {
                table[filled] = static_cast<int16_t>(x);
            }
        }
        return table;
    }
};
constexpr auto LOGISTIC_INVERSE = Logistic::MakeInverse();

// The probability, in 65536ths, that the next bit in some context is 1: a mean of all bits at first, later one that
// forgets the oldest. Four bytes, for the model of a difference holds more than a million of them.
struct AdaptiveBit {
    uint16_t probability = 1 << 15;
    uint16_t seen = 0;

    // memory: how many bits it remembers, at most ADAPTIVE_MEMORY_MAX.
    void Learn(int bit, uint16_t memory)
    {
        const int32_t error = (bit == 1 ? 65535 : 0) - probability;
        probability = static_cast<uint16_t>(probability + (error * ADAPTIVE_STEPS[seen] >> 15));
        seen = static_cast<uint16_t>(seen + (seen < memory ? 1 : 0));
    }
};

// Codes one bit by the opinions of several contexts, weighed in the logistic domain by how well each did before. What
// was coded teaches them, so that maker and applier stay in step as long as they code the same bits in the same order.
template <size_t COUNT>
class BitMixer {
public:
    using Weights = std::array<int32_t, COUNT>; // 65536 is one
    using Opinions = std::array<AdaptiveBit*, COUNT>;

    static constexpr int32_t FIRST_WEIGHT = 20000;

    // Gives the bit, and teaches the opinions and their weights. memory: see AdaptiveBit.
    template <class Coder>
    static int Code(Coder& coder, int bit, const Opinions& opinions, Weights& weights, uint16_t memory)
    {
        std::array<int32_t, COUNT> stretched;
        int32_t sum = 0;
        for (size_t i = 0; i < COUNT; ++i) {
            stretched[i] = LOGISTIC_INVERSE[opinions[i]->probability >> 4];
            sum += stretched[i] * weights[i];
        }
        const int32_t mixed = Logistic::Squash(sum >> 16);
        const int coded = coder.Code(bit, static_cast<uint32_t>(mixed) << 4);
        const int32_t error = ((coded << 12) - mixed) * LEARNING_RATE;
        for (size_t i = 0; i < COUNT; ++i) {
            const int32_t learned = weights[i] + (stretched[i] * error >> 14);
            weights[i] = learned > WEIGHT_MAX ? WEIGHT_MAX : learned < -WEIGHT_MAX ? -WEIGHT_MAX : learned;
        }
        for (AdaptiveBit* const opinion : opinions) {
            opinion->Learn(coded, memory);
        }
        return coded;
    }

private:
    static constexpr int32_t LEARNING_RATE = 6;
    static constexpr int32_t WEIGHT_MAX = 131071;
    static_assert(COUNT * WEIGHT_MAX * Logistic::STRETCH_MAX <= INT32_MAX, "a sum must not overflow");
};
} // namespace ORVX::Difference

#endif
