#include "formats/archive_stream.h"

#include <algorithm>
#include <minizip/unzip.h>

namespace ORVX::Formats {
namespace {
struct Stream {
    ArchiveBytes bytes;
    uint64_t at = 0; // may lie behind the end
    bool isBroken = false;
};

void* Open(void* bytes, const void* /*name*/, int /*mode*/)
{
    return new Stream{*static_cast<const ArchiveBytes*>(bytes)};
}

uLong Read(void* /*bytes*/, void* stream, void* room, uLong size)
{
    auto& from = *static_cast<Stream*>(stream);
    const uint64_t at = std::min(from.at, from.bytes.size);
    const uLong count = std::min<uLong>(size, from.bytes.size - at);
    if (!from.bytes.readAt(at, static_cast<char*>(room), count)) {
        from.isBroken = true;
        return 0;
    }
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
    const uint64_t start = origin == ZLIB_FILEFUNC_SEEK_CUR   ? in.at
                           : origin == ZLIB_FILEFUNC_SEEK_END ? in.bytes.size
                                                              : 0;
    const uint64_t target = start + offset; // wraps for an offset below 0
    if (target > INT64_MAX) {
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

int Error(void* /*bytes*/, void* stream)
{
    return static_cast<Stream*>(stream)->isBroken ? 1 : 0;
}
} // namespace

void* OpenArchive(const ArchiveBytes& bytes)
{
    ArchiveBytes copied = bytes; // minizip takes it as something that it might write to
    zlib_filefunc64_def calls{Open, Read, Write, Tell, Seek, Close, Error, &copied};
    return unzOpen2_64(nullptr, &calls);
}
} // namespace ORVX::Formats
