#include "diff/plain_difference.h"

#include <cstring>
#include <zstd.h>
#include <zstd_errors.h>

#include "diff/difference_limits.h"
#include "diff/difference_output.h"

namespace ORVX::Difference {
namespace {
constexpr uint8_t FRAME_MAGIC[] = {0x28, 0xB5, 0x2F, 0xFD};
constexpr size_t DESCRIPTOR_OFFSET = sizeof(FRAME_MAGIC);
constexpr uint8_t DESCRIPTOR_CHECKSUM_BIT = 0x04;
constexpr uint64_t BLOCK_CONTENT_MAX = uint64_t{128} << 10;
constexpr uint64_t BLOCK_BYTES_MIN = 3;

struct ContextDeleter {
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

DifferenceResult CheckFrame(ByteView difference, uint64_t& contentSize)
{
    if (difference.size <= DESCRIPTOR_OFFSET) {
        return DIFFERENCE_DAMAGED;
    }
    if ((difference.data[DESCRIPTOR_OFFSET] & DESCRIPTOR_CHECKSUM_BIT) == 0) {
        return DIFFERENCE_NO_CHECKSUM;
    }
    contentSize = ZSTD_getFrameContentSize(difference.data, difference.size);
    if (contentSize == ZSTD_CONTENTSIZE_ERROR) {
        return DIFFERENCE_DAMAGED;
    }
    if (contentSize == ZSTD_CONTENTSIZE_UNKNOWN) {
        return DIFFERENCE_SIZE_UNKNOWN;
    }
    const size_t frameSize = ZSTD_findFrameCompressedSize(difference.data, difference.size);
    if (ZSTD_isError(frameSize) != 0) {
        return DIFFERENCE_DAMAGED;
    }
    if (frameSize != difference.size) {
        return DIFFERENCE_TRAILING_BYTES;
    }
    // No frame of this length has room for more blocks.
    const uint64_t reachable = difference.size / BLOCK_BYTES_MIN * BLOCK_CONTENT_MAX;
    return contentSize > DIFFERENCE_OUTPUT_SIZE_MAX || contentSize > reachable ? DIFFERENCE_TOO_LARGE : DIFFERENCE_OK;
}

// One single-shot call: it writes straight into the output, where streaming would keep a window of the output's size
// in memory. Single-shot decoding knows no limit of the window, so that there is none to raise.
DifferenceResult Decode(ByteView difference, ByteView base, uint8_t* output, uint64_t contentSize)
{
    const std::unique_ptr<ZSTD_DCtx, ContextDeleter> context(ZSTD_createDCtx());
    if (context == nullptr || ZSTD_isError(ZSTD_DCtx_refPrefix(context.get(), base.data, base.size)) != 0) {
        return DIFFERENCE_NO_MEMORY;
    }
    const size_t written = ZSTD_decompressDCtx(context.get(), output, contentSize, difference.data, difference.size);
    if (ZSTD_isError(written) != 0) {
        return ZSTD_getErrorCode(written) == ZSTD_error_memory_allocation ? DIFFERENCE_NO_MEMORY : DIFFERENCE_MISMATCH;
    }
    return written == contentSize ? DIFFERENCE_OK : DIFFERENCE_MISMATCH;
}
} // namespace

bool IsPlainDifference(ByteView difference)
{
    return difference.size >= sizeof(FRAME_MAGIC) &&
           std::memcmp(difference.data, FRAME_MAGIC, sizeof(FRAME_MAGIC)) == 0;
}

DifferenceResult ApplyPlainDifference(ByteView difference, ByteView base, const std::string& outputPath,
                                      const ApplyProgress& progress)
{
    uint64_t contentSize = 0;
    DifferenceResult result = CheckFrame(difference, contentSize);
    if (result != DIFFERENCE_OK) {
        return result;
    }
    const std::unique_ptr<DifferenceOutput> output = DifferenceOutput::Create(outputPath, contentSize, result);
    if (output == nullptr) {
        return result;
    }
    uint8_t* const memory = output->Map();
    if (memory == nullptr && contentSize != 0) {
        return DIFFERENCE_OUTPUT_UNWRITABLE;
    }
    progress(0, contentSize);
    result = Decode(difference, base, memory, contentSize);
    if (result != DIFFERENCE_OK) {
        return result;
    }
    progress(contentSize, contentSize);
    return output->Keep() ? DIFFERENCE_OK : DIFFERENCE_OUTPUT_UNWRITABLE;
}
} // namespace ORVX::Difference
