// Owner of a part of a file in memory.
#ifndef TAVOMEND_HANDLES_FILE_PAGES_H
#define TAVOMEND_HANDLES_FILE_PAGES_H

#include <cstddef>
#include <string_view>
#include <sys/mman.h>
#include <sys/types.h>
#include <utility>

namespace ORVX::Handles {
// The system's own pages of it, read-only, locked into memory: no access waits for the disk, or finds that it fails.
// What is written to the file shows in them, and an access behind the end of a file that was cut meanwhile ends the
// process; who maps one keeps others from writing.
class FilePages {
public:
    FilePages() = default;
    // Maps so much of an open file from there on, a multiple of the page size; the file may be closed then. Not valid
    // when the disk fails, when the file ends before, and when more is locked already than one may.
    FilePages(int file, size_t size, off_t at)
    {
        void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, at);
        if (memory == MAP_FAILED) {
            return;
        }
        view_ = {static_cast<const char*>(memory), size};
        if (mlock(memory, size) != 0) {
            Unmap();
        }
    }
    FilePages(FilePages&& other) noexcept : view_(std::exchange(other.view_, {})) {}
    FilePages& operator=(FilePages&&) = delete;
    FilePages(const FilePages&) = delete;
    FilePages& operator=(const FilePages&) = delete;
    ~FilePages() { Unmap(); }

    [[nodiscard]] bool IsValid() const { return !view_.empty(); }
    // Lives as long as this object, or the one that it was moved to.
    [[nodiscard]] std::string_view View() const { return view_; }

private:
    void Unmap()
    {
        if (IsValid()) {
            munmap(const_cast<char*>(view_.data()), view_.size());
            view_ = {};
        }
    }

    std::string_view view_;
};
} // namespace ORVX::Handles

#endif
