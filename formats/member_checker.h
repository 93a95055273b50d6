// Reads packed members of an archive through, to tell whether they are whole.
#ifndef TAVOMEND_FORMATS_MEMBER_CHECKER_H
#define TAVOMEND_FORMATS_MEMBER_CHECKER_H

#include <cstdint>
#include <memory>
#include <string>

#include "handles/unique_descriptor.h"
#include "platform/utility/file_content.h"

struct libdeflate_decompressor;

namespace ORVX::Formats {
struct PackedMember {
    uint64_t offset = 0; // of its packed bytes in the file
    uint64_t packedSize = 0;
    uint64_t size = 0;
    uint32_t checksum = 0; // CRC-32 of what it unpacks to
    bool isDeflated = false;
};

// Unpacks a member at once, in memory, which takes a fraction of the time of unpacking it piece by piece; so members
// are limited in size, and there is none of it in a build without libdeflate. For one archive and one thread.
class MemberChecker {
public:
    // The largest sizes that will be asked for, as far as they are known: room that grows from member to member costs
    // more than the reading.
    MemberChecker(const std::string& path, uint64_t largestPacked, uint64_t largest);

    // True for a member that unpacks to its size and checksum. False says nothing: it may be damaged, larger than
    // MEMBER_SIZE_MAX, or impossible to read now, and whoever reads it piece by piece finds out.
    [[nodiscard]] bool IsWhole(const PackedMember& member);

    static constexpr uint64_t MEMBER_SIZE_MAX = uint64_t{32} << 20U; // packed or unpacked; stored ones have no limit

private:
    struct InflaterDeleter {
        void operator()(libdeflate_decompressor* inflater) const;
    };

    [[nodiscard]] bool IsStoredWhole(const PackedMember& member);
    [[nodiscard]] bool IsDeflatedWhole(const PackedMember& member);
    // Room of so many bytes at least, and of the largest when it is made, whose content does not matter.
    [[nodiscard]] static char* Room(TavomendEngine::FileContent& room, size_t size, uint64_t largest);
    [[nodiscard]] bool Read(uint64_t offset, char* bytes, size_t size) const;

    Handles::UniqueDescriptor file_;
    uint64_t largestPacked_;
    uint64_t largest_;
    std::unique_ptr<libdeflate_decompressor, InflaterDeleter> inflater_; // null without libdeflate
    TavomendEngine::FileContent packed_;
    TavomendEngine::FileContent unpacked_;
};
} // namespace ORVX::Formats

#endif
