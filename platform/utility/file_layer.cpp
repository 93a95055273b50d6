#include "platform/utility/file_layer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

#include "handles/place.h"

namespace ORVX::TavomendEngine {
using Handles::Place;

namespace {
struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

class RealFileLayer : public FileLayer {
public:
    int Open(const std::string& path, int flags, mode_t mode) override
    {
        if ((flags & (O_ACCMODE | O_CREAT | O_NOFOLLOW)) == 0) {
            return open(path.c_str(), flags, mode);
        }
        const Place place(path);
        return place.IsThere() ? openat(place.Directory(), place.Name(), flags, mode) : -1;
    }
    ssize_t Read(int file, void* room, size_t size) override { return read(file, room, size); }
    ssize_t ReadAt(int file, void* room, size_t size, off_t at) override { return pread(file, room, size, at); }
    Handles::FilePages Map(int file, size_t size, off_t at) override { return {file, size, at}; }
    ssize_t Write(int file, const void* bytes, size_t size) override { return write(file, bytes, size); }
    ssize_t CopyRange(int from, int to, size_t size) override
    {
        return copy_file_range(from, nullptr, to, nullptr, size, 0);
    }
    int Fsync(int file) override { return fsync(file); }
    int Close(int file) override { return close(file); }
    int Fchmod(int file, mode_t mode) override { return fchmod(file, mode); }
    int Fstat(int file, struct stat& status) override { return fstat(file, &status); }
    int Stat(const std::string& path, struct stat& status) override { return stat(path.c_str(), &status); }
    int Lstat(const std::string& path, struct stat& status) override { return lstat(path.c_str(), &status); }
    int Statvfs(const std::string& path, struct statvfs& status) override { return statvfs(path.c_str(), &status); }
    int Lchown(const std::string& path, uid_t user, gid_t group) override
    {
        const Place place(path);
        return place.IsThere() ? fchownat(place.Directory(), place.Name(), user, group, AT_SYMLINK_NOFOLLOW) : -1;
    }
    int Rename(const std::string& from, const std::string& to) override { return Move(from, to, 0); }
    int RenameNoReplace(const std::string& from, const std::string& to) override
    {
        return Move(from, to, RENAME_NOREPLACE);
    }
    int Unlink(const std::string& path) override { return Remove(path, 0); }
    int Mkdir(const std::string& path, mode_t mode) override
    {
        const Place place(path);
        return place.IsThere() ? mkdirat(place.Directory(), place.Name(), mode) : -1;
    }
    int Rmdir(const std::string& path) override { return Remove(path, AT_REMOVEDIR); }
    int ListDir(const std::string& path, std::vector<std::string>& names) override
    {
        names.clear();
        const std::unique_ptr<DIR, DirCloser> dir(opendir(path.c_str()));
        if (dir == nullptr) {
            return -1;
        }
        while (true) {
            errno = 0;
            const dirent* const entry = readdir(dir.get());
            if (entry == nullptr) {
                break;
            }
            const std::string name = entry->d_name;
            if (name != "." && name != "..") {
                names.push_back(name);
            }
        }
        if (errno != 0) {
            names.clear();
            return -1;
        }
        std::sort(names.begin(), names.end());
        return 0;
    }

private:
    static int Move(const std::string& from, const std::string& to, unsigned flags)
    {
        const Place source(from);
        const Place target(to);
        const bool areThere = source.IsThere() && target.IsThere();
        return areThere ? renameat2(source.Directory(), source.Name(), target.Directory(), target.Name(), flags) : -1;
    }
    static int Remove(const std::string& path, int flags)
    {
        const Place place(path);
        return place.IsThere() ? unlinkat(place.Directory(), place.Name(), flags) : -1;
    }
};

std::atomic<FileLayer*> g_instance{nullptr};
} // namespace

FileLayer& FileLayer::GetReal()
{
    // Never released: singletons that go at process end still log, and the log makes its directory.
    static auto* const real = new RealFileLayer;
    return *real;
}

FileLayer& FileLayer::GetInstance()
{
    FileLayer* const instance = g_instance.load();
    return instance != nullptr ? *instance : GetReal();
}

void FileLayer::SetInstance(FileLayer* layer)
{
    g_instance.store(layer);
}
} // namespace ORVX::TavomendEngine
