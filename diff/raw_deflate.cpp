#include "diff/raw_deflate.h"

#include <array>
#include <zlib.h>

namespace ORVX::Difference {
namespace {
constexpr int RAW_WINDOW_BITS = -15;
constexpr int MEMORY_LEVEL = 8;
constexpr size_t ROOM = size_t{64} << 10;
} // namespace

uint16_t DeflateLibraryVersion()
{
    return ZLIB_VERNUM;
}

uint32_t DeflateLibraryChecksum(ByteView bytes, uint32_t before)
{
    return static_cast<uint32_t>(crc32_z(before, bytes.data, bytes.size));
}

RawDeflater::RawDeflater() : stream_(std::make_unique<z_stream>()) {}

RawDeflater::~RawDeflater()
{
    if (level_ != 0) {
        deflateEnd(stream_.get());
    }
}

bool RawDeflater::Begin(int level)
{
    if (level == level_) {
        return deflateReset(stream_.get()) == Z_OK;
    }
    if (level_ != 0) {
        deflateEnd(stream_.get());
        level_ = 0;
    }
    *stream_ = z_stream{};
    if (deflateInit2(stream_.get(), level, Z_DEFLATED, RAW_WINDOW_BITS, MEMORY_LEVEL, Z_DEFAULT_STRATEGY) != Z_OK) {
        return false;
    }
    level_ = level;
    return true;
}

// Room is always left over at the end: deflate does not tell the end of the stream when its output just fits.
bool RawDeflater::Write(ByteView plain, bool isLast, const Sink& sink)
{
    std::array<uint8_t, ROOM> room;
    stream_->next_in = const_cast<Bytef*>(plain.data);
    stream_->avail_in = static_cast<uInt>(plain.size);
    do {
        stream_->next_out = room.data();
        stream_->avail_out = static_cast<uInt>(room.size());
        const int result = deflate(stream_.get(), isLast ? Z_FINISH : Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) {
            return false;
        }
        const size_t written = room.size() - stream_->avail_out;
        if (written != 0 && !sink(ByteView{room.data(), written})) {
            return false;
        }
    } while (stream_->avail_out == 0);
    return true;
}

RawInflater::RawInflater() : stream_(std::make_unique<z_stream>())
{
    if (inflateInit2(stream_.get(), RAW_WINDOW_BITS) != Z_OK) {
        stream_ = nullptr;
    }
}

RawInflater::~RawInflater()
{
    if (stream_ != nullptr) {
        inflateEnd(stream_.get());
    }
}

bool RawInflater::Begin(ByteView deflated)
{
    if (stream_ == nullptr || inflateReset(stream_.get()) != Z_OK) {
        return false;
    }
    deflated_ = deflated;
    stream_->next_in = const_cast<Bytef*>(deflated.data);
    stream_->avail_in = static_cast<uInt>(deflated.size);
    return true;
}

RawInflater::Status RawInflater::Read(uint8_t* room, size_t size, size_t& written)
{
    stream_->next_out = room;
    stream_->avail_out = static_cast<uInt>(size);
    const int result = inflate(stream_.get(), Z_NO_FLUSH);
    written = size - stream_->avail_out;
    if (result == Z_STREAM_END) {
        return Status::END;
    }
    return result == Z_OK && written == size ? Status::MORE : Status::DAMAGED;
}

size_t RawInflater::Consumed() const
{
    return deflated_.size - stream_->avail_in;
}
} // namespace ORVX::Difference
