#include "diff/zip_entries.h"

#include <algorithm>
#include <optional>

namespace ORVX::Difference {
namespace {
constexpr uint32_t END_MAGIC = 0x06054B50;
constexpr size_t END_SIZE = 22;
constexpr size_t COMMENT_MAX = 65535;
constexpr uint32_t CENTRAL_MAGIC = 0x02014B50;
constexpr size_t CENTRAL_SIZE = 46;
constexpr uint32_t LOCAL_MAGIC = 0x04034B50;
constexpr size_t LOCAL_SIZE = 30;
constexpr uint16_t FLAG_ENCRYPTED = 1;

uint16_t Read16(ByteView file, size_t offset)
{
    return static_cast<uint16_t>(file.data[offset] | file.data[offset + 1] << 8);
}

uint32_t Read32(ByteView file, size_t offset)
{
    return Read16(file, offset) | static_cast<uint32_t>(Read16(file, offset + 2)) << 16;
}

bool HasRoom(ByteView file, size_t offset, size_t size)
{
    return offset <= file.size && size <= file.size - offset;
}

std::optional<size_t> FindEnd(ByteView file)
{
    if (file.size < END_SIZE) {
        return std::nullopt;
    }
    const size_t last = file.size - END_SIZE;
    for (size_t comment = 0; comment <= std::min(last, COMMENT_MAX); ++comment) {
        if (Read32(file, last - comment) == END_MAGIC && Read16(file, last - comment + 20) == comment) {
            return last - comment;
        }
    }
    return std::nullopt;
}

bool ReadCentralRecord(ByteView file, size_t& offset, ZipEntry& entry)
{
    if (!HasRoom(file, offset, CENTRAL_SIZE) || Read32(file, offset) != CENTRAL_MAGIC) {
        return false;
    }
    const size_t nameSize = Read16(file, offset + 28);
    const size_t size = CENTRAL_SIZE + nameSize + Read16(file, offset + 30) + Read16(file, offset + 32);
    if (!HasRoom(file, offset, size) || (Read16(file, offset + 8) & FLAG_ENCRYPTED) != 0) {
        return false;
    }
    entry.centralOffset = offset;
    entry.method = Read16(file, offset + 10);
    entry.crc = Read32(file, offset + 16);
    entry.compressedSize = Read32(file, offset + 20);
    entry.size = Read32(file, offset + 24);
    entry.headerOffset = Read32(file, offset + 42);
    entry.name.assign(reinterpret_cast<const char*>(file.data + offset + CENTRAL_SIZE), nameSize);
    offset += size;
    return true;
}

bool ReadLocalHeader(ByteView file, ZipEntry& entry)
{
    if (!HasRoom(file, entry.headerOffset, LOCAL_SIZE) || Read32(file, entry.headerOffset) != LOCAL_MAGIC) {
        return false;
    }
    entry.dataOffset =
        entry.headerOffset + LOCAL_SIZE + Read16(file, entry.headerOffset + 26) + Read16(file, entry.headerOffset + 28);
    return HasRoom(file, entry.dataOffset, entry.compressedSize);
}

bool AreApart(const std::vector<ZipEntry>& entries)
{
    size_t end = 0;
    for (const ZipEntry& entry : entries) {
        if (entry.headerOffset < end) {
            return false;
        }
        end = entry.dataOffset + entry.compressedSize;
    }
    return true;
}
} // namespace

std::vector<ZipEntry> ReadZipEntries(ByteView file)
{
    const std::optional<size_t> end = FindEnd(file);
    if (!end.has_value()) {
        return {};
    }
    std::vector<ZipEntry> entries(Read16(file, *end + 10));
    size_t offset = Read32(file, *end + 16);
    for (ZipEntry& entry : entries) {
        if (!ReadCentralRecord(file, offset, entry) || !ReadLocalHeader(file, entry)) {
            return {};
        }
    }
    std::sort(entries.begin(), entries.end(),
              [](const ZipEntry& a, const ZipEntry& b) { return a.headerOffset < b.headerOffset; });
    return AreApart(entries) ? entries : std::vector<ZipEntry>{};
}
} // namespace ORVX::Difference
