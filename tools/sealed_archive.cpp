#include "tools/sealed_archive.h"

#include <algorithm>
#include <cstdint>
#include <minizip/unzip.h>

namespace ORVX::TavomendEngine {
namespace {
struct Stream {
    SealedFile& file;
    uint64_t at = 0; // may lie behind the end
    bool isBroken = false;
};

void* Open(void* file, const void* /*name*/, int /*mode*/)
{
    return new Stream{*static_cast<SealedFile*>(file)};
}

uLong Read(void* /*file*/, void* stream, void* room, uLong size)
{
    auto& from = *static_cast<Stream*>(stream);
    const uint64_t at = std::min(from.at, from.file.Size());
    const uLong count = std::min<uLong>(size, from.file.Size() - at);
    if (!from.file.ReadAt(at, static_cast<char*>(room), count)) {
        from.isBroken = true;
        return 0;
    }
    from.at += count;
    return count;
}

uLong Write(void* /*file*/, void* /*stream*/, const void* /*data*/, uLong /*size*/)
{
    return 0;
}

ZPOS64_T Tell(void* /*file*/, void* stream)
{
    return static_cast<Stream*>(stream)->at;
}

long Seek(void* /*file*/, void* stream, ZPOS64_T offset, int origin)
{
    auto& in = *static_cast<Stream*>(stream);
    const uint64_t start = origin == ZLIB_FILEFUNC_SEEK_CUR   ? in.at
                           : origin == ZLIB_FILEFUNC_SEEK_END ? in.file.Size()
                                                              : 0;
    const uint64_t target = start + offset; // wraps for an offset below 0
    if (target > INT64_MAX) {
        return -1;
    }
    in.at = target;
    return 0;
}

int Close(void* /*file*/, void* stream)
{
    delete static_cast<Stream*>(stream);
    return 0;
}

int Error(void* /*file*/, void* stream)
{
    return static_cast<Stream*>(stream)->isBroken ? 1 : 0;
}
} // namespace

void* OpenSealedArchive(SealedFile& file)
{
    zlib_filefunc64_def calls{Open, Read, Write, Tell, Seek, Close, Error, &file};
    return unzOpen2_64(nullptr, &calls);
}
} // namespace ORVX::TavomendEngine
