// Deflated data without any wrapping, as zip entries hold it. The one zlib of the maker and the applier, linked in:
// what deflate writes is no standard, and another build writes other bytes.
#ifndef TAVOMEND_DIFF_RAW_DEFLATE_H
#define TAVOMEND_DIFF_RAW_DEFLATE_H

#include <functional>
#include <memory>

#include "diff/byte_view.h"

struct z_stream_s;

namespace ORVX::Difference {
constexpr int DEFLATE_LEVEL_MIN = 1;
constexpr int DEFLATE_LEVEL_MAX = 9;
// In a difference of version 2: content that stands in the new file as it is.
constexpr int STORED_LEVEL = 10;

// The linked zlib's own number, such as 0x12D0 for 1.2.13.
[[nodiscard]] uint16_t DeflateLibraryVersion();
// CRC-32 as zip uses it. before: that of the bytes before these, 0 at first.
[[nodiscard]] uint32_t DeflateLibraryChecksum(ByteView bytes, uint32_t before);

class RawDeflater {
public:
    // Takes what was written; false stops the deflater.
    using Sink = std::function<bool(ByteView)>;

    RawDeflater();
    ~RawDeflater();
    RawDeflater(const RawDeflater&) = delete;
    RawDeflater& operator=(const RawDeflater&) = delete;

    // Starts a stream. False when there is no memory.
    [[nodiscard]] bool Begin(int level);
    // Deflates more; isLast ends the stream. False when the sink said so. How the data is cut into calls does not show
    // in the outcome.
    [[nodiscard]] bool Write(ByteView plain, bool isLast, const Sink& sink);

private:
    std::unique_ptr<z_stream_s> stream_;
    int level_ = 0;
};

class RawInflater {
public:
    enum class Status { MORE, END, DAMAGED };

    RawInflater();
    ~RawInflater();
    RawInflater(const RawInflater&) = delete;
    RawInflater& operator=(const RawInflater&) = delete;

    // Starts a stream; it ends at the latest where its data does. False when there is no memory.
    [[nodiscard]] bool Begin(ByteView deflated);
    // Inflates until the room is full (MORE) or the stream is at its end. written: bytes put into the room.
    [[nodiscard]] Status Read(uint8_t* room, size_t size, size_t& written);
    // Bytes of the deflated data that were used so far.
    [[nodiscard]] size_t Consumed() const;

private:
    std::unique_ptr<z_stream_s> stream_;
    ByteView deflated_;
};
} // namespace ORVX::Difference

#endif
