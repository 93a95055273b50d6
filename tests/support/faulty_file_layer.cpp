#include "tests/support/faulty_file_layer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;
using TavomendEngine::FileLayer;

FaultyFileLayer::FaultyFileLayer(std::string root) : real_(FileLayer::GetReal()), root_(std::move(root))
{
    tree_ = Scan(root_);
    SetInstance(this);
}

FaultyFileLayer::~FaultyFileLayer()
{
    SetInstance(nullptr);
    EXPECT_TRUE(files_.empty()) << "left open: " << files_.begin()->second.path;
}

void FaultyFileLayer::FailCall(size_t n, int error)
{
    faults_.push_back({"", n, error, false});
}

void FaultyFileLayer::FailCall(const std::string& kind, size_t n, int error)
{
    faults_.push_back({kind, n, error, false});
}

void FaultyFileLayer::FailFrom(size_t n)
{
    faults_.push_back({"", n, EIO, true});
}

void FaultyFileLayer::Forget()
{
    calls_.clear();
    faults_.clear();
}

bool FaultyFileLayer::Fails(const std::string& kind, const std::string& what)
{
    calls_.push_back(kind + " " + what);
    int error = 0;
    for (Fault& fault : faults_) {
        if (!fault.kind.empty() && fault.kind != kind) {
            continue;
        }
        const bool isDue = fault.countdown == 1 || (fault.countdown == 0 && fault.isForGood);
        error = isDue ? fault.error : error;
        fault.countdown -= fault.countdown > 0 ? 1 : 0;
    }
    errno = error != 0 ? error : errno;
    return error != 0;
}

const std::string& FaultyFileLayer::PathOf(int file) const
{
    static const std::string unknown = "?";
    const auto found = files_.find(file);
    return found != files_.end() ? found->second.path : unknown;
}

std::shared_ptr<FaultyFileLayer::Node> FaultyFileLayer::Scan(const std::string& path) const
{
    const auto node = std::make_shared<Node>();
    struct stat status {};
    EXPECT_EQ(real_.Lstat(path, status), 0) << path;
    node->now.mode = status.st_mode;
    if (S_ISDIR(status.st_mode)) {
        std::vector<std::string> names;
        EXPECT_EQ(real_.ListDir(path, names), 0) << path;
        for (const std::string& name : names) {
            node->now.names[name] = Scan(path + "/" + name);
        }
    } else if (S_ISLNK(status.st_mode)) {
        node->now.content = fs::read_symlink(path).string();
    } else if (S_ISREG(status.st_mode)) {
        std::ifstream file(path, std::ios::binary);
        node->now.content.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    node->flushed = node->now;
    return node;
}

std::shared_ptr<FaultyFileLayer::Node> FaultyFileLayer::Find(const std::string& path) const
{
    const fs::path relative = fs::path(path).lexically_normal().lexically_relative(root_);
    if (relative.empty() || *relative.begin() == "..") {
        return nullptr;
    }
    std::shared_ptr<Node> node = tree_;
    for (const fs::path& part : relative) {
        if (node != nullptr && !part.empty() && part != ".") {
            const auto found = node->now.names.find(part.string());
            node = found != node->now.names.end() ? found->second : nullptr;
        }
    }
    return node;
}

FaultyFileLayer::Names* FaultyFileLayer::NamesAround(const std::string& path) const
{
    const std::shared_ptr<Node> dir = Find(fs::path(path).parent_path().string());
    return dir != nullptr ? &dir->now.names : nullptr;
}

void FaultyFileLayer::CutPower()
{
    for (const auto& entry : fs::directory_iterator(root_)) {
        fs::remove_all(entry.path());
    }
    for (const auto& [name, node] : tree_->flushed.names) {
        Restore(root_ + "/" + name, *node);
    }
    tree_ = Scan(root_);
    Forget();
}

void FaultyFileLayer::Restore(const std::string& path, const Node& node) const
{
    if (S_ISLNK(node.now.mode)) {
        fs::create_symlink(node.flushed.content, path);
        return;
    }
    if (S_ISDIR(node.now.mode)) {
        fs::create_directory(path);
        for (const auto& [name, entry] : node.flushed.names) {
            Restore(path + "/" + name, *entry);
        }
    } else {
        std::ofstream(path, std::ios::binary) << node.flushed.content;
    }
    fs::permissions(path, static_cast<fs::perms>(node.flushed.mode & 07777U));
}

int FaultyFileLayer::Open(const std::string& path, int flags, mode_t mode)
{
    if (Fails("open", path)) {
        return -1;
    }
    const int file = real_.Open(path, flags, mode);
    if (file < 0) {
        return file;
    }
    std::shared_ptr<Node> node = Find(path);
    Names* const around = NamesAround(path);
    if (node == nullptr && around != nullptr) {
        node = std::make_shared<Node>();
        node->now.mode = S_IFREG | mode;
        node->flushed.mode = S_IFREG;
        (*around)[fs::path(path).filename().string()] = node;
    }
    if (node != nullptr && (flags & O_TRUNC) != 0) {
        node->now.content.clear();
    }
    files_[file] = {path, node, 0};
    return file;
}

ssize_t FaultyFileLayer::Read(int file, void* room, size_t size)
{
    return Fails("read", PathOf(file)) ? -1 : real_.Read(file, room, std::min(size, bytesMax_));
}

ssize_t FaultyFileLayer::Write(int file, const void* bytes, size_t size)
{
    if (Fails("write", PathOf(file))) {
        return -1;
    }
    const ssize_t count = real_.Write(file, bytes, std::min(size, bytesMax_));
    const auto found = files_.find(file);
    if (count > 0 && found != files_.end() && found->second.node != nullptr) {
        OpenFile& opened = found->second;
        std::string& content = opened.node->now.content;
        content.resize(std::max(content.size(), opened.position + static_cast<size_t>(count)));
        std::memcpy(content.data() + opened.position, bytes, static_cast<size_t>(count));
        opened.position += static_cast<size_t>(count);
    }
    return count;
}

int FaultyFileLayer::Fsync(int file)
{
    struct stat status {}; // the disk that is flushed to is this layer's own; a real flush would only take time
    const int result = Fails("fsync", PathOf(file)) ? -1 : real_.Fstat(file, status);
    const auto found = files_.find(file);
    if (result == 0 && found != files_.end() && found->second.node != nullptr) {
        found->second.node->flushed = found->second.node->now;
    }
    return result;
}

int FaultyFileLayer::Close(int file)
{
    const bool isFailing = Fails("close", PathOf(file));
    const int error = errno;
    const int result = real_.Close(file);
    files_.erase(file);
    if (isFailing) {
        errno = error;
    }
    return isFailing ? -1 : result;
}

int FaultyFileLayer::Fchmod(int file, mode_t mode)
{
    const int result = Fails("fchmod", PathOf(file)) ? -1 : real_.Fchmod(file, mode);
    const auto found = files_.find(file);
    if (result == 0 && found != files_.end() && found->second.node != nullptr) {
        State& now = found->second.node->now;
        now.mode = (now.mode & S_IFMT) | mode;
    }
    return result;
}

int FaultyFileLayer::Fstat(int file, struct stat& status)
{
    return Fails("fstat", PathOf(file)) ? -1 : real_.Fstat(file, status);
}

int FaultyFileLayer::Stat(const std::string& path, struct stat& status)
{
    return Fails("stat", path) ? -1 : real_.Stat(path, status);
}

int FaultyFileLayer::Lstat(const std::string& path, struct stat& status)
{
    return Fails("lstat", path) ? -1 : real_.Lstat(path, status);
}

int FaultyFileLayer::Statvfs(const std::string& path, struct statvfs& status)
{
    return Fails("statvfs", path) ? -1 : real_.Statvfs(path, status);
}

int FaultyFileLayer::Lchown(const std::string& path, uid_t user, gid_t group)
{
    return Fails("lchown", path) ? -1 : real_.Lchown(path, user, group);
}

void FaultyFileLayer::Move(const std::string& from, const std::string& to)
{
    const std::shared_ptr<Node> node = Find(from);
    if (Names* const around = NamesAround(from)) {
        around->erase(fs::path(from).filename().string());
    }
    if (Names* const around = NamesAround(to)) {
        (*around)[fs::path(to).filename().string()] = node != nullptr ? node : Scan(to);
    }
}

int FaultyFileLayer::Rename(const std::string& from, const std::string& to)
{
    const int result = Fails("rename", from + " " + to) ? -1 : real_.Rename(from, to);
    if (result == 0) {
        Move(from, to);
    }
    return result;
}

int FaultyFileLayer::RenameNoReplace(const std::string& from, const std::string& to)
{
    const int result = Fails("rename_no_replace", from + " " + to) ? -1 : real_.RenameNoReplace(from, to);
    if (result == 0) {
        Move(from, to);
    }
    return result;
}

int FaultyFileLayer::Removed(int result, const std::string& path)
{
    Names* const around = NamesAround(path);
    if (result == 0 && around != nullptr) {
        around->erase(fs::path(path).filename().string());
    }
    return result;
}

int FaultyFileLayer::Unlink(const std::string& path)
{
    return Fails("unlink", path) ? -1 : Removed(real_.Unlink(path), path);
}

int FaultyFileLayer::Rmdir(const std::string& path)
{
    return Fails("rmdir", path) ? -1 : Removed(real_.Rmdir(path), path);
}

int FaultyFileLayer::Mkdir(const std::string& path, mode_t mode)
{
    const int result = Fails("mkdir", path) ? -1 : real_.Mkdir(path, mode);
    Names* const around = NamesAround(path);
    if (result == 0 && around != nullptr) {
        (*around)[fs::path(path).filename().string()] = Scan(path);
    }
    return result;
}

int FaultyFileLayer::ListDir(const std::string& path, std::vector<std::string>& names)
{
    if (Fails("listdir", path)) {
        names.clear();
        return -1;
    }
    return real_.ListDir(path, names);
}
} // namespace ORVX::TavomendTest
