#include "tests/support/faulty_file_layer.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;

FaultyFileLayer::FaultyFileLayer(std::string root) : real_(FileLayer::GetReal()), root_(std::move(root))
{
    rootNumber_ = Flush(root_, Depth::TREE);
    SetInstance(this);
}

FaultyFileLayer::~FaultyFileLayer()
{
    SetInstance(nullptr);
    EXPECT_TRUE(files_.empty()) << "left open: " << files_.begin()->second;
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
    return found != files_.end() ? found->second : unknown;
}

ino_t FaultyFileLayer::Flush(const std::string& path, Depth depth)
{
    struct stat status {};
    EXPECT_EQ(real_.Lstat(path, status), 0) << path;
    const auto [found, isNew] = flushed_.try_emplace(status.st_ino);
    State& state = found->second;
    if (isNew) { // held, so that nothing else gets its number
        state.holder = Handles::UniqueDescriptor(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        state.mode = S_ISREG(status.st_mode) ? S_IFREG : status.st_mode;
        state.content = S_ISLNK(status.st_mode) ? fs::read_symlink(path).string() : "";
    }
    if (depth == Depth::NAME) {
        return status.st_ino;
    }
    state.mode = status.st_mode;
    if (S_ISREG(status.st_mode)) {
        state.content = ReadFile(path);
    } else if (S_ISDIR(status.st_mode)) {
        std::vector<std::string> names;
        EXPECT_EQ(real_.ListDir(path, names), 0) << path;
        state.names.clear();
        for (const std::string& name : names) {
            state.names[name] = Flush(path + "/" + name, depth == Depth::TREE ? Depth::TREE : Depth::NAME);
        }
    }
    return status.st_ino;
}

void FaultyFileLayer::CutPower()
{
    for (const auto& entry : fs::directory_iterator(root_)) {
        fs::remove_all(entry.path());
    }
    for (const auto& [name, number] : flushed_.at(rootNumber_).names) {
        Restore(root_ + "/" + name, flushed_.at(number));
    }
    flushed_.clear();
    Flush(root_, Depth::TREE);
    Forget();
}

void FaultyFileLayer::Restore(const std::string& path, const State& state) const
{
    if (S_ISLNK(state.mode)) {
        fs::create_symlink(state.content, path);
        return;
    }
    if (S_ISDIR(state.mode)) {
        fs::create_directory(path);
        for (const auto& [name, number] : state.names) {
            Restore(path + "/" + name, flushed_.at(number));
        }
    } else {
        std::ofstream(path, std::ios::binary) << state.content;
    }
    fs::permissions(path, static_cast<fs::perms>(state.mode & 07777U));
}

int FaultyFileLayer::Open(const std::string& path, int flags, mode_t mode)
{
    const int file = Fails("open", path) ? -1 : real_.Open(path, flags, mode);
    if (file >= 0) {
        files_[file] = path;
    }
    return file;
}

int FaultyFileLayer::Fsync(int file)
{
    struct stat status {}; // the disk that is flushed to is this layer's own; a real flush would only take time
    const int result = Fails("fsync", PathOf(file)) ? -1 : real_.Fstat(file, status);
    if (result == 0 && PathOf(file).rfind(root_, 0) == 0) {
        EXPECT_EQ(Flush(PathOf(file), Depth::SELF), status.st_ino) << PathOf(file);
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

int FaultyFileLayer::ListDir(const std::string& path, std::vector<std::string>& names)
{
    names.clear();
    return Fails("listdir", path) ? -1 : real_.ListDir(path, names);
}
} // namespace ORVX::TavomendTest
