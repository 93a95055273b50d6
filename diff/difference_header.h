// The header of an archive-aware difference; docs/difference-format.md has it byte by byte.
#ifndef TAVOMEND_DIFF_DIFFERENCE_HEADER_H
#define TAVOMEND_DIFF_DIFFERENCE_HEADER_H

#include <string>

#include "diff/difference_file.h"
#include "diff/difference_limits.h"
#include "diff/difference_result.h"
#include "diff/extra_reader.h"
#include "handles/sha256.h"

namespace ORVX::Difference {
struct DifferenceHeader {
    uint8_t version = DIFFERENCE_VERSION_MIN;
    uint16_t zlibVersion = 0; // of the maker
    uint32_t baseSize = 0;
    Handles::Sha256Digest baseDigest{};
    uint32_t outputSize = 0;
    Handles::Sha256Digest outputDigest{};
    uint32_t windowSize = 0; // most inflated old content that is needed at a time
    uint32_t modelSize = 0;  // bytes of the model-coded part
    uint32_t extraSize = 0;  // bytes of the LZMA part
    std::array<uint8_t, EXTRA_PROPERTIES_SIZE> extraProperties{};
};

constexpr size_t DIFFERENCE_HEADER_SIZE = 99;
constexpr size_t DIFFERENCE_CHECKSUM_SIZE = 4;

[[nodiscard]] bool IsArchiveDifference(ByteView difference);
// Takes the fields out of a difference that is large enough to have them; checks nothing.
void ReadDifferenceFields(ByteView difference, DifferenceHeader& header);
// Checks everything that can be told from the difference alone: its checksum, its version, and each size against what
// is there or allowed.
[[nodiscard]] DifferenceResult ParseDifferenceHeader(ByteView difference, DifferenceHeader& header);
// The same; DIFFERENCE_UNREADABLE when the file cannot be read to its end.
[[nodiscard]] DifferenceResult ParseDifferenceHeader(DifferenceFile& file, DifferenceHeader& header);
// The whole difference: header, the two parts, and the checksum over them. The parts' sizes are filled in.
[[nodiscard]] std::string AssembleDifference(DifferenceHeader header, const std::string& model,
                                             const std::string& extra);
} // namespace ORVX::Difference

#endif
