#include "tools/memory_archive.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <minizip/unzip.h>

namespace ORVX::TavomendEngine {
namespace {
struct Stream {
    std::string_view bytes;
    size_t at = 0; // may lie behind the end, as in a file
};

void* Open(void* bytes, const void* /*name*/, int /*mode*/)
{
    return new Stream{*static_cast<const std::string_view*>(bytes)};
}

uLong Read(void* /*bytes*/, void* stream, void* room, uLong size)
{
    auto& from = *static_cast<Stream*>(stream);
    const size_t at = std::min(from.at, from.bytes.size());
    const uLong count = std::min<uLong>(size, from.bytes.size() - at);
    std::memcpy(room, from.bytes.data() + at, count);
    from.at += count;
    return count;
}

uLong Write(void* /*bytes*/, void* /*stream*/, const void* /*data*/, uLong /*size*/)
{
    return 0;
}

ZPOS64_T Tell(void* /*bytes*/, void* stream)
{
    return static_cast<Stream*>(stream)->at;
}

long Seek(void* /*bytes*/, void* stream, ZPOS64_T offset, int origin)
{
    auto& in = *static_cast<Stream*>(stream);
    const size_t start = origin == ZLIB_FILEFUNC_SEEK_CUR   ? in.at
                         : origin == ZLIB_FILEFUNC_SEEK_END ? in.bytes.size()
                                                            : 0;
    const size_t target = start + offset; // wraps for an offset below 0
    if (target > PTRDIFF_MAX) {
        return -1;
    }
    in.at = target;
    return 0;
}

int Close(void* /*bytes*/, void* stream)
{
    delete static_cast<Stream*>(stream);
    return 0;
}

int Error(void* /*bytes*/, void* /*stream*/)
{
    return 0;
}
} // namespace

void* OpenArchiveInMemory(std::string_view bytes)
{
    zlib_filefunc64_def calls{Open, Read, Write, Tell, Seek, Close, Error, &bytes};
    return unzOpen2_64(nullptr, &calls);
}
} // namespace ORVX::TavomendEngine
