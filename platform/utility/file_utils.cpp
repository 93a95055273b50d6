#include "platform/utility/file_utils.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <vector>

#include "handles/file.h"
#include "handles/unique_descriptor.h"

namespace ORVX::TavomendEngine {
namespace fs = std::filesystem;
namespace {
constexpr int64_t KIB = 1024;
constexpr size_t COPY_CHUNK_SIZE = 64 * 1024;
constexpr const char* OWNER_ACCOUNT = "tavomend";

std::string ParentOf(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool WriteAll(int descriptor, const char* data, size_t size)
{
    while (size > 0) {
        const ssize_t count = write(descriptor, data, size);
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

bool CopyAll(int source, int target)
{
    std::vector<char> buffer(COPY_CHUNK_SIZE);
    while (true) {
        const ssize_t count = read(source, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return count == 0;
        }
        if (!WriteAll(target, buffer.data(), static_cast<size_t>(count))) {
            return false;
        }
    }
}

// Write beside, fsync, rename, fsync of the directory. What was written beside goes when any step fails.
bool ReplaceWith(const std::string& path, uint32_t mode, const std::function<bool(int)>& writeContent)
{
    const std::string dir = ParentOf(path);
    if (!FileUtils::MakeDirs(dir)) {
        return false;
    }
    const std::string beside = path + ".new";
    Handles::UniqueDescriptor file(open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode));
    bool isDone = file.IsValid() && fchmod(file.Get(), mode) == 0 && writeContent(file.Get()) && fsync(file.Get()) == 0;
    isDone = isDone && close(file.Release()) == 0 && rename(beside.c_str(), path.c_str()) == 0;
    if (!isDone) {
        unlink(beside.c_str());
        return false;
    }
    return FileUtils::SyncDir(dir);
}

bool CopyEntry(const fs::directory_entry& entry, const fs::path& target)
{
    std::error_code error;
    const fs::file_status status = entry.symlink_status(error);
    if (error) {
        return false;
    }
    if (fs::is_directory(status)) {
        return FileUtils::MakeDirs(target.string());
    }
    return fs::is_regular_file(status) &&
           FileUtils::ReplaceFileByCopy(entry.path().string(), target.string(),
                                        static_cast<uint32_t>(status.permissions() & fs::perms::mask));
}
} // namespace

bool FileUtils::FileIsExist(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool FileUtils::DirIsExist(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

int64_t FileUtils::GetFileSize(const std::string& path, Unit unit)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return -1;
    }
    return unit == Unit::BYTE ? info.st_size : (info.st_size + KIB - 1) / KIB;
}

bool FileUtils::IsValidPath(const std::string& path)
{
    if (path.empty() || path.front() != '/' || path.find('\0') != std::string::npos) {
        return false;
    }
    const fs::path parts(path);
    return std::find(parts.begin(), parts.end(), "..") == parts.end();
}

bool FileUtils::GetDirSize(const std::string& path, uint64_t& size)
{
    std::error_code error;
    if (!DirIsExist(path)) {
        return false;
    }
    uint64_t bytes = 0;
    for (fs::recursive_directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
        if (fs::is_regular_file(at->symlink_status(error))) {
            bytes += fs::file_size(at->path(), error);
        }
        if (error) {
            return false;
        }
    }
    if (error) {
        return false;
    }
    size = (bytes + static_cast<uint64_t>(KIB) - 1) / static_cast<uint64_t>(KIB);
    return true;
}

int32_t FileUtils::GetDiskFreeSpace(const std::string& path)
{
    struct statvfs info {};
    if (statvfs(path.c_str(), &info) != 0) {
        return -1;
    }
    const uint64_t size = static_cast<uint64_t>(info.f_bavail) * (info.f_frsize / 512) / 2;
    return static_cast<int32_t>(std::min(size, static_cast<uint64_t>(INT32_MAX)));
}

bool FileUtils::CleanDir(const std::string& path, bool removeSelf)
{
    std::error_code error;
    std::string target = path;
    while (target.size() > 1 && target.back() == '/') {
        target.pop_back();
    }
    const fs::file_status status = fs::symlink_status(target, error);
    if (status.type() == fs::file_type::not_found) {
        return true;
    }
    if (!fs::is_directory(status) || removeSelf) {
        fs::remove_all(target, error);
        return !error;
    }
    bool isEmpty = true;
    for (fs::directory_iterator at(target, error), end; !error && at != end; at.increment(error)) {
        std::error_code removal;
        fs::remove_all(at->path(), removal);
        isEmpty = isEmpty && !removal;
    }
    return isEmpty && !error;
}

bool FileUtils::RenameFile(const std::string& from, const std::string& to)
{
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

bool FileUtils::CopyDir(const std::string& source, const std::string& target)
{
    if (!DirIsExist(source) || !MakeDirs(target)) {
        return false;
    }
    std::error_code error;
    bool isWhole = true;
    for (fs::recursive_directory_iterator at(source, error), end; !error && at != end; at.increment(error)) {
        isWhole = CopyEntry(*at, fs::path(target) / at->path().lexically_relative(source)) && isWhole;
    }
    return isWhole && !error;
}

std::string FileUtils::GetFileStream(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string content;
    if (!FileIsExist(path) || !file.is_open()) {
        return content;
    }
    content.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return file.bad() ? std::string() : content;
}

bool FileUtils::SetGidAndUidToTavomend(const std::string& path)
{
    // Not getpwnam: on a device root there is no name service to ask.
    const Handles::File accounts(fopen("/etc/passwd", "re"));
    if (accounts == nullptr) {
        return false;
    }
    std::array<char, 4096> buffer{};
    struct passwd entry {};
    struct passwd* found = nullptr;
    while (fgetpwent_r(accounts.get(), &entry, buffer.data(), buffer.size(), &found) == 0) {
        if (strcmp(entry.pw_name, OWNER_ACCOUNT) == 0) {
            return lchown(path.c_str(), entry.pw_uid, entry.pw_gid) == 0;
        }
    }
    return false;
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
    return mkdir(path.c_str(), 0755) == 0 || (errno == EEXIST && DirIsExist(path));
}

bool FileUtils::ReplaceFile(const std::string& path, const std::string& content, uint32_t mode)
{
    return ReplaceWith(path, mode, [&content](int file) { return WriteAll(file, content.data(), content.size()); });
}

bool FileUtils::ReplaceFileByCopy(const std::string& source, const std::string& target, uint32_t mode)
{
    const Handles::UniqueDescriptor in(open(source.c_str(), O_RDONLY | O_CLOEXEC));
    return in.IsValid() && ReplaceWith(target, mode, [&in](int file) { return CopyAll(in.Get(), file); });
}

bool FileUtils::SyncDir(const std::string& path)
{
    const Handles::UniqueDescriptor dir(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return dir.IsValid() && fsync(dir.Get()) == 0;
}
} // namespace ORVX::TavomendEngine
