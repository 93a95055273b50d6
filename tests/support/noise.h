// Bytes that do not compress.
#ifndef TAVOMEND_TESTS_SUPPORT_NOISE_H
#define TAVOMEND_TESTS_SUPPORT_NOISE_H

#include <algorithm>
#include <random>
#include <string>

namespace ORVX::TavomendTest {
// The same for the same seed, on every machine.
inline std::string Noise(size_t size, uint32_t seed)
{
    std::mt19937 source(seed);
    std::string bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&source] { return static_cast<char>(source()); });
    return bytes;
}
} // namespace ORVX::TavomendTest

#endif
