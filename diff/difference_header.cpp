#include "diff/difference_header.h"

#include <algorithm>
#include <cstring>

#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
// The byte 0x1A and the line ends show when a transfer took the file for text.
constexpr uint8_t MAGIC[] = {'T', 'V', 'D', 'F', 0x1A, '\r', '\n'};

class FieldReader {
public:
    explicit FieldReader(const uint8_t* position) : position_(position) {}

    template <class Number>
    void Take(Number& number)
    {
        number = 0;
        for (size_t i = 0; i < sizeof(Number); ++i) {
            number = static_cast<Number>(number | static_cast<Number>(*position_++) << 8 * i);
        }
    }
    template <size_t SIZE>
    void Take(std::array<uint8_t, SIZE>& bytes)
    {
        std::copy_n(position_, SIZE, bytes.begin());
        position_ += SIZE;
    }

private:
    const uint8_t* position_;
};

class FieldWriter {
public:
    template <class Number>
    void Put(Number number)
    {
        for (size_t i = 0; i < sizeof(Number); ++i) {
            text_ += static_cast<char>(number >> 8 * i & 0xFF);
        }
    }
    template <size_t SIZE>
    void Put(const std::array<uint8_t, SIZE>& bytes)
    {
        text_.append(bytes.begin(), bytes.end());
    }
    void Put(const std::string& bytes) { text_ += bytes; }

    [[nodiscard]] const std::string& Text() const { return text_; }

private:
    std::string text_;
};

// Whoever applies it takes that much memory, on the difference's word.
bool IsWindowSound(const DifferenceHeader& header)
{
    return header.windowSize <= DifferenceWindowMax(header.version) &&
           (header.version == DIFFERENCE_VERSION_MIN || header.windowSize <= DEFLATE_RATIO_MAX * header.baseSize);
}

uint32_t ChecksumAt(const uint8_t* bytes)
{
    uint32_t checksum = 0;
    FieldReader(bytes).Take(checksum);
    return checksum;
}

// What can be told from the header and the size of all before the checksum.
DifferenceResult CheckFields(const DifferenceHeader& header, uint64_t checkedSize)
{
    if (header.version < DIFFERENCE_VERSION_MIN || header.version > DIFFERENCE_VERSION_MAX) {
        return DIFFERENCE_FORMAT_UNKNOWN;
    }
    if (uint64_t{header.modelSize} + header.extraSize != checkedSize - DIFFERENCE_HEADER_SIZE ||
        !IsWindowSound(header)) {
        return DIFFERENCE_DAMAGED;
    }
    return header.outputSize > DIFFERENCE_OUTPUT_SIZE_MAX || header.baseSize > DIFFERENCE_OUTPUT_SIZE_MAX
               ? DIFFERENCE_TOO_LARGE
               : DIFFERENCE_OK;
}
} // namespace

bool IsArchiveDifference(ByteView difference)
{
    return difference.size >= sizeof(MAGIC) && std::memcmp(difference.data, MAGIC, sizeof(MAGIC)) == 0;
}

void ReadDifferenceFields(ByteView difference, DifferenceHeader& header)
{
    FieldReader fields(difference.data + sizeof(MAGIC));
    fields.Take(header.version);
    fields.Take(header.zlibVersion);
    fields.Take(header.baseSize);
    fields.Take(header.baseDigest);
    fields.Take(header.outputSize);
    fields.Take(header.outputDigest);
    fields.Take(header.windowSize);
    fields.Take(header.modelSize);
    fields.Take(header.extraSize);
    fields.Take(header.extraProperties);
}

DifferenceResult ParseDifferenceHeader(ByteView difference, DifferenceHeader& header)
{
    if (difference.size < DIFFERENCE_HEADER_SIZE + DIFFERENCE_CHECKSUM_SIZE) {
        return DIFFERENCE_DAMAGED;
    }
    const size_t checkedSize = difference.size - DIFFERENCE_CHECKSUM_SIZE;
    if (ChecksumAt(difference.data + checkedSize) != DeflateLibraryChecksum({difference.data, checkedSize}, 0)) {
        return DIFFERENCE_DAMAGED;
    }
    ReadDifferenceFields(difference, header);
    return CheckFields(header, checkedSize);
}

DifferenceResult ParseDifferenceHeader(DifferenceFile& file, DifferenceHeader& header)
{
    if (file.Size() < DIFFERENCE_HEADER_SIZE + DIFFERENCE_CHECKSUM_SIZE) {
        return DIFFERENCE_DAMAGED;
    }
    const uint64_t checkedSize = file.Size() - DIFFERENCE_CHECKSUM_SIZE;
    DifferenceFile::Part checked(file, 0, checkedSize);
    uint32_t checksum = 0;
    for (ByteView piece = checked.Next(); piece.size != 0; piece = checked.Next()) {
        checksum = DeflateLibraryChecksum(piece, checksum);
    }
    const std::vector<uint8_t> fields = file.Read(0, DIFFERENCE_HEADER_SIZE);
    const std::vector<uint8_t> stated = file.Read(checkedSize, DIFFERENCE_CHECKSUM_SIZE);
    if (file.HasFailed()) {
        return DIFFERENCE_UNREADABLE;
    }
    if (ChecksumAt(stated.data()) != checksum) {
        return DIFFERENCE_DAMAGED;
    }
    ReadDifferenceFields({fields.data(), fields.size()}, header);
    return CheckFields(header, checkedSize);
}
std::string AssembleDifference(DifferenceHeader header, const std::string& model, const std::string& extra)
{
    header.modelSize = static_cast<uint32_t>(model.size());
    header.extraSize = static_cast<uint32_t>(extra.size());
    FieldWriter fields;
    fields.Put(std::string(MAGIC, MAGIC + sizeof(MAGIC)));
    fields.Put(header.version);
    fields.Put(header.zlibVersion);
    fields.Put(header.baseSize);
    fields.Put(header.baseDigest);
    fields.Put(header.outputSize);
    fields.Put(header.outputDigest);
    fields.Put(header.windowSize);
    fields.Put(header.modelSize);
    fields.Put(header.extraSize);
    fields.Put(header.extraProperties);
    fields.Put(model);
    fields.Put(extra);
    const std::string& text = fields.Text();
    fields.Put(DeflateLibraryChecksum({reinterpret_cast<const uint8_t*>(text.data()), text.size()}, 0));
    return fields.Text();
}
} // namespace ORVX::Difference
