#include "diff/extra_reader.h"

#include <cstdlib>

namespace ORVX::Difference {
DifferenceResult ExtraReader::Open(ByteSource& stream, const std::array<uint8_t, EXTRA_PROPERTIES_SIZE>& properties,
                                   bool mayBeChunked, ByteView priming)
{
    const bool isChunked = mayBeChunked && properties[0] == EXTRA_IS_CHUNKED;
    const lzma_vli kind = isChunked ? LZMA_FILTER_LZMA2 : LZMA_FILTER_LZMA1;
    std::array<lzma_filter, 2> filters = {{{kind, nullptr}, {LZMA_VLI_UNKNOWN, nullptr}}};
    const uint8_t* const own = properties.data() + (isChunked ? 1 : 0);
    if (lzma_properties_decode(filters.data(), nullptr, own, isChunked ? 1 : properties.size()) != LZMA_OK) {
        return DIFFERENCE_DAMAGED;
    }
    auto* const options = static_cast<lzma_options_lzma*>(filters[0].options);
    options->preset_dict = priming.data;
    options->preset_dict_size = static_cast<uint32_t>(priming.size);
    const bool isBounded = options->dict_size <= EXTRA_DICTIONARY_MAX;
    const lzma_ret opened = isBounded ? lzma_raw_decoder(&stream_, filters.data()) : LZMA_OPTIONS_ERROR;
    free(filters[0].options); // NOLINT: the library's own allocation
    source_ = &stream;
    return opened == LZMA_OK ? DIFFERENCE_OK : opened == LZMA_MEM_ERROR ? DIFFERENCE_NO_MEMORY : DIFFERENCE_DAMAGED;
}

DifferenceResult ExtraReader::Read(uint8_t* room, size_t size)
{
    stream_.next_out = room;
    stream_.avail_out = size;
    while (stream_.avail_out != 0) {
        if (stream_.avail_in == 0 && source_ != nullptr) {
            const ByteView piece = source_->Next();
            stream_.next_in = piece.data;
            stream_.avail_in = piece.size;
        }
        if (lzma_code(&stream_, LZMA_RUN) != LZMA_OK) {
            return stream_.avail_out == 0 ? DIFFERENCE_OK : DIFFERENCE_DAMAGED;
        }
    }
    return DIFFERENCE_OK;
}
} // namespace ORVX::Difference
