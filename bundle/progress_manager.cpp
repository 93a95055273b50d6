#include "bundle/progress_manager.h"

#include "common/log.h"

namespace ORVX::TavomendEngine {
void ProgressManager::SetTotal(int32_t total)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    total_ = total;
}

void ProgressManager::AddInstalled()
{
    int32_t before = 0;
    int32_t total = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        before = installed_++;
        total = total_;
    }
    const int32_t installed = before + 1;
    const auto client = progressCallback_.Get();
    if (before < total && client != nullptr) {
        client->OnProgressChanged(installed, total);
    }
    TAVOMEND_LOG_I("installed: %{public}d, total: %{public}d", installed, total);
}
} // namespace ORVX::TavomendEngine
