// A member of a zip archive as it lies in the file.
#ifndef TAVOMEND_FORMATS_PACKED_MEMBER_H
#define TAVOMEND_FORMATS_PACKED_MEMBER_H

#include <cstdint>

namespace ORVX::Formats {
// Where a member lies, and what its directory entry says of it.
struct PackedMember {
    uint64_t offset = 0; // of its packed bytes in the file
    uint64_t packedSize = 0;
    uint64_t size = 0;
    uint32_t checksum = 0; // CRC-32 of what it unpacks to
    bool isDeflated = false;
};
} // namespace ORVX::Formats

#endif
