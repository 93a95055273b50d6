// The difference library of a Linux host.
#include "platform/api/apply_patch.h"

#include "diff/difference_applier.h"
#include "ports/host/rebuild_watch.h"

namespace ORVX {
int ApplyPatch(const std::string& diffPath, const std::string& oldPath, const std::string& newPath)
{
    auto& watch = TavomendHost::RebuildWatch::GetInstance();
    watch.Tell(newPath, 0, 0);
    return Difference::ApplyDifference(diffPath, oldPath, newPath, [&watch, &newPath](uint64_t done, uint64_t total) {
        watch.Tell(newPath, done, total);
    });
}
} // namespace ORVX
