// The bytes of a difference that have no old counterpart: an LZMA stream, or an LZMA2 one.
#ifndef TAVOMEND_DIFF_EXTRA_READER_H
#define TAVOMEND_DIFF_EXTRA_READER_H

#include <array>
#include <lzma.h>

#include "diff/byte_source.h"
#include "diff/difference_result.h"

namespace ORVX::Difference {
constexpr size_t EXTRA_PROPERTIES_SIZE = 5;
// As the first byte of the properties, which LZMA's own never are: the stream is LZMA2, and its property follows.
constexpr uint8_t EXTRA_IS_CHUNKED = 0xFF;
constexpr uint32_t EXTRA_DICTIONARY_MAX = uint32_t{4} << 20;

// Part of a DeltaSource: raw stretches and content take their extra bytes from it in the order in which they need them.
class ExtraReader {
public:
    ExtraReader() = default;
    ~ExtraReader() { lzma_end(&stream_); }
    ExtraReader(const ExtraReader&) = delete;
    ExtraReader& operator=(const ExtraReader&) = delete;

    // properties: the LZMA properties as in the header of a difference. A dictionary beyond EXTRA_DICTIONARY_MAX is
    // refused: it would be allocated on the difference's word. mayBeChunked: from version 2 on. The stream must outlive
    // this. priming: what the dictionary holds at the start; it is copied.
    [[nodiscard]] DifferenceResult Open(ByteSource& stream,
                                        const std::array<uint8_t, EXTRA_PROPERTIES_SIZE>& properties, bool mayBeChunked,
                                        ByteView priming);
    // The next bytes; DIFFERENCE_DAMAGED when there are not so many.
    [[nodiscard]] DifferenceResult Read(uint8_t* room, size_t size);

private:
    ByteSource* source_ = nullptr;
    lzma_stream stream_ = LZMA_STREAM_INIT;
};
} // namespace ORVX::Difference

#endif
