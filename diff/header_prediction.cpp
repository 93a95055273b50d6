#include "diff/header_prediction.h"

#include <algorithm>
#include <cstring>

namespace ORVX::Difference {
namespace {
// Where a local header has its flags, and checksum and sizes; a directory record those and the header's place (APPNOTE
// 4.3.7, 4.3.12). A data descriptor may begin with a magic number (4.3.9).
constexpr size_t LOCAL_FLAGS = 6;
constexpr size_t LOCAL_FACTS = 14;
constexpr size_t RECORD_FACTS = 16;
constexpr size_t RECORD_HEADER_OFFSET = 42;
constexpr uint8_t FLAG_DESCRIPTOR = 8;
constexpr uint8_t DESCRIPTOR_MAGIC[] = {'P', 'K', 7, 8};

size_t DescriptorOffset(ByteView base, size_t end)
{
    const bool hasMagic = base.size - end >= sizeof(DESCRIPTOR_MAGIC) &&
                          std::memcmp(base.data + end, DESCRIPTOR_MAGIC, sizeof(DESCRIPTOR_MAGIC)) == 0;
    return end + (hasMagic ? sizeof(DESCRIPTOR_MAGIC) : 0);
}
} // namespace

class HeaderPrediction::Patched {
public:
    Patched(const uint8_t* bytes, uint64_t position, size_t size, std::vector<uint8_t>& buffer)
        : bytes_(bytes), position_(position), size_(size), buffer_(buffer)
    {
    }

    [[nodiscard]] const uint8_t* Bytes() const { return bytes_; }
    [[nodiscard]] uint64_t Begin() const { return position_; }
    [[nodiscard]] uint64_t End() const { return position_ + size_; }

    // What lies outside is left out.
    void Put(uint64_t position, uint32_t number)
    {
        for (size_t i = 0; i < sizeof(number); ++i) {
            const uint64_t at = position + i;
            if (at >= Begin() && at < End()) {
                Own()[at - position_] = static_cast<uint8_t>(number >> 8 * i);
            }
        }
    }

    void Put(uint64_t position, const Facts& facts)
    {
        Put(position, facts.crc);
        Put(position + 4, facts.packedSize);
        Put(position + 8, facts.size);
    }

private:
    uint8_t* Own()
    {
        if (bytes_ != buffer_.data()) {
            buffer_.assign(bytes_, bytes_ + size_);
            bytes_ = buffer_.data();
        }
        return buffer_.data();
    }

    const uint8_t* bytes_;
    const uint64_t position_;
    const size_t size_;
    std::vector<uint8_t>& buffer_;
};

std::optional<HeaderPrediction> HeaderPrediction::Of(ByteView base)
{
    const std::vector<ZipEntry> entries = ReadZipEntries(base);
    return entries.empty() || entries.size() > ENTRIES_MAX ? std::nullopt
                                                           : std::optional(HeaderPrediction(base, entries));
}

HeaderPrediction::HeaderPrediction(ByteView base, const std::vector<ZipEntry>& entries) : base_(base)
{
    for (const ZipEntry& each : entries) {
        Entry entry;
        entry.headerOffset = each.headerOffset;
        entry.centralOffset = each.centralOffset;
        entry.old = {each.crc, static_cast<uint32_t>(each.compressedSize), static_cast<uint32_t>(each.size)};
        entry.isHeaderFilled = (base.data[each.headerOffset + LOCAL_FLAGS] & FLAG_DESCRIPTOR) == 0;
        if (!entry.isHeaderFilled) {
            entry.descriptorOffset = DescriptorOffset(base, each.dataOffset + each.compressedSize);
        }
        records_.push_back(entries_.size());
        entries_.push_back(entry);
    }
    std::sort(records_.begin(), records_.end(),
              [this](size_t a, size_t b) { return entries_[a].centralOffset < entries_[b].centralOffset; });
}

std::optional<size_t> HeaderPrediction::Find(size_t headerOffset) const
{
    const auto found =
        std::lower_bound(entries_.begin(), entries_.end(), headerOffset,
                         [](const Entry& each, size_t position) { return each.headerOffset < position; });
    return found != entries_.end() && found->headerOffset == headerOffset
               ? std::optional(static_cast<size_t>(found - entries_.begin()))
               : std::nullopt;
}

const uint8_t* HeaderPrediction::Follow(uint64_t position, size_t size, uint64_t outputPosition)
{
    auto entry = std::lower_bound(entries_.begin(), entries_.end(), position,
                                  [](const Entry& each, uint64_t start) { return each.headerOffset < start; });
    for (; entry != entries_.end() && entry->headerOffset < position + size; ++entry) {
        entry->newOffset = static_cast<uint32_t>(outputPosition + (entry->headerOffset - position));
    }
    Patched patched(base_.data + position, position, size, buffer_);
    PatchEntries(patched);
    PatchDirectory(patched);
    return patched.Bytes();
}

void HeaderPrediction::PatchEntries(Patched& patched) const
{
    auto entry = std::upper_bound(entries_.begin(), entries_.end(), patched.Begin(),
                                  [](uint64_t start, const Entry& each) { return start < each.headerOffset; });
    entry -= entry != entries_.begin() ? 1 : 0; // whose end may lie behind the position
    for (; entry != entries_.end() && entry->headerOffset < patched.End(); ++entry) {
        if (entry->fresh.has_value()) {
            patched.Put(entry->isHeaderFilled ? entry->headerOffset + LOCAL_FACTS : entry->descriptorOffset,
                        *entry->fresh);
        }
    }
}

void HeaderPrediction::PatchDirectory(Patched& patched) const
{
    auto record =
        std::upper_bound(records_.begin(), records_.end(), patched.Begin(),
                         [this](uint64_t start, size_t each) { return start < entries_[each].centralOffset; });
    record -= record != records_.begin() ? 1 : 0;
    for (; record != records_.end() && entries_[*record].centralOffset < patched.End(); ++record) {
        const Entry& entry = entries_[*record];
        if (entry.fresh.has_value()) {
            patched.Put(entry.centralOffset + RECORD_FACTS, *entry.fresh);
        }
        // A header behind the directory may not have been met yet: that hangs on how much is followed at a time.
        if (entry.newOffset.has_value() && entry.headerOffset < entry.centralOffset) {
            patched.Put(entry.centralOffset + RECORD_HEADER_OFFSET, *entry.newOffset);
        }
    }
}
} // namespace ORVX::Difference
