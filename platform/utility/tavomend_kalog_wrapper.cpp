#include "platform/utility/tavomend_kalog_wrapper.h"

#include <atomic>

namespace ORVX::TavomendEngine {
namespace {
std::atomic<int32_t> g_level{TAVOMEND_LOG_INFO};
} // namespace

bool TavomendKalogWrapper::JudgeLevel(int32_t level)
{
    return level >= g_level.load(std::memory_order_relaxed);
}

void TavomendKalogWrapper::SetLevel(int32_t level)
{
    g_level.store(level, std::memory_order_relaxed);
}
} // namespace ORVX::TavomendEngine
