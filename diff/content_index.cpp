#include "diff/content_index.h"

#include <algorithm>
#include <map>

namespace ORVX::Difference {
namespace {
constexpr size_t STRING_SIZE = 24;
constexpr uint32_t FACTOR = 0x2C1B3C6D;
constexpr uint32_t KEPT_BELOW = UINT32_MAX / 256;
// What so many contents have in common, a licence for one, tells none of them from the others.
constexpr size_t HOLDERS_MAX = 16;

constexpr uint32_t LeavingFactor()
{
    uint32_t factor = 1;
    for (size_t i = 0; i < STRING_SIZE; ++i) {
        factor *= FACTOR;
    }
    return factor;
}

// The low bits of a sum of products know little of the string.
uint32_t Spread(uint32_t sum)
{
    sum = (sum ^ sum >> 16) * 0x85EBCA6BU;
    sum = (sum ^ sum >> 13) * 0xC2B2AE35U;
    return sum ^ sum >> 16;
}
} // namespace

ContentSample SampleContent(ByteView content)
{
    ContentSample sample;
    uint32_t least = UINT32_MAX; // for content that is too short for a sample
    uint32_t sum = 0;
    for (size_t i = 0; i < content.size; ++i) {
        sum = sum * FACTOR + content.data[i] + 1;
        if (i >= STRING_SIZE) {
            sum -= LeavingFactor() * (content.data[i - STRING_SIZE] + 1U);
        }
        if (i + 1 < STRING_SIZE) {
            continue;
        }
        const uint32_t hash = Spread(sum);
        least = std::min(least, hash);
        if (hash < KEPT_BELOW) {
            sample.push_back(hash);
        }
    }
    if (sample.empty() && content.size >= STRING_SIZE) {
        sample.push_back(least);
    }
    std::sort(sample.begin(), sample.end());
    sample.erase(std::unique(sample.begin(), sample.end()), sample.end());
    return sample;
}

void ContentIndex::Add(size_t number, const ContentSample& sample)
{
    for (const uint32_t hash : sample) {
        numbers_[hash].push_back(number);
    }
}

std::vector<ContentIndex::Likeness> ContentIndex::Find(const ContentSample& sample) const
{
    std::map<size_t, size_t> shared;
    for (const uint32_t hash : sample) {
        const auto found = numbers_.find(hash);
        if (found == numbers_.end() || found->second.size() > HOLDERS_MAX) {
            continue;
        }
        for (const size_t number : found->second) {
            ++shared[number];
        }
    }
    std::vector<Likeness> likenesses;
    for (const auto& [number, count] : shared) {
        likenesses.push_back({number, count});
    }
    return likenesses;
}
} // namespace ORVX::Difference
