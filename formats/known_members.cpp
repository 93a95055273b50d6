#include "formats/known_members.h"

#include <cstring>

namespace ORVX::Formats {
namespace {
// Smaller ones are unpacked in no time.
constexpr uint64_t PACKED_SIZE_MIN = uint64_t{4} << 10;
constexpr uint64_t PACKED_TOTAL_MIN = uint64_t{1} << 20;

// As this machine stores it: the text does not leave it.
template <typename Number>
void Append(std::string& text, Number number)
{
    text.append(reinterpret_cast<const char*>(&number), sizeof number);
}

template <typename Number>
Number TakeAt(const std::string& text, size_t& at)
{
    Number number = 0;
    std::memcpy(&number, text.data() + at, sizeof number);
    at += sizeof number;
    return number;
}
} // namespace

KnownMembers::KnownMembers(const std::string& text)
{
    constexpr size_t MARK_SIZE = sizeof(uint32_t) + 3 * sizeof(uint64_t);
    for (size_t at = 0; text.size() - at >= MARK_SIZE;) {
        const auto checksum = TakeAt<uint32_t>(text, at);
        const auto size = TakeAt<uint64_t>(text, at);
        const auto packedSize = TakeAt<uint64_t>(text, at);
        former_.emplace_hint(former_.end(), checksum, size, packedSize, TakeAt<uint64_t>(text, at));
    }
}

KnownMembers::Mark KnownMembers::MarkOf(const PackedMember& member, uint64_t packedSum)
{
    return {member.checksum, member.size, member.packedSize, packedSum};
}

bool KnownMembers::MayKnow(const PackedMember& member) const
{
    const auto mark = former_.lower_bound(MarkOf(member, 0));
    return mark != former_.end() && *mark <= MarkOf(member, UINT64_MAX);
}

bool KnownMembers::Knows(const PackedMember& member, uint64_t packedSum) const
{
    return former_.count(MarkOf(member, packedSum)) != 0;
}

void KnownMembers::Add(const PackedMember& member, uint64_t packedSum)
{
    if (member.packedSize >= PACKED_SIZE_MIN) {
        noted_.insert(MarkOf(member, packedSum));
    }
}

std::string KnownMembers::Print() const
{
    std::string text;
    uint64_t total = 0;
    for (const auto& [checksum, size, packedSize, packedSum] : noted_) {
        Append(text, checksum);
        Append(text, size);
        Append(text, packedSize);
        Append(text, packedSum);
        total += packedSize;
    }
    return total < PACKED_TOTAL_MIN ? "" : text;
}
} // namespace ORVX::Formats
