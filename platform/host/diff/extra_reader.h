// The bytes of a difference that have no old counterpart: an LZMA stream.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_EXTRA_READER_H
#define TAVOMEND_PLATFORM_HOST_DIFF_EXTRA_READER_H

#include "platform/host/diff/byte_view.h"
#include "platform/host/diff/patch_result.h"

#include <array>
#include <lzma.h>

namespace ORVX::TavomendHost {
constexpr size_t EXTRA_PROPERTIES_SIZE = 5;
constexpr uint32_t EXTRA_DICTIONARY_MAX = uint32_t{4} << 20;

class ExtraReader {
public:
    ExtraReader() = default;
    ~ExtraReader() { lzma_end(&stream_); }
    ExtraReader(const ExtraReader&) = delete;
    ExtraReader& operator=(const ExtraReader&) = delete;

    // properties: the LZMA properties as in the header of a difference. A dictionary beyond EXTRA_DICTIONARY_MAX is
    // refused.
    [[nodiscard]] PatchResult Open(ByteView stream, const std::array<uint8_t, EXTRA_PROPERTIES_SIZE>& properties);
    // The next bytes; PATCH_DAMAGED when there are not so many.
    [[nodiscard]] PatchResult Read(uint8_t* room, size_t size);

private:
    lzma_stream stream_ = LZMA_STREAM_INIT;
};
} // namespace ORVX::TavomendHost

#endif
