#include "diff/entry_content.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>

#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
// The levels that packers use, the usual ones first.
constexpr int LEVELS[] = {6, 9, 1, 2, 3, 4, 5, 7, 8};
// Content of one entry beyond this is left alone: no difference holds a larger file.
constexpr size_t CONTENT_MAX = size_t{1} << 30;
// Packers that write otherwise than zlib do so early on. The start of content of twice that size is enough if one level
// alone gives it; the finished difference is proven anyway.
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
        return entry.size == data.size ? std::optional<Bytes>(Bytes(data.data, data.data + data.size)) : std::nullopt;
    }
    return entry.method == ZipEntry::DEFLATED ? Inflate(data, entry.size) : std::nullopt;
}

bool IsPresumed(size_t contentSize, LevelProof proof)
{
    return proof == LevelProof::START && contentSize >= 2 * LEVEL_PROOF;
}

std::optional<int> FindLevel(ByteView content, ByteView data, LevelProof proof)
{
    const auto isFound = [&](int level) { return Reproduces(level, content, true, data); };
    const auto isPossible = [&](int level) { return Reproduces(level, {content.data, LEVEL_PROOF}, false, data); };
    std::vector<int> levels(std::begin(LEVELS), std::end(LEVELS));
    if (IsPresumed(content.size, proof)) {
        levels.erase(std::remove_if(levels.begin(), levels.end(), std::not_fn(isPossible)), levels.end());
        if (levels.size() == 1) {
            return levels.front();
        }
    }
    const auto level = std::find_if(levels.begin(), levels.end(), isFound);
    return level != levels.end() ? std::optional<int>(*level) : std::nullopt;
}
} // namespace ORVX::Difference
