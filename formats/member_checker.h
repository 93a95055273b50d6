// Whether the members of an archive are whole, in a fraction of the time that zlib takes.
#ifndef TAVOMEND_FORMATS_MEMBER_CHECKER_H
#define TAVOMEND_FORMATS_MEMBER_CHECKER_H

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "formats/buffered_file.h"
#include "formats/known_members.h"
#include "formats/packed_member.h"

struct inflate_state;

namespace ORVX::Formats {
// Used by ZipArchive. For one archive and one thread; in a build without ISA-L it finds no deflated member whole.
class MemberChecker {
public:
    // file: the archive. known: what earlier readings found whole, and where what this one finds is noted. Null: every
    // member is unpacked. Both outlive the checker.
    explicit MemberChecker(BufferedFile& file, KnownMembers* known = nullptr);

    // True for a member that unpacks to its size and checksum, or is known to. False says nothing: it may be damaged or
    // impossible to read now, and whoever reads it with zlib finds out.
    [[nodiscard]] bool IsWhole(const PackedMember& member);

private:
    using Piece = std::array<uint8_t, size_t{256} << 10U>; // smaller ones make ISA-L copy what it gives
    struct InflaterDeleter {
        void operator()(inflate_state* inflater) const;
    };

    [[nodiscard]] bool IsStoredWhole(const PackedMember& member);
    [[nodiscard]] bool IsKnown(const PackedMember& member);
    [[nodiscard]] bool IsDeflatedWhole(const PackedMember& member);
    // Gives the member's packed bytes to `use`, piece by piece; false when they cannot be read.
    [[nodiscard]] bool ReadThrough(const PackedMember& member, const std::function<void(const uint8_t*, size_t)>& use);
    // The next bytes of a member, of which so many have been read, until the next call; empty when that fails.
    [[nodiscard]] std::string_view PackedAt(const PackedMember& member, uint64_t done);

    BufferedFile& file_;
    std::unique_ptr<inflate_state, InflaterDeleter> inflater_; // null without ISA-L
    std::unique_ptr<Piece> unpacked_;
    KnownMembers* const known_;
};
} // namespace ORVX::Formats

#endif
