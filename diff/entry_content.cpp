#include "diff/entry_content.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
// The levels that packers use, the usual ones first.
constexpr int LEVELS[] = {6, 9, 1, 2, 3, 4, 5, 7, 8};
// Content of one entry beyond this is left alone: no difference holds a larger file.
constexpr size_t CONTENT_MAX = size_t{1} << 30;
// Packers that write otherwise than zlib do so early on. The start of content of twice that size is enough to find the
// level; the finished difference is proven anyway.
constexpr size_t LEVEL_PROOF = size_t{4} << 20;

std::optional<Bytes> Inflate(ByteView data, size_t size)
{
    if (size > CONTENT_MAX) {
        return std::nullopt;
    }
    Bytes content(size + 1);
    RawInflater inflater;
    size_t written = 0;
    if (!inflater.Begin(data) || inflater.Read(content.data(), content.size(), written) != RawInflater::Status::END ||
        written != size || inflater.Consumed() != data.size) {
        return std::nullopt;
    }
    content.resize(size);
    return content;
}

// isWhole: content is all that there is, and not just the start.
bool Reproduces(int level, ByteView content, bool isWhole, ByteView data)
{
    RawDeflater deflater;
    size_t position = 0;
    const auto compare = [&position, data](ByteView part) {
        const bool isEqual =
            part.size <= data.size - position && std::memcmp(data.data + position, part.data, part.size) == 0;
        position += part.size;
        return isEqual;
    };
    return deflater.Begin(level) && deflater.Write(content, isWhole, compare) && (!isWhole || position == data.size);
}
} // namespace

std::optional<Bytes> ContentOf(const ZipEntry& entry, ByteView file)
{
    const ByteView data = entry.Data(file);
    if (entry.method == ZipEntry::STORED) {
        return Bytes(data.data, data.data + data.size);
    }
    return entry.method == ZipEntry::DEFLATED ? Inflate(data, entry.size) : std::nullopt;
}

bool IsPresumed(size_t contentSize, LevelProof proof)
{
    return proof == LevelProof::START && contentSize >= 2 * LEVEL_PROOF;
}

std::optional<int> FindLevel(ByteView content, ByteView data, LevelProof proof)
{
    const bool isWhole = !IsPresumed(content.size, proof);
    const ByteView proven = {content.data, isWhole ? content.size : LEVEL_PROOF};
    const auto* const level = std::find_if(std::begin(LEVELS), std::end(LEVELS),
                                           [&](int each) { return Reproduces(each, proven, isWhole, data); });
    return level != std::end(LEVELS) ? std::optional<int>(*level) : std::nullopt;
}
} // namespace ORVX::Difference
