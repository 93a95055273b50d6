#include "diff/plain_encoder.h"

#include <algorithm>
#include <memory>
#include <zstd.h>
#include <zstd_errors.h>

namespace ORVX::Difference {
namespace {
constexpr int LEVEL = 19;
constexpr int QUICK_LEVEL = 12;
// With the level's own tables it would lose sight of the old file after 4 MiB, where level 19 still sees much of it.
constexpr int QUICK_TABLES_LOG_MIN = 17;
constexpr int QUICK_TABLES_LOG_MAX = 25;
constexpr int WINDOW_LOG_MAX = 31;
// Bytes of a frame that belong to no block.
constexpr size_t FRAME_ENDS_MAX = 64;

struct ContextDeleter {
    void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};

int LogOf(size_t size, int least, int most)
{
    int log = least;
    while (log < most && size_t{1} << log <= size) {
        ++log;
    }
    return log;
}

// Both files must lie within the window, or the old one is out of reach.
int WindowLog(size_t size)
{
    return LogOf(size, ZSTD_cParam_getBounds(ZSTD_c_windowLog).lowerBound, WINDOW_LOG_MAX);
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
    const bool isQuick = way == PlainWay::QUICK;
    // 0: the level's own.
    const int tablesLog = isQuick ? LogOf(old.size + fresh.size, QUICK_TABLES_LOG_MIN, QUICK_TABLES_LOG_MAX) : 0;
    const std::pair<ZSTD_cParameter, int> parameters[] = {
        {ZSTD_c_compressionLevel, isQuick ? QUICK_LEVEL : LEVEL},
        {ZSTD_c_windowLog, WindowLog(std::max(old.size, fresh.size))},
        {ZSTD_c_hashLog, tablesLog},
        {ZSTD_c_chainLog, tablesLog},
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
