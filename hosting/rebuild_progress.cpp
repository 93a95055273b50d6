#include "hosting/rebuild_progress.h"

#include "formats/patch_paths.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
RebuildProgress::RebuildProgress(const IDevicePort& port, const PackageFacts& facts, int32_t runningStage,
                                 IHostObserver& observer)
    : port_(port), observer_(observer)
{
    const std::string type =
        runningStage == TavomendEngine::RUNNING_STAGE_INIT ? Formats::PATCH_TYPE_COLD : Formats::PATCH_TYPE_HOT;
    for (const auto& app : facts.apps) {
        if (app.appPatchType != type) {
            continue;
        }
        ++total_;
        for (size_t i = 0; i < app.diffPaths.size(); ++i) {
            owners_[Formats::ProductPathOf(app, i)] = app.bundleName;
        }
    }
    port_.WatchRebuilds(
        [this](const std::string& product, uint64_t done, uint64_t size) { Tell(product, done, size); });
}

RebuildProgress::~RebuildProgress()
{
    port_.WatchRebuilds(nullptr);
    if (begun_ > 0) {
        observer_.OnRebuildsDone(current_, total_);
    }
}

void RebuildProgress::Tell(const std::string& product, uint64_t done, uint64_t size)
{
    const auto owner = owners_.find(product);
    if (owner == owners_.end()) {
        return;
    }
    if (owner->second != current_) {
        current_ = owner->second;
        observer_.OnRebuilding(current_, ++begun_, total_);
    }
    if (size != 0) {
        observer_.OnRebuilt(product, done, size);
    }
}
} // namespace ORVX::TavomendHosting
