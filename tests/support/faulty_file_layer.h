// A file layer that misbehaves on demand: calls fail, bytes come in pieces, and a power cut takes what was not flushed.
#ifndef TAVOMEND_TESTS_SUPPORT_FAULTY_FILE_LAYER_H
#define TAVOMEND_TESTS_SUPPORT_FAULTY_FILE_LAYER_H

#include <map>
#include <memory>
#include <string>
#include <vector>

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
    void FailCall(size_t n, int error);
    // The same for the n-th call of a kind, such as "rename".
    void FailCall(const std::string& kind, size_t n, int error);
    // The power goes at the n-th call from now on: that one and all behind it do nothing. CutPower ends it.
    void FailFrom(size_t n);
    // Read and write move so many bytes at most.
    void LimitBytes(size_t size) { bytesMax_ = size; }
    // Everything below the root is again as it was flushed.
    void CutPower();
    // The calls since the last Forget, such as "rename /data/a.new /data/a"; of descriptors with the path opened.
    [[nodiscard]] const std::vector<std::string>& Calls() const { return calls_; }
    // The journal starts anew, and no fault is pending.
    void Forget();

    int Open(const std::string& path, int flags, mode_t mode) override;
    ssize_t Read(int file, void* room, size_t size) override;
    ssize_t Write(int file, const void* bytes, size_t size) override;
    int Fsync(int file) override;
    int Close(int file) override;
    int Fchmod(int file, mode_t mode) override;
    int Fstat(int file, struct stat& status) override;
    int Stat(const std::string& path, struct stat& status) override;
    int Lstat(const std::string& path, struct stat& status) override;
    int Statvfs(const std::string& path, struct statvfs& status) override;
    int Lchown(const std::string& path, uid_t user, gid_t group) override;
    int Rename(const std::string& from, const std::string& to) override;
    int RenameNoReplace(const std::string& from, const std::string& to) override;
    int Unlink(const std::string& path) override;
    int Mkdir(const std::string& path, mode_t mode) override;
    int Rmdir(const std::string& path) override;
    int ListDir(const std::string& path, std::vector<std::string>& names) override;

private:
    struct Node;
    using Names = std::map<std::string, std::shared_ptr<Node>>;
    struct State {
        mode_t mode = 0;
        std::string content; // of a file, or where a link leads to
        Names names;         // in a directory
    };
    struct Node {
        State now;
        State flushed;
    };
    struct OpenFile {
        std::string path;
        std::shared_ptr<Node> node; // null outside of the root
        size_t position = 0;
    };

    [[nodiscard]] bool Fails(const std::string& kind, const std::string& what);
    [[nodiscard]] const std::string& PathOf(int file) const;
    [[nodiscard]] std::shared_ptr<Node> Scan(const std::string& path) const;
    [[nodiscard]] std::shared_ptr<Node> Find(const std::string& path) const;
    // The names of the directory that a path lies in; null when that is outside of the root.
    [[nodiscard]] Names* NamesAround(const std::string& path) const;
    void Restore(const std::string& path, const Node& node) const;
    void Move(const std::string& from, const std::string& to);
    int Removed(int result, const std::string& path);

    struct Fault {
        std::string kind; // empty: any
        size_t countdown = 0;
        int error = 0;
        bool isForGood = false;
    };

    TavomendEngine::FileLayer& real_;
    std::string root_;
    std::shared_ptr<Node> tree_;
    std::map<int, OpenFile> files_;
    std::vector<std::string> calls_;
    std::vector<Fault> faults_;
    size_t bytesMax_ = SIZE_MAX;
};
} // namespace ORVX::TavomendTest

#endif
