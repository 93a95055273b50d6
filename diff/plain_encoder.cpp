#include "diff/plain_encoder.h"

#include <algorithm>
#include <memory>
#include <zstd.h>
#include <zstd_errors.h>

namespace ORVX::Difference {
namespace {
constexpr int LEVEL = 19;
constexpr int QUICK_LEVEL = 12;
constexpr int WINDOW_LOG_MAX = 31;
// Bytes of a frame that belong to no block.
constexpr size_t FRAME_ENDS_MAX = 64;

struct ContextDeleter {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};

// Both files must lie within the window, or the old one is out of reach.
int WindowLog(size_t size)
{
    int log = ZSTD_cParam_getBounds(ZSTD_c_windowLog).lowerBound;
    while (log < WINDOW_LOG_MAX && size_t{1} << log <= size) {
        ++log;
    }
    return log;
}

// With a block's room to spare, no block of a frame that is small enough is made otherwise for want of room.
size_t RoomFor(size_t contentSize, size_t enough)
{
    const size_t spare = ZSTD_compressBound(ZSTD_BLOCKSIZE_MAX) + FRAME_ENDS_MAX;
    const size_t whole = ZSTD_compressBound(contentSize);
    return enough < whole - std::min(whole, spare) ? enough + spare : whole;
}
} // namespace

PlainAttempt MakePlainDifference(ByteView old, ByteView fresh, PlainWay way, size_t enough)
{
    const std::unique_ptr<ZSTD_CCtx, ContextDeleter> context(ZSTD_createCCtx());
    const std::pair<ZSTD_cParameter, int> parameters[] = {
        {ZSTD_c_compressionLevel, way == PlainWay::QUICK ? QUICK_LEVEL : LEVEL},
        {ZSTD_c_windowLog, WindowLog(std::max(old.size, fresh.size))},
        {ZSTD_c_enableLongDistanceMatching, 1},
        {ZSTD_c_checksumFlag, 1},
        {ZSTD_c_contentSizeFlag, 1},
        {ZSTD_c_nbWorkers, way == PlainWay::WORKER ? 1 : 0},
    };
    for (const auto& [parameter, value] : parameters) {
        if (context == nullptr || ZSTD_isError(ZSTD_CCtx_setParameter(context.get(), parameter, value)) != 0) {
            return {};
        }
    }
    if (old.size != 0 && ZSTD_isError(ZSTD_CCtx_refPrefix(context.get(), old.data, old.size)) != 0) {
        return {};
    }
    std::string text(RoomFor(fresh.size, enough), '\0');
    const size_t size = ZSTD_compress2(context.get(), text.data(), text.size(), fresh.data, fresh.size);
    if (ZSTD_isError(size) != 0) {
        return {std::nullopt, ZSTD_getErrorCode(size) == ZSTD_error_dstSize_tooSmall};
    }
    text.resize(size);
    return {std::move(text), false};
}
} // namespace ORVX::Difference
