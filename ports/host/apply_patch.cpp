// The difference library of a Linux host.
#include "platform/api/apply_patch.h"

#include "diff/difference_applier.h"
#include "ports/host/rebuild_watch.h"

namespace ORVX {
int ApplyPatch(const std::string& diffPath, const std::string& oldPath, const std::string& newPath)
{
    TavomendHost::RebuildWatch::GetInstance().Tell(newPath);
    return Difference::ApplyDifference(diffPath, oldPath, newPath);
}
} // namespace ORVX
