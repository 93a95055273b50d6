// Zip archives whose members' checksums fit what the members hold, so that a mutated input is not refused for them.
#ifndef TAVOMEND_FUZZ_ZIP_CHECKSUMS_H
#define TAVOMEND_FUZZ_ZIP_CHECKSUMS_H

#include <string>
#include <zlib.h>

namespace ORVX::TavomendTest {
constexpr size_t INFLATED_MAX = size_t{1} << 16;

// Little-endian; 0 behind the end.
inline size_t NumberAt(const std::string& bytes, size_t at, size_t count)
{
    size_t value = 0;
    for (size_t i = count; i > 0; --i) {
        value = value << 8U | (at + i <= bytes.size() ? static_cast<unsigned char>(bytes[at + i - 1]) : 0U);
    }
    return value;
}

inline void PutChecksum(std::string& bytes, size_t at, uLong checksum)
{
    for (size_t i = 0; i < 4 && at + i < bytes.size(); ++i) {
        bytes[at + i] = static_cast<char>(checksum >> 8 * i);
    }
}

// As much as comes out of a raw deflate stream.
inline std::string Inflated(std::string packed)
{
    std::string plain(INFLATED_MAX, '\0');
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(plain.data());
    stream.avail_out = static_cast<uInt>(plain.size());
    inflateInit2(&stream, -MAX_WBITS);
    inflate(&stream, Z_FINISH);
    plain.resize(stream.total_out);
    inflateEnd(&stream);
    return plain;
}

// Goes through the directory's entries (APPNOTE 4.3.12) and the members that they point at.
inline std::string WithFittingChecksums(std::string zip)
{
    for (size_t at = zip.find("PK\1\2"); at != std::string::npos; at = zip.find("PK\1\2", at + 4)) {
        const size_t local = NumberAt(zip, at + 42, 4);
        const size_t start = local + 30 + NumberAt(zip, local + 26, 2) + NumberAt(zip, local + 28, 2);
        if (start > zip.size()) {
            continue;
        }
        const std::string held = zip.substr(start, NumberAt(zip, at + 20, 4));
        const std::string plain = NumberAt(zip, at + 10, 2) == 0 ? held : Inflated(held);
        const uLong checksum = crc32(0, reinterpret_cast<const Bytef*>(plain.data()), static_cast<uInt>(plain.size()));
        PutChecksum(zip, at + 16, checksum);
        PutChecksum(zip, local + 14, checksum);
    }
    return zip;
}
} // namespace ORVX::TavomendTest

#endif
