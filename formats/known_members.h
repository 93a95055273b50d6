// Deflated members that were unpacked once and found whole, known again by their packed bytes.
#ifndef TAVOMEND_FORMATS_KNOWN_MEMBERS_H
#define TAVOMEND_FORMATS_KNOWN_MEMBERS_H

#include <cstdint>
#include <set>
#include <string>
#include <tuple>

#include "formats/packed_member.h"

namespace ORVX::Formats {
// Most members of an update are those of the version before it. The same packed bytes unpack to the same content, so a
// member need not be unpacked again whose sizes, checksum, and CRC-64 over the packed bytes are those of one that was
// whole: the CRC-64 sees damage as well as the CRC-32 over the content does. The bytes are read each time; a file that
// was whole once proves nothing.
//
// Filled by MemberChecker in the course of one reading of an archive, kept by whoever checks the next version of it.
// For one thread.
class KnownMembers {
public:
    KnownMembers() = default;
    // Of what Print has given; what is cut short or foreign knows little or nothing.
    explicit KnownMembers(const std::string& text);

    // Whether the packed bytes of such a member are worth a look.
    [[nodiscard]] bool MayKnow(const PackedMember& member) const;
    // packedSum: the CRC-64 (ECMA-182, reflected, as in xz files) of the packed bytes.
    [[nodiscard]] bool Knows(const PackedMember& member, uint64_t packedSum) const;
    // Notes a member of the archive that is being read.
    void Add(const PackedMember& member, uint64_t packedSum);

    // The members that were noted, for the next reading. Empty where they would save next to nothing.
    [[nodiscard]] std::string Print() const;

private:
    using Mark = std::tuple<uint32_t, uint64_t, uint64_t, uint64_t>; // checksum, size, packed size, packed sum
    [[nodiscard]] static Mark MarkOf(const PackedMember& member, uint64_t packedSum);

    std::set<Mark> former_;
    std::set<Mark> noted_;
};
} // namespace ORVX::Formats

#endif
