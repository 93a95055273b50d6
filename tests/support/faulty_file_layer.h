// A file layer that misbehaves on demand: calls fail, bytes come in pieces, and a power cut takes what was not flushed.
#ifndef TAVOMEND_TESTS_SUPPORT_FAULTY_FILE_LAYER_H
#define TAVOMEND_TESTS_SUPPORT_FAULTY_FILE_LAYER_H

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "handles/unique_descriptor.h"
#include "platform/utility/file_layer.h"

namespace ORVX::TavomendTest {
// Forwards to the real layer, and is in force as long as it lives. Keeps beside it what the disk would hold if the
// power went: a file's content and mode as of its last fsync, a directory's names as of its own. For one thread.
class FaultyFileLayer : public TavomendEngine::FileLayer {
public:
    // What is below the root counts as flushed. Who changes something there past this layer makes another one.
    explicit FaultyFileLayer(std::string root = "/data");
    ~FaultyFileLayer() override;

    // The n-th call from now on fails, once, and does nothing (but close, which closes all the same).
    void FailCall(size_t n, int error) { faults_.push_back({"", n, error, false}); }
    // The same for the n-th call of a kind, such as "rename".
    void FailCall(const std::string& kind, size_t n, int error) { faults_.push_back({kind, n, error, false}); }
    // The power goes at the n-th call from now on: that one and all behind it do nothing. CutPower ends it.
    void FailFrom(size_t n) { faults_.push_back({"", n, EIO, true}); }
    // Read, write and copy range move so many bytes at most.
    void LimitBytes(size_t size) { bytesMax_ = size; }
    // Everything below the root is again as it was flushed.
    void CutPower();
    // The calls since the last Forget, such as "rename /data/a.new /data/a"; of descriptors with the path opened.
    [[nodiscard]] const std::vector<std::string>& Calls() const { return calls_; }
    // The journal starts anew, and no fault is pending.
    void Forget();

    int Open(const std::string& path, int flags, mode_t mode) override;
    ssize_t Read(int file, void* room, size_t size) override
    {
        return Fails("read", PathOf(file)) ? -1 : real_.Read(file, room, std::min(size, bytesMax_));
    }
    ssize_t ReadAt(int file, void* room, size_t size, off_t at) override
    {
        return Fails("read", PathOf(file)) ? -1 : real_.ReadAt(file, room, std::min(size, bytesMax_), at);
    }
    // Nothing can be mapped: what is read instead can fail.
    Handles::FilePages Map(int /*file*/, size_t /*size*/, off_t /*at*/) override { return {}; }
    ssize_t Write(int file, const void* bytes, size_t size) override
    {
        return Fails("write", PathOf(file)) ? -1 : real_.Write(file, bytes, std::min(size, bytesMax_));
    }
    ssize_t CopyRange(int from, int to, size_t size) override
    {
        return Fails("copy_range", PathOf(to)) ? -1 : real_.CopyRange(from, to, std::min(size, bytesMax_));
    }
    int Fsync(int file) override;
    int Close(int file) override;
    int Fchmod(int file, mode_t mode) override { return Fails("fchmod", PathOf(file)) ? -1 : real_.Fchmod(file, mode); }
    int Fstat(int file, struct stat& status) override
    {
        return Fails("fstat", PathOf(file)) ? -1 : real_.Fstat(file, status);
    }
    int Stat(const std::string& path, struct stat& status) override
    {
        return Fails("stat", path) ? -1 : real_.Stat(path, status);
    }
    int Lstat(const std::string& path, struct stat& status) override
    {
        return Fails("lstat", path) ? -1 : real_.Lstat(path, status);
    }
    int Statvfs(const std::string& path, struct statvfs& status) override
    {
        return Fails("statvfs", path) ? -1 : real_.Statvfs(path, status);
    }
    int Lchown(const std::string& path, uid_t user, gid_t group) override
    {
        return Fails("lchown", path) ? -1 : real_.Lchown(path, user, group);
    }
    int Rename(const std::string& from, const std::string& to) override
    {
        return Fails("rename", from + " " + to) ? -1 : real_.Rename(from, to);
    }
    int RenameNoReplace(const std::string& from, const std::string& to) override
    {
        return Fails("rename_no_replace", from + " " + to) ? -1 : real_.RenameNoReplace(from, to);
    }
    int Unlink(const std::string& path) override { return Fails("unlink", path) ? -1 : real_.Unlink(path); }
    int Mkdir(const std::string& path, mode_t mode) override
    {
        return Fails("mkdir", path) ? -1 : real_.Mkdir(path, mode);
    }
    int Rmdir(const std::string& path) override { return Fails("rmdir", path) ? -1 : real_.Rmdir(path); }
    int ListDir(const std::string& path, std::vector<std::string>& names) override;

private:
    // What the disk holds of one file, directory or link.
    struct State {
        Handles::UniqueDescriptor holder;
        mode_t mode = 0;
        std::string content; // of a file, or where a link leads to
        std::map<std::string, ino_t> names;
    };
    enum class Depth { NAME, SELF, TREE };

    [[nodiscard]] bool Fails(const std::string& kind, const std::string& what);
    [[nodiscard]] const std::string& PathOf(int file) const;
    // Takes what is there now as flushed; of what has only its name on the disk that it exists. Gives its number.
    ino_t Flush(const std::string& path, Depth depth);
    void Restore(const std::string& path, const State& state) const;

    struct Fault {
        std::string kind; // empty: any
        size_t countdown = 0;
        int error = 0;
        bool isForGood = false;
    };

    TavomendEngine::FileLayer& real_;
    std::string root_;
    ino_t rootNumber_;
    std::map<ino_t, State> flushed_;
    std::map<int, std::string> files_; // the paths that descriptors were opened by
    std::vector<std::string> calls_;
    std::vector<Fault> faults_;
    size_t bytesMax_ = SIZE_MAX;
};
} // namespace ORVX::TavomendTest

#endif
