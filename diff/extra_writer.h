// Compresses the extra bytes of a difference.
#ifndef TAVOMEND_DIFF_EXTRA_WRITER_H
#define TAVOMEND_DIFF_EXTRA_WRITER_H

#include <optional>
#include <string>

#include "diff/extra_reader.h"

namespace ORVX::Difference {
struct CompressedExtra {
    // Bits of the literals before, and of the position, that a context takes in (LZMA's lc and pb).
    struct Setting {
        uint32_t literals = 3;
        uint32_t positions = 0;
    };

    std::array<uint8_t, EXTRA_PROPERTIES_SIZE> properties{};
    std::string bytes;
    bool isChunked = false; // parts that do not compress are stored, which version 2 alone knows
    Setting setting;
};

// The smallest of several settings, tried on all cores; chunked only where that gains something, and may be. Nothing
// when the library failed. No bytes give none.
[[nodiscard]] std::optional<CompressedExtra> CompressExtra(const std::string& extra, bool mayBeChunked);

// Whether parts that do not compress may be stored: never, where that is worth a newer version, or as is best.
enum class ExtraChunks { NONE, DEAR, FREE };
// The same for large content: what a sample of the bytes says is best is carried out once. Few bytes go CompressExtra's
// way.
[[nodiscard]] std::optional<CompressedExtra> CompressMuchExtra(const std::string& extra, ExtraChunks chunks);
// With a dictionary that holds something at the start, at most EXTRA_DICTIONARY_MAX bytes, and in the way that did best
// without. Nothing when the library failed.
[[nodiscard]] std::optional<CompressedExtra> CompressPrimedExtra(const std::string& extra,
                                                                 const CompressedExtra& unprimed, ByteView priming);
// About how large the outcome will be, primed or not, in a fraction of the time; SIZE_MAX when the library failed.
[[nodiscard]] size_t EstimateExtra(const std::string& extra, ByteView priming = {});
} // namespace ORVX::Difference

#endif
