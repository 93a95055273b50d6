// Where minizip reads an archive from.
#ifndef TAVOMEND_FORMATS_ARCHIVE_STREAM_H
#define TAVOMEND_FORMATS_ARCHIVE_STREAM_H

#include <cstddef>
#include <cstdint>
#include <functional>

namespace ORVX::Formats {
// The bytes of an archive, by places. readAt fills the room, all of which lies within the size; false where that cannot
// be.
struct ArchiveBytes {
    uint64_t size = 0;
    std::function<bool(uint64_t at, char* room, size_t size)> readAt;
};

// A handle as unzOpen gives it, to be closed with unzClose; null for what is no archive. What cannot be read is a
// failure of the call that needs it. Small reads are many, a byte each, and go to and fro between the directory and the
// members. Used by ZipArchive and ParseZipTool.
[[nodiscard]] void* OpenArchive(const ArchiveBytes& bytes);
} // namespace ORVX::Formats

#endif
