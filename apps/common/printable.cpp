#include "apps/common/printable.h"

#include <cstdint>

namespace ORVX::Cli {
namespace {
constexpr uint32_t C1_FIRST = 0x80;
constexpr uint32_t C1_LAST = 0x9F;

std::string Escaped(unsigned char byte)
{
    constexpr const char* DIGITS = "0123456789abcdef";
    switch (byte) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return {'\\', 'x', DIGITS[byte >> 4U], DIGITS[byte & 15U]};
    }
}

// How many bytes the UTF-8 character at a place takes; 0 where there is none.
size_t CharacterSize(const std::string& text, size_t at)
{
    const auto byte = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(at);
    const size_t size = first < 0x80   ? 1
                        : first < 0xC2 ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
    if (size == 0 || size > text.size() - at) {
        return 0;
    }
    uint32_t character = size == 1 ? first : first & (0xFFU >> (size + 1));
    for (size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80) {
            return 0;
        }
        character = character << 6U | (byte(at + i) & 0x3FU);
    }
    const bool isTooLong = (size == 3 && character < 0x800) || (size == 4 && character < 0x10000);
    const bool isNone = (character >= 0xD800 && character <= 0xDFFF) || character > 0x10FFFF;
    const bool isControl = character < ' ' || character == 0x7F || (character >= C1_FIRST && character <= C1_LAST);
    return isTooLong || isNone || isControl ? 0 : size;
}

std::string Escape(const std::string& text, bool hasLines)
{
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        const size_t size = text[at] == '\n' && hasLines ? 1 : CharacterSize(text, at);
        shown += size == 0 ? Escaped(static_cast<unsigned char>(text[at])) : text.substr(at, size);
        at += size == 0 ? 1 : size;
    }
    return shown;
}
} // namespace

std::string Printable(const std::string& text)
{
    return Escape(text, false);
}

std::string PrintableLines(const std::string& text)
{
    return Escape(text, true);
}
} // namespace ORVX::Cli
