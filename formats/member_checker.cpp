#include "formats/member_checker.h"

#ifdef TAVOMEND_HAS_ISAL
#include <isa-l/crc.h>
#include <isa-l/crc64.h>
#include <isa-l/igzip_lib.h>
#else
#include <zlib.h>
#endif

namespace ORVX::Formats {
namespace {
#ifdef TAVOMEND_HAS_ISAL
uint32_t AddToChecksum(uint32_t checksum, const uint8_t* bytes, size_t size)
{
    return crc32_gzip_refl(checksum, bytes, size);
}

inflate_state* NewInflater()
{
    return new inflate_state;
}
#else
uint32_t AddToChecksum(uint32_t checksum, const uint8_t* bytes, size_t size)
{
    return static_cast<uint32_t>(crc32(checksum, bytes, static_cast<uInt>(size)));
}

inflate_state* NewInflater()
{
    return nullptr;
}
#endif

const uint8_t* BytesOf(std::string_view text)
{
    return reinterpret_cast<const uint8_t*>(text.data());
}
} // namespace

MemberChecker::MemberChecker(BufferedFile& file, KnownMembers* known)
    : file_(file), inflater_(NewInflater()), unpacked_(std::make_unique<Piece>()), known_(known)
{
}

bool MemberChecker::IsWhole(const PackedMember& member)
{
    return member.isDeflated ? IsKnown(member) || IsDeflatedWhole(member) : IsStoredWhole(member);
}

bool MemberChecker::IsStoredWhole(const PackedMember& member)
{
    uint32_t checksum = 0;
    const auto add = [&checksum](const uint8_t* bytes, size_t size) {
        checksum = AddToChecksum(checksum, bytes, size);
    };
    return member.packedSize == member.size && ReadThrough(member, add) && checksum == member.checksum;
}

#ifdef TAVOMEND_HAS_ISAL
void MemberChecker::InflaterDeleter::operator()(inflate_state* inflater) const
{
    delete inflater;
}

bool MemberChecker::IsKnown(const PackedMember& member)
{
    uint64_t sum = 0;
    const auto add = [&sum](const uint8_t* bytes, size_t size) { sum = crc64_ecma_refl(sum, bytes, size); };
    const bool isKnown =
        known_ != nullptr && known_->MayKnow(member) && ReadThrough(member, add) && known_->Knows(member, sum);
    if (isKnown) {
        known_->Add(member, sum);
    }
    return isKnown;
}

bool MemberChecker::IsDeflatedWhole(const PackedMember& member)
{
    isal_inflate_init(inflater_.get());
    inflater_->crc_flag = ISAL_DEFLATE; // the bare stream
    inflater_->avail_in = 0;
    uint32_t checksum = 0;
    uint64_t sum = 0;
    uint64_t given = 0;
    uint64_t taken = 0;
    do {
        if (inflater_->avail_in == 0 && taken < member.packedSize) {
            const std::string_view packed = PackedAt(member, taken);
            if (packed.empty()) {
                return false;
            }
            sum = known_ == nullptr ? 0 : crc64_ecma_refl(sum, BytesOf(packed), packed.size());
            inflater_->next_in = const_cast<uint8_t*>(BytesOf(packed)); // which ISA-L only reads
            inflater_->avail_in = static_cast<uint32_t>(packed.size());
            taken += packed.size();
        }
        const uint32_t fed = inflater_->avail_in;
        inflater_->next_out = unpacked_->data();
        inflater_->avail_out = static_cast<uint32_t>(unpacked_->size());
        if (isal_inflate(inflater_.get()) != ISAL_DECOMP_OK) {
            return false;
        }
        const size_t count = unpacked_->size() - inflater_->avail_out;
        checksum = AddToChecksum(checksum, unpacked_->data(), count);
        given += count;
        if (given > member.size || (count == 0 && inflater_->avail_in == fed)) {
            return false; // more than it says, or it does not go on
        }
    } while (inflater_->block_state != ISAL_BLOCK_FINISH);
    const bool isWhole =
        taken == member.packedSize && inflater_->avail_in == 0 && given == member.size && checksum == member.checksum;
    if (isWhole && known_ != nullptr) {
        known_->Add(member, sum);
    }
    return isWhole;
}
#else
void MemberChecker::InflaterDeleter::operator()(inflate_state* /*inflater*/) const {}

bool MemberChecker::IsKnown(const PackedMember& /*member*/)
{
    return false;
}

bool MemberChecker::IsDeflatedWhole(const PackedMember& /*member*/)
{
    return false;
}
#endif

bool MemberChecker::ReadThrough(const PackedMember& member, const std::function<void(const uint8_t*, size_t)>& use)
{
    uint64_t done = 0;
    while (done < member.packedSize) {
        const std::string_view packed = PackedAt(member, done);
        if (packed.empty()) {
            return false;
        }
        use(BytesOf(packed), packed.size());
        done += packed.size();
    }
    return true;
}

std::string_view MemberChecker::PackedAt(const PackedMember& member, uint64_t done)
{
    return file_.View(member.offset + done, member.packedSize - done);
}
} // namespace ORVX::Formats
