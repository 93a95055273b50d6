// A regular file's content, in memory.
#ifndef TAVOMEND_DIFF_LOADED_FILE_H
#define TAVOMEND_DIFF_LOADED_FILE_H

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "diff/byte_view.h"
#include "diff/mapped_file.h"
#include "handles/unique_descriptor.h"

namespace ORVX::Difference {
// The base of the applier, and its plain difference. A disk that fails, or a file that shrinks, under a mapping kills
// the process. So a file is mapped only where its pages can be locked into memory and nobody can write to it meanwhile
// (handles/read_lease.h), and otherwise read. Either way it is in memory as a whole; mapped, it is there once only, in
// the system's own cache. For one thread at a time; what it views may be read by any.
class LoadedFile {
public:
    // Nothing when the path names no regular file, or it cannot be read to its end. An empty file gives an empty view.
    // Throws std::bad_alloc when there is no memory for it.
    [[nodiscard]] static std::optional<LoadedFile> Read(const std::string& path);

    // Lives as long as this object, or the one that it was moved to.
    [[nodiscard]] ByteView View() const { return mapped_ ? mapped_->View() : ByteView{bytes_.get(), size_}; }

private:
    LoadedFile(Handles::UniqueDescriptor file, size_t size) : file_(std::move(file)), size_(size) {}
    [[nodiscard]] bool Map();
    [[nodiscard]] bool ReadAll();

    Handles::UniqueDescriptor file_; // of a mapped file: has the lease, until the mapping is gone
    size_t size_;
    std::unique_ptr<uint8_t[]> bytes_;
    std::optional<MappedFile> mapped_;
};
} // namespace ORVX::Difference

#endif
