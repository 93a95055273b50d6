// The system calls by which FileUtils touches files, behind one interface, so that a test can stand between.
#ifndef TAVOMEND_PLATFORM_UTILITY_FILE_LAYER_H
#define TAVOMEND_PLATFORM_UTILITY_FILE_LAYER_H

#include <string>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <vector>

#include "handles/file_pages.h"

namespace ORVX::TavomendEngine {
// Each operation is the call of its name: it gives the call's result, -1 with the reason in errno after a failure, and
// nothing has changed then that the call itself would not have changed. None repeats what was interrupted, finishes
// what was cut short, or throws. Safe from any thread, as the calls are.
//
// What changes a name or a file, or is told not to follow links (O_NOFOLLOW), does not go through a planted link
// either: below the guarded directories no link on the way is followed (handles/place.h), and the call fails with
// ENOTDIR.
//
// Used by FileUtils, InputFile and OutputFile alone; what else touches files in the platform library goes through
// these.
class FileLayer {
public:
    FileLayer() = default;
    FileLayer(const FileLayer&) = delete;
    FileLayer& operator=(const FileLayer&) = delete;
    virtual ~FileLayer() = default;

    // The layer in force: the real one, unless a test has put another in its place.
    [[nodiscard]] static FileLayer& GetInstance();
    // The system's own calls.
    [[nodiscard]] static FileLayer& GetReal();
    // For tests. Puts a layer in force; null brings the real one back. The layer must outlive its time in force, and
    // no operation of FileUtils may be under way.
    static void SetInstance(FileLayer* layer);

    virtual int Open(const std::string& path, int flags, mode_t mode) = 0;
    virtual ssize_t Read(int file, void* room, size_t size) = 0;
    // pread(2).
    virtual ssize_t ReadAt(int file, void* room, size_t size, off_t at) = 0;
    // mmap(2), for reading, and mlock(2); not valid where one of them failed.
    virtual Handles::FilePages Map(int file, size_t size, off_t at) = 0;
    virtual ssize_t Write(int file, const void* bytes, size_t size) = 0;
    // copy_file_range(2) from one descriptor's place to the other's.
    virtual ssize_t CopyRange(int from, int to, size_t size) = 0;
    virtual int Fsync(int file) = 0;
    // The descriptor is gone whatever the result is.
    virtual int Close(int file) = 0;
    virtual int Fchmod(int file, mode_t mode) = 0;
    virtual int Fstat(int file, struct stat& status) = 0;
    // Follows links.
    virtual int Stat(const std::string& path, struct stat& status) = 0;
    virtual int Lstat(const std::string& path, struct stat& status) = 0;
    virtual int Statvfs(const std::string& path, struct statvfs& status) = 0;
    virtual int Lchown(const std::string& path, uid_t user, gid_t group) = 0;
    // Replaces what is there under the new name.
    virtual int Rename(const std::string& from, const std::string& to) = 0;
    // renameat2 with RENAME_NOREPLACE: EEXIST when there is something under the new name.
    virtual int RenameNoReplace(const std::string& from, const std::string& to) = 0;
    virtual int Unlink(const std::string& path) = 0;
    virtual int Mkdir(const std::string& path, mode_t mode) = 0;
    virtual int Rmdir(const std::string& path) = 0;
    // The names in a directory, in order, without "." and ".."; opendir to closedir in one. 0, or -1 and no names.
    virtual int ListDir(const std::string& path, std::vector<std::string>& names) = 0;
};
} // namespace ORVX::TavomendEngine

#endif
