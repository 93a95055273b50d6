// Where a file can be held while it is read.
#ifndef TAVOMEND_TESTS_SUPPORT_HELD_FILES_H
#define TAVOMEND_TESTS_SUPPORT_HELD_FILES_H

#include <fcntl.h>
#include <linux/magic.h>
#include <string>
#include <sys/vfs.h>

#include "handles/unique_descriptor.h"

namespace ORVX::TavomendTest {
// Whether leases keep writers out of a file that nobody writes to, and say all about who changes it. A container's
// directories are laid over others, whose files somebody may write to.
inline bool CanBeHeld(const std::string& path)
{
    const Handles::UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct statfs status {};
    return fcntl(file.Get(), F_SETLEASE, F_RDLCK) == 0 && fstatfs(file.Get(), &status) == 0 &&
           (status.f_type == EXT4_SUPER_MAGIC || status.f_type == TMPFS_MAGIC || status.f_type == XFS_SUPER_MAGIC ||
            status.f_type == BTRFS_SUPER_MAGIC || status.f_type == F2FS_SUPER_MAGIC);
}
} // namespace ORVX::TavomendTest

#endif
