#include "platform/utility/file_utils.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <pwd.h>
#include <vector>

#include "handles/file.h"
#include "platform/utility/file_layer.h"
#include "platform/utility/output_file.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int64_t KIB = 1024;
constexpr size_t COPY_CHUNK_SIZE = 64 * 1024;
constexpr mode_t DIR_MODE = 0755;
constexpr mode_t MODE_MASK = 07777;
constexpr const char* OWNER_ACCOUNT = "tavomend";

FileLayer& Layer()
{
    return FileLayer::GetInstance();
}

// Owner of a descriptor that the layer gave.
class LayerFile {
public:
    LayerFile(const std::string& path, int flags, mode_t mode = 0) : file_(Layer().Open(path, flags | O_CLOEXEC, mode))
    {
    }
    LayerFile(const LayerFile&) = delete;
    LayerFile& operator=(const LayerFile&) = delete;
    ~LayerFile()
    {
        if (IsValid()) {
            Layer().Close(file_);
        }
    }

    [[nodiscard]] bool IsValid() const { return file_ >= 0; }
    [[nodiscard]] int Get() const { return file_; }

private:
    const int file_;
};

std::string ParentOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The number of bytes read, 0 at the end, negative after a failure.
ssize_t ReadSome(int file, char* room, size_t size)
{
    ssize_t count = 0;
    do {
        count = Layer().Read(file, room, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool CopyAll(int source, OutputFile& target, const FileUtils::Copied& copied)
{
    uint64_t done = 0;
    const auto tell = [&done, &copied](size_t piece) {
        done += piece;
        if (copied) {
            copied(done);
        }
    };
    const auto outcome = target.CopyRest(source, tell);
    if (outcome != OutputFile::Copy::NOT_POSSIBLE) {
        return outcome == OutputFile::Copy::DONE;
    }
    std::array<char, COPY_CHUNK_SIZE> buffer;
    ssize_t count = 0;
    while ((count = ReadSome(source, buffer.data(), buffer.size())) > 0) {
        if (!target.Write(buffer.data(), static_cast<size_t>(count))) {
            return false;
        }
        tell(static_cast<size_t>(count));
    }
    return count == 0;
}

// An exception when there is no memory. What is no regular file has no content: its size is 0, or reading fails.
bool ReadWhole(const std::string& path, size_t sizeMax, std::string& content)
{
    const LayerFile file(path, O_RDONLY | O_NONBLOCK); // not to wait at a pipe that nobody writes to
    struct stat status {};
    if (!file.IsValid() || Layer().Fstat(file.Get(), status) != 0 || static_cast<size_t>(status.st_size) > sizeMax) {
        return false;
    }
    const auto size = static_cast<size_t>(status.st_size);
    content.resize(size);
    for (size_t done = 0; done < size;) {
        const ssize_t count = ReadSome(file.Get(), content.data() + done, size - done);
        if (count <= 0) {
            return false;
        }
        done += static_cast<size_t>(count);
    }
    return true;
}

// Calls visit with the path behind the directory and the status of everything below it, directories before what is in
// them. False when anything could not be read or a visit said so; the rest is visited all the same.
using Visit = std::function<bool(const std::string& path, const struct stat& status)>;
bool VisitTree(const std::string& root, const std::string& below, const Visit& visit)
{
    std::vector<std::string> names;
    bool isWhole = Layer().ListDir(root + below, names) == 0;
    for (const std::string& name : names) {
        std::string path = below;
        path.append("/").append(name);
        struct stat status {};
        const bool isVisited = Layer().Lstat(root + path, status) == 0 && visit(path, status);
        isWhole = isVisited && (!S_ISDIR(status.st_mode) || VisitTree(root, path, visit)) && isWhole;
    }
    return isWhole;
}

// What errno says after a failed lstat.
bool IsNothingThere()
{
    return errno == ENOENT || errno == ENOTDIR;
}

bool RemoveTree(const std::string& path, const struct stat& status);

// Goes on after a failure: what can be removed goes.
bool RemoveContent(const std::string& path)
{
    std::vector<std::string> names;
    bool isEmpty = Layer().ListDir(path, names) == 0;
    for (const std::string& name : names) {
        std::string entry = path;
        entry.append("/").append(name);
        struct stat status {};
        const bool isThere = Layer().Lstat(entry, status) == 0;
        isEmpty = (isThere ? RemoveTree(entry, status) : IsNothingThere()) && isEmpty;
    }
    return isEmpty;
}

bool RemoveTree(const std::string& path, const struct stat& status)
{
    if (S_ISDIR(status.st_mode)) {
        return RemoveContent(path) && Layer().Rmdir(path) == 0;
    }
    return Layer().Unlink(path) == 0;
}
} // namespace

bool FileUtils::FileIsExist(const std::string& path)
{
    struct stat info {};
    return Layer().Stat(path, info) == 0 && S_ISREG(info.st_mode);
}

bool FileUtils::DirIsExist(const std::string& path)
{
    struct stat info {};
    return Layer().Stat(path, info) == 0 && S_ISDIR(info.st_mode);
}

int64_t FileUtils::GetFileSize(const std::string& path, Unit unit)
{
    struct stat info {};
    if (Layer().Stat(path, info) != 0 || !S_ISREG(info.st_mode)) {
        return -1;
    }
    return unit == Unit::BYTE ? info.st_size : (info.st_size + KIB - 1) / KIB;
}

bool FileUtils::IsValidPath(const std::string& path)
{
    return !path.empty() && path.front() == '/' && path.find('\0') == std::string::npos &&
           (path + "/").find("/../") == std::string::npos;
}

bool FileUtils::GetDirSize(const std::string& path, uint64_t& size)
{
    uint64_t bytes = 0;
    const bool isWhole = VisitTree(path, "", [&bytes](const std::string& /*path*/, const struct stat& status) {
        bytes += S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
        return true;
    });
    if (isWhole) {
        size = (bytes + static_cast<uint64_t>(KIB) - 1) / static_cast<uint64_t>(KIB);
    }
    return isWhole;
}

int32_t FileUtils::GetDiskFreeSpace(const std::string& path)
{
    struct statvfs info {};
    if (Layer().Statvfs(path, info) != 0) {
        return -1;
    }
    const uint64_t size = static_cast<uint64_t>(info.f_bavail) * (info.f_frsize / 512) / 2;
    return static_cast<int32_t>(std::min(size, static_cast<uint64_t>(INT32_MAX)));
}

bool FileUtils::CleanDir(const std::string& path, bool removeSelf)
{
    std::string target = path;
    while (target.size() > 1 && target.back() == '/') {
        target.pop_back();
    }
    struct stat status {};
    if (Layer().Lstat(target, status) != 0) {
        return IsNothingThere();
    }
    return S_ISDIR(status.st_mode) && !removeSelf ? RemoveContent(target) : RemoveTree(target, status);
}

bool FileUtils::RenameFile(const std::string& from, const std::string& to)
{
    return Layer().RenameNoReplace(from, to) == 0;
}

bool FileUtils::MoveFile(const std::string& from, const std::string& to)
{
    return Layer().Rename(from, to) == 0;
}

bool FileUtils::Remove(const std::string& path)
{
    struct stat status {};
    if (Layer().Lstat(path, status) != 0) {
        return false;
    }
    return (S_ISDIR(status.st_mode) ? Layer().Rmdir(path) : Layer().Unlink(path)) == 0;
}

bool FileUtils::SetMode(const std::string& path, uint32_t mode)
{
    const LayerFile file(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    return file.IsValid() && Layer().Fchmod(file.Get(), mode) == 0;
}

bool FileUtils::CopyDir(const std::string& source, const std::string& target)
{
    if (!DirIsExist(source) || !MakeDirs(target)) {
        return false;
    }
    return VisitTree(source, "", [&](const std::string& path, const struct stat& status) {
        if (S_ISDIR(status.st_mode)) {
            return MakeDirs(target + path);
        }
        struct stat there {};
        const bool isThere = Layer().Stat(target + path, there) == 0;
        return S_ISREG(status.st_mode) &&
               ((isThere && S_ISREG(there.st_mode)) ||
                (!isThere && errno == ENOENT &&
                 ReplaceFileByCopy(source + path, target + path, status.st_mode & MODE_MASK)));
    });
}

std::string FileUtils::GetFileStream(const std::string& path, size_t sizeMax)
{
    try {
        std::string content;
        return ReadWhole(path, sizeMax, content) ? std::move(content) : std::string();
    } catch (const std::exception&) {
        return {}; // a size that there is no memory for
    }
}

bool FileUtils::SetGidAndUidToTavomend(const std::string& path)
{
    // Not getpwnam: on a device root there is no name service to ask.
    std::string text = GetFileStream(ACCOUNT_FILE);
    const Handles::File accounts(fmemopen(text.data(), text.size(), "r"));
    if (accounts == nullptr) {
        return false;
    }
    std::array<char, 4096> buffer{};
    struct passwd entry {};
    struct passwd* found = nullptr;
    while (fgetpwent_r(accounts.get(), &entry, buffer.data(), buffer.size(), &found) == 0) {
        if (strcmp(entry.pw_name, OWNER_ACCOUNT) == 0) {
            return Layer().Lchown(path, entry.pw_uid, entry.pw_gid) == 0;
        }
    }
    return false;
}

void FileUtils::GiveAwayInInitStage(const std::string& path)
{
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        SetGidAndUidToTavomend(path);
    }
}

bool FileUtils::MakeDir(const std::string& path)
{
    if (Layer().Mkdir(path, DIR_MODE) != 0) {
        return false;
    }
    GiveAwayInInitStage(path);
    return true;
}

bool FileUtils::MakeDirs(const std::string& path)
{
    if (DirIsExist(path)) {
        return true;
    }
    const std::string parent = ParentOf(path);
    if (parent != path && !MakeDirs(parent)) {
        return false;
    }
    if (!MakeDir(path)) {
        if (errno != EEXIST || DirIsExist(path)) {
            return errno == EEXIST;
        }
        errno = ENOTDIR; // says more than that something is there
        return false;
    }
    if (!SyncDir(parent)) {
        static_cast<void>(Layer().Rmdir(path)); // or the next call would take its name for flushed
        return false;
    }
    return true;
}

bool FileUtils::ReplaceFileWith(const std::string& path, uint32_t mode,
                                const std::function<bool(OutputFile& file)>& write)
{
    const std::string dir = ParentOf(path);
    if (!FileUtils::MakeDirs(dir)) {
        return false;
    }
    const std::string beside = path + ".new";
    OutputFile file(beside, mode);
    const bool isWritten = file.IsValid() && file.SetMode(mode) && write(file) && file.Flush();
    if (!file.Close() || !isWritten || Layer().Rename(beside, path) != 0) {
        const int reason = errno;
        static_cast<void>(Layer().Unlink(beside));
        errno = reason;
        return false;
    }
    return SyncDir(dir);
}

bool FileUtils::ReplaceFile(const std::string& path, const std::string& content, uint32_t mode)
{
    return ReplaceFileWith(path, mode,
                           [&content](OutputFile& file) { return file.Write(content.data(), content.size()); });
}

bool FileUtils::ReplaceFileByCopy(const std::string& source, const std::string& target, uint32_t mode,
                                  const Copied& copied)
{
    const LayerFile in(source, O_RDONLY);
    return in.IsValid() &&
           ReplaceFileWith(target, mode, [&](OutputFile& file) { return CopyAll(in.Get(), file, copied); });
}

bool FileUtils::SyncDir(const std::string& path)
{
    const LayerFile dir(path, O_RDONLY | O_DIRECTORY);
    return dir.IsValid() && Layer().Fsync(dir.Get()) == 0;
}
} // namespace ORVX::TavomendEngine
