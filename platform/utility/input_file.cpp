#include "platform/utility/input_file.h"

#include <cerrno>
#include <fcntl.h>

#include "platform/utility/file_layer.h"

namespace ORVX::TavomendEngine {
namespace {
FileLayer& Layer()
{
    return FileLayer::GetInstance();
}
} // namespace

InputFile::InputFile(const std::string& path)
    : file_(Layer().Open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC, 0)) // not to wait at a pipe that nobody writes to
{
    struct stat status {};
    if (file_ >= 0 && Layer().Fstat(file_, status) == 0 && S_ISREG(status.st_mode)) {
        isValid_ = true;
        size_ = static_cast<uint64_t>(status.st_size);
    }
}

InputFile::~InputFile()
{
    if (file_ >= 0) {
        Layer().Close(file_);
    }
}

bool InputFile::ReadAt(uint64_t at, char* room, size_t size) const
{
    while (size > 0) {
        const ssize_t count = Layer().ReadAt(file_, room, size, static_cast<off_t>(at));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        at += static_cast<size_t>(count);
        room += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}
} // namespace ORVX::TavomendEngine
