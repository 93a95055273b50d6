// Whether the members of an archive are whole, in a fraction of the time that zlib takes.
#ifndef TAVOMEND_FORMATS_MEMBER_CHECKER_H
#define TAVOMEND_FORMATS_MEMBER_CHECKER_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "handles/unique_descriptor.h"

struct inflate_state;

namespace ORVX::Formats {
// Where a member lies, and what its directory entry says of it.
struct PackedMember {
    uint64_t offset = 0; // of its packed bytes in the file
    uint64_t packedSize = 0;
    uint64_t size = 0;
    uint32_t checksum = 0; // CRC-32 of what it unpacks to
    bool isDeflated = false;
};

// Used by ZipArchive. For one archive and one thread; in a build without ISA-L it finds no deflated member whole.
class MemberChecker {
public:
    explicit MemberChecker(const std::string& path);

    // True for a member that unpacks to its size and checksum. False says nothing: it may be damaged or impossible to
    // read now, and whoever reads it with zlib finds out.
    [[nodiscard]] bool IsWhole(const PackedMember& member);

private:
    using Piece = std::array<uint8_t, size_t{256} << 10U>; // smaller ones make ISA-L copy what it gives
    struct InflaterDeleter {
        void operator()(inflate_state* inflater) const;
    };

    [[nodiscard]] bool IsStoredWhole(const PackedMember& member);
    [[nodiscard]] bool IsDeflatedWhole(const PackedMember& member);
    // Reads the next piece of a member, of which so much has been read; its size, 0 when that fails.
    [[nodiscard]] size_t ReadPacked(const PackedMember& member, uint64_t done);

    Handles::UniqueDescriptor file_;
    std::unique_ptr<inflate_state, InflaterDeleter> inflater_; // null without ISA-L
    std::unique_ptr<Piece> packed_;
    std::unique_ptr<Piece> unpacked_;
};
} // namespace ORVX::Formats

#endif
