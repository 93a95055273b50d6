#include "formats/member_checker.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#ifdef TAVOMEND_HAS_LIBDEFLATE
#include <libdeflate.h>
#else
#include <zlib.h>
#endif

namespace ORVX::Formats {
using TavomendEngine::FileContent;

namespace {
constexpr size_t PIECE = 64 * 1024;

#ifdef TAVOMEND_HAS_LIBDEFLATE
uint32_t AddToChecksum(uint32_t checksum, const char* bytes, size_t size)
{
    return libdeflate_crc32(checksum, bytes, size);
}

bool Inflate(libdeflate_decompressor* inflater, const PackedMember& member, const char* packed, char* unpacked)
{
    size_t taken = 0;
    size_t given = 0;
    return libdeflate_deflate_decompress_ex(inflater, packed, member.packedSize, unpacked, member.size, &taken,
                                            &given) == LIBDEFLATE_SUCCESS &&
           taken == member.packedSize && given == member.size;
}

libdeflate_decompressor* NewInflater()
{
    return libdeflate_alloc_decompressor();
}

void FreeInflater(libdeflate_decompressor* inflater)
{
    libdeflate_free_decompressor(inflater);
}
#else
uint32_t AddToChecksum(uint32_t checksum, const char* bytes, size_t size)
{
    return static_cast<uint32_t>(crc32(checksum, reinterpret_cast<const Bytef*>(bytes), static_cast<uInt>(size)));
}

bool Inflate(libdeflate_decompressor* /*inflater*/, const PackedMember& /*member*/, const char* /*packed*/,
             char* /*unpacked*/)
{
    return false;
}

libdeflate_decompressor* NewInflater()
{
    return nullptr;
}

void FreeInflater(libdeflate_decompressor* /*inflater*/) {}
#endif
} // namespace

MemberChecker::MemberChecker(const std::string& path, uint64_t largestPacked, uint64_t largest)
    : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), largestPacked_(largestPacked), largest_(largest),
      inflater_(NewInflater())
{
}

void MemberChecker::InflaterDeleter::operator()(libdeflate_decompressor* inflater) const
{
    FreeInflater(inflater);
}

bool MemberChecker::IsWhole(const PackedMember& member)
{
    return file_.IsValid() && (member.isDeflated ? IsDeflatedWhole(member) : IsStoredWhole(member));
}

bool MemberChecker::IsStoredWhole(const PackedMember& member)
{
    if (member.packedSize != member.size) {
        return false;
    }
    char* const room = Room(packed_, PIECE, 0);
    uint32_t checksum = 0;
    for (uint64_t done = 0; done < member.size;) {
        const auto size = static_cast<size_t>(std::min<uint64_t>(PIECE, member.size - done));
        if (!Read(member.offset + done, room, size)) {
            return false;
        }
        checksum = AddToChecksum(checksum, room, size);
        done += size;
    }
    return checksum == member.checksum;
}

bool MemberChecker::IsDeflatedWhole(const PackedMember& member)
{
    if (inflater_ == nullptr || member.packedSize > MEMBER_SIZE_MAX || member.size > MEMBER_SIZE_MAX) {
        return false;
    }
    char* const packed = Room(packed_, static_cast<size_t>(member.packedSize), largestPacked_);
    char* const unpacked = Room(unpacked_, static_cast<size_t>(member.size), largest_);
    return Read(member.offset, packed, static_cast<size_t>(member.packedSize)) &&
           Inflate(inflater_.get(), member, packed, unpacked) &&
           AddToChecksum(0, unpacked, static_cast<size_t>(member.size)) == member.checksum;
}

char* MemberChecker::Room(FileContent& room, size_t size, uint64_t largest)
{
    if (room.View().size() < std::max(size, PIECE)) {
        room = FileContent(std::max({size, PIECE, static_cast<size_t>(std::min(largest, MEMBER_SIZE_MAX))}));
    }
    return room.Data();
}

bool MemberChecker::Read(uint64_t offset, char* bytes, size_t size) const
{
    for (size_t done = 0; done < size;) {
        const ssize_t count = pread(file_.Get(), bytes + done, size - done, static_cast<off_t>(offset + done));
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}
} // namespace ORVX::Formats
