#include "diff/difference_applier.h"

#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "diff/archive_difference.h"
#include "diff/difference_header.h"
#include "diff/loaded_file.h"
#include "diff/plain_difference.h"
#include "handles/place.h"

namespace ORVX::Difference {
namespace {
bool IsSameFile(const struct stat& status, const std::string& path)
{
    struct stat other {};
    return stat(path.c_str(), &other) == 0 && other.st_dev == status.st_dev && other.st_ino == status.st_ino;
}

// What an earlier run left under the output's path must not pass for the outcome of this one.
DifferenceResult ClearOutput(const std::string& differencePath, const std::string& oldPath, const std::string& newPath)
{
    struct stat status {};
    if (lstat(newPath.c_str(), &status) != 0) {
        return DIFFERENCE_OK;
    }
    if (IsSameFile(status, oldPath) || IsSameFile(status, differencePath)) {
        return DIFFERENCE_OUTPUT_IS_INPUT;
    }
    const bool isRemovable = S_ISREG(status.st_mode) || S_ISLNK(status.st_mode);
    const Handles::Place place(newPath);
    return isRemovable && place.IsThere() && unlinkat(place.Directory(), place.Name(), 0) == 0
               ? DIFFERENCE_OK
               : DIFFERENCE_OUTPUT_UNWRITABLE;
}

DifferenceResult Apply(const std::string& differencePath, const std::string& oldPath, const std::string& newPath,
                       const ApplyProgress& progress, size_t waitingMax)
{
    const DifferenceResult cleared = ClearOutput(differencePath, oldPath, newPath);
    if (cleared != DIFFERENCE_OK) {
        return cleared;
    }
    const std::optional<LoadedFile> base = LoadedFile::Read(oldPath);
    if (!base.has_value()) {
        return DIFFERENCE_BASE_UNREADABLE;
    }
    std::optional<DifferenceFile> difference = DifferenceFile::Open(differencePath);
    if (!difference.has_value()) {
        return DIFFERENCE_UNREADABLE;
    }
    const std::vector<uint8_t> head = difference->Read(0, DIFFERENCE_HEADER_SIZE);
    if (IsArchiveDifference({head.data(), head.size()})) {
        return ApplyArchiveDifference(*difference, base->View(), newPath, progress, waitingMax);
    }
    const std::optional<LoadedFile> frame = LoadedFile::Read(differencePath);
    if (!frame.has_value() || difference->HasFailed()) {
        return DIFFERENCE_UNREADABLE;
    }
    return IsPlainDifference(frame->View()) ? ApplyPlainDifference(frame->View(), base->View(), newPath, progress)
                                            : DIFFERENCE_FORMAT_UNKNOWN;
}
} // namespace

DifferenceResult ApplyDifference(const std::string& differencePath, const std::string& oldPath,
                                 const std::string& newPath, const ApplyProgress& progress, size_t waitingMax)
{
    try {
        return Apply(
            differencePath, oldPath, newPath, progress ? progress : [](uint64_t, uint64_t) {}, waitingMax);
    } catch (const std::bad_alloc&) {
        return DIFFERENCE_NO_MEMORY;
    }
}
} // namespace ORVX::Difference
