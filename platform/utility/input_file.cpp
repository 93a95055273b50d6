#include "platform/utility/input_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <linux/magic.h>
#include <sys/vfs.h>

#include "handles/read_lease.h"
#include "platform/utility/file_layer.h"

namespace ORVX::TavomendEngine {
namespace {
FileLayer& Layer()
{
    return FileLayer::GetInstance();
}

// Their files change by writers on this machine alone, who all need a descriptor.
bool IsOnLocalFileSystem(int file)
{
    constexpr unsigned KNOWN[] = {EXT4_SUPER_MAGIC, F2FS_SUPER_MAGIC, XFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC, TMPFS_MAGIC};
    struct statfs status {};
    return fstatfs(file, &status) == 0 &&
           std::find(std::begin(KNOWN), std::end(KNOWN), static_cast<unsigned>(status.f_type)) != std::end(KNOWN);
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

bool InputFile::Hold()
{
    if (!IsOnLocalFileSystem(file_) || !Handles::TakeReadLease(file_)) {
        return false;
    }
    struct stat status {};
    if (Layer().Fstat(file_, status) == 0 && static_cast<uint64_t>(status.st_size) == size_) {
        return true;
    }
    static_cast<void>(Handles::GiveReadLeaseBack(file_));
    return false;
}

bool InputFile::IsHeld() const
{
    return Handles::HasReadLease(file_);
}

bool InputFile::Release()
{
    return Handles::GiveReadLeaseBack(file_);
}

Handles::FilePages InputFile::Map(uint64_t at, size_t size) const
{
    return Layer().Map(file_, size, static_cast<off_t>(at));
}
} // namespace ORVX::TavomendEngine
