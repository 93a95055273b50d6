#include "platform/api/apply_patch.h"

#include "platform/host/diff/archive_patch.h"
#include "platform/host/diff/difference_header.h"
#include "platform/host/diff/mapped_file.h"
#include "platform/host/diff/patch_result.h"
#include "platform/host/diff/plain_patch.h"

#include <sys/stat.h>
#include <unistd.h>

namespace ORVX {
using namespace TavomendHost;

namespace {
bool IsSameFile(const struct stat& status, const std::string& path)
{
    struct stat other {};
    return stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev && other.st_ino == status.st_ino;
}

// What an earlier run left under the output's path must not pass for the outcome of this one.
PatchResult ClearOutput(const std::string& diffPath, const std::string& oldPath, const std::string& newPath)
{
    struct stat status {};
    if (lstat(newPath.c_str(), &status) != 0) {
        return PATCH_OK;
    }
    if (IsSameFile(status, oldPath) || IsSameFile(status, diffPath)) {
        return PATCH_OUTPUT_IS_INPUT;
    }
    const bool isRemovable = S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
    return isRemovable && unlink(newPath.c_str()) == 0 ? PATCH_OK : PATCH_OUTPUT_UNWRITABLE;
}

PatchResult Apply(const std::string& diffPath, const std::string& oldPath, const std::string& newPath)
{
    const PatchResult cleared = ClearOutput(diffPath, oldPath, newPath);
    if (cleared != PATCH_OK) {
        return cleared;
    }
    const std::optional<MappedFile> base = MappedFile::Open(oldPath);
    if (!base.has_value()) {
        return PATCH_BASE_UNREADABLE;
    }
    const std::optional<MappedFile> difference = MappedFile::Open(diffPath);
    if (!difference.has_value()) {
        return PATCH_DIFFERENCE_UNREADABLE;
    }
    if (IsPlainPatch(difference->View())) {
        return ApplyPlainPatch(difference->View(), base->View(), newPath);
    }
    if (IsArchivePatch(difference->View())) {
        return ApplyArchivePatch(difference->View(), base->View(), newPath);
    }
    return PATCH_FORMAT_UNKNOWN;
}
} // namespace

int ApplyPatch(const std::string& diffPath, const std::string& oldPath, const std::string& newPath)
{
    return Apply(diffPath, oldPath, newPath);
}
} // namespace ORVX
