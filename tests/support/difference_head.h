// The beginning of a difference of our own format, by hand: docs/difference-format.md has it byte by byte.
#ifndef TAVOMEND_TESTS_SUPPORT_DIFFERENCE_HEAD_H
#define TAVOMEND_TESTS_SUPPORT_DIFFERENCE_HEAD_H

#include <cstdint>
#include <string>

namespace ORVX::TavomendTest {
// Of a base of so many MiB, with a window of 8 MiB and 3 MiB of its own.
[[nodiscard]] inline std::string DifferenceHead(char version, unsigned base = 4)
{
    const auto mib = [](unsigned count) {
        return std::string("\0\0", 2) + static_cast<char>(count << 4U & 0xFFU) + static_cast<char>(count >> 4U);
    };
    const std::string hash(32, 'h');
    return std::string("TVDF\x1a\r\n") + version + "\xd0\x12" + mib(base) + hash + mib(1) + hash + mib(8) + mib(1) +
           mib(2) + std::string("\x5d\0\0\x40\0", 5);
}
} // namespace ORVX::TavomendTest

#endif
