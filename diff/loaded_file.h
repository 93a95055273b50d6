// A regular file's content, in memory.
#ifndef TAVOMEND_DIFF_LOADED_FILE_H
#define TAVOMEND_DIFF_LOADED_FILE_H

#include <memory>
#include <optional>
#include <string>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// The base of the applier, and its plain difference. Not mapped, as the maker's files are: a disk that fails, or a file
// that shrinks, under a mapping kills the process.
class LoadedFile {
public:
    // Nothing when the path names no regular file, or it cannot be read to its end. An empty file gives an empty view.
    // Throws std::bad_alloc when there is no memory for it.
    [[nodiscard]] static std::optional<LoadedFile> Read(const std::string& path);

    // Lives as long as this object, or the one that it was moved to.
    [[nodiscard]] ByteView View() const { return {bytes_.get(), size_}; }

private:
    explicit LoadedFile(size_t size) : bytes_(new uint8_t[size]), size_(size) {}

    std::unique_ptr<uint8_t[]> bytes_;
    size_t size_;
};
} // namespace ORVX::Difference

#endif
