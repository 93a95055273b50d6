#include "platform/host/diff/plain_patch.h"

#include "platform/host/diff/patch_limits.h"
#include "platform/host/diff/patch_output.h"

#include <cstring>
#include <zstd.h>
#include <zstd_errors.h>

namespace ORVX::TavomendHost {
namespace {
constexpr uint8_t FRAME_MAGIC[] = {0x28, 0xB5, 0x2F, 0xFD};
constexpr size_t DESCRIPTOR_OFFSET = sizeof(FRAME_MAGIC);
constexpr uint8_t DESCRIPTOR_CHECKSUM_BIT = 0x04;
constexpr uint64_t BLOCK_CONTENT_MAX = uint64_t{128} << 10;
constexpr uint64_t BLOCK_BYTES_MIN = 3;

struct ContextDeleter {
    void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
};

PatchResult CheckFrame(ByteView difference, uint64_t& contentSize)
{
    if (difference.size <= DESCRIPTOR_OFFSET) {
        return PATCH_DAMAGED;
    }
    if ((difference.data[DESCRIPTOR_OFFSET] & DESCRIPTOR_CHECKSUM_BIT) == 0) {
        return PATCH_NO_CHECKSUM;
    }
    contentSize = ZSTD_getFrameContentSize(difference.data, difference.size);
    if (contentSize == ZSTD_CONTENTSIZE_ERROR) {
        return PATCH_DAMAGED;
    }
    if (contentSize == ZSTD_CONTENTSIZE_UNKNOWN) {
        return PATCH_SIZE_UNKNOWN;
    }
    const size_t frameSize = ZSTD_findFrameCompressedSize(difference.data, difference.size);
    if (ZSTD_isError(frameSize) != 0) {
        return PATCH_DAMAGED;
    }
    if (frameSize != difference.size) {
        return PATCH_TRAILING_BYTES;
    }
    // No frame of this length has room for more blocks.
    const uint64_t reachable = difference.size / BLOCK_BYTES_MIN * BLOCK_CONTENT_MAX;
    return contentSize > PATCH_OUTPUT_SIZE_MAX || contentSize > reachable ? PATCH_TOO_LARGE : PATCH_OK;
}

// One single-shot call: it writes straight into the output, where streaming would keep a window of the output's size
// in memory. Single-shot decoding knows no limit of the window, so that there is none to raise.
PatchResult Decode(ByteView difference, ByteView base, uint8_t* output, uint64_t contentSize)
{
    const std::unique_ptr<ZSTD_DCtx, ContextDeleter> context(ZSTD_createDCtx());
    if (context == nullptr || ZSTD_isError(ZSTD_DCtx_refPrefix(context.get(), base.data, base.size)) != 0) {
        return PATCH_NO_MEMORY;
    }
    const size_t written = ZSTD_decompressDCtx(context.get(), output, contentSize, difference.data, difference.size);
    if (ZSTD_isError(written) != 0) {
        return ZSTD_getErrorCode(written) == ZSTD_error_memory_allocation ? PATCH_NO_MEMORY : PATCH_MISMATCH;
    }
    return written == contentSize ? PATCH_OK : PATCH_MISMATCH;
}
} // namespace

bool IsPlainPatch(ByteView difference)
{
    return difference.size >= sizeof(FRAME_MAGIC) &&
           std::memcmp(difference.data, FRAME_MAGIC, sizeof(FRAME_MAGIC)) == 0;
}

PatchResult ApplyPlainPatch(ByteView difference, ByteView base, const std::string& outputPath)
{
    uint64_t contentSize = 0;
    PatchResult result = CheckFrame(difference, contentSize);
    if (result != PATCH_OK) {
        return result;
    }
    const std::unique_ptr<PatchOutput> output = PatchOutput::Create(outputPath, contentSize, result);
    if (output == nullptr) {
        return result;
    }
    uint8_t* const memory = output->Map();
    if (memory == nullptr && contentSize != 0) {
        return PATCH_OUTPUT_UNWRITABLE;
    }
    result = Decode(difference, base, memory, contentSize);
    if (result != PATCH_OK) {
        return result;
    }
    return output->Keep() ? PATCH_OK : PATCH_OUTPUT_UNWRITABLE;
}
} // namespace ORVX::TavomendHost
