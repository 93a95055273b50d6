#include "bundle/progress_manager.h"

#include "common/log.h"

namespace ORVX::TavomendEngine {
void ProgressManager::SetTotal(int32_t total)
{
    total_ = total;
}

void ProgressManager::AddInstalled()
{
    const int32_t before = installed_++;
    if (before < total_ && progressCallback_ != nullptr) {
        progressCallback_->OnProgressChanged(installed_, total_);
    }
    TAVOMEND_LOG_I("installed: %{public}d, total: %{public}d", installed_, total_);
}
} // namespace ORVX::TavomendEngine
