#include "platform/utility/file_layer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace ORVX::TavomendEngine {
namespace {
struct DirCloser {
    void operator()(DIR* dir) const { closedir(dir); }
};

class RealFileLayer : public FileLayer {
public:
    int Open(const std::string& path, int flags, mode_t mode) override { return open(path.c_str(), flags, mode); }
    ssize_t Read(int file, void* room, size_t size) override { return read(file, room, size); }
    ssize_t Write(int file, const void* bytes, size_t size) override { return write(file, bytes, size); }
    int Fsync(int file) override { return fsync(file); }
    int Close(int file) override { return close(file); }
    int Fchmod(int file, mode_t mode) override { return fchmod(file, mode); }
    int Fstat(int file, struct stat& status) override { return fstat(file, &status); }
    int Stat(const std::string& path, struct stat& status) override { return stat(path.c_str(), &status); }
    int Lstat(const std::string& path, struct stat& status) override { return lstat(path.c_str(), &status); }
    int Statvfs(const std::string& path, struct statvfs& status) override { return statvfs(path.c_str(), &status); }
    int Lchown(const std::string& path, uid_t user, gid_t group) override { return lchown(path.c_str(), user, group); }
    int Rename(const std::string& from, const std::string& to) override { return rename(from.c_str(), to.c_str()); }
    int RenameNoReplace(const std::string& from, const std::string& to) override
    {
        return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    }
    int Unlink(const std::string& path) override { return unlink(path.c_str()); }
    int Mkdir(const std::string& path, mode_t mode) override { return mkdir(path.c_str(), mode); }
    int Rmdir(const std::string& path) override { return rmdir(path.c_str()); }
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
