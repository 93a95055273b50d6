#include "platform/utility/output_file.h"

#include <cerrno>
#include <fcntl.h>
#include <utility>

#include "platform/utility/file_layer.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t COPY_PIECE = 64 * 1024;

FileLayer& Layer()
{
    return FileLayer::GetInstance();
}

int Create(const std::string& path, mode_t mode)
{
    const auto open = [&] { return Layer().Open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode); };
    const int file = open();
    const bool isInTheWay = file < 0 && errno == EEXIST;
    return isInTheWay && Layer().Unlink(path) == 0 ? open() : file;
}
} // namespace

OutputFile::OutputFile(const std::string& path, mode_t mode) : file_(Create(path, mode))
{
    if (IsValid()) {
        FileUtils::GiveAwayInInitStage(path);
    }
}

OutputFile::~OutputFile()
{
    Close();
}

bool OutputFile::Write(const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t count = Layer().Write(file_, data, size);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        data += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

OutputFile::Copy OutputFile::CopyRest(int source, const std::function<void(size_t piece)>& told)
{
    bool isBegun = false;
    ssize_t count = 0;
    do {
        count = Layer().CopyRange(source, file_, COPY_PIECE);
        if (count > 0) {
            isBegun = true;
            told(static_cast<size_t>(count));
        }
    } while (count > 0 || (count < 0 && errno == EINTR));
    if (isBegun) {
        return count == 0 ? Copy::DONE : Copy::FAILED;
    }
    // Nothing at all may also come from a file that has no size of its own.
    const bool isRefused = errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return count == 0 || isRefused ? Copy::NOT_POSSIBLE : Copy::FAILED;
}

bool OutputFile::SetMode(mode_t mode)
{
    return Layer().Fchmod(file_, mode) == 0;
}

bool OutputFile::Flush()
{
    return Layer().Fsync(file_) == 0;
}

bool OutputFile::Close()
{
    return file_ >= 0 && Layer().Close(std::exchange(file_, -1)) == 0;
}
} // namespace ORVX::TavomendEngine
