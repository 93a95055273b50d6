// The content of a large file, in memory.
#ifndef TAVOMEND_PLATFORM_UTILITY_FILE_CONTENT_H
#define TAVOMEND_PLATFORM_UTILITY_FILE_CONTENT_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <sys/mman.h>
#include <sys/sysinfo.h>
#include <utility>

namespace ORVX::TavomendEngine {
// Room that is filled once, and that nobody writes zeros into before: a package is read in less time than it takes to
// clear the memory for it. Large rooms come in large pages, where the system has them. Owned by one; moved, not copied.
class FileContent {
public:
    FileContent() = default;
    // Throws std::bad_alloc when there is no memory for so many bytes.
    explicit FileContent(size_t size) : bytes_(Allocate(size)), size_(size) {}
    FileContent(FileContent&& other) noexcept : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}
    FileContent& operator=(FileContent&& other) noexcept
    {
        bytes_ = std::move(other.bytes_);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }

    [[nodiscard]] char* Data() { return bytes_.get(); }
    [[nodiscard]] std::string_view View() const { return {bytes_.get(), size_}; }

private:
    static constexpr size_t LARGE_PAGE = size_t{2} << 20U;

    struct Deleter {
        void operator()(char* bytes) const { std::free(bytes); }
    };
    // Large pages that the system has to make room for first cost more than they spare.
    static bool IsMuchFree(size_t size)
    {
        struct sysinfo info {};
        return sysinfo(&info) == 0 && info.freeram / 8 * info.mem_unit >= size;
    }
    static char* Allocate(size_t size)
    {
        const bool isLarge = size >= LARGE_PAGE && size <= SIZE_MAX - LARGE_PAGE;
        const size_t whole = isLarge ? (size + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE : size;
        void* const bytes = isLarge ? std::aligned_alloc(LARGE_PAGE, whole) : std::malloc(size);
        if (bytes == nullptr && size != 0) {
            throw std::bad_alloc();
        }
        if (isLarge && IsMuchFree(whole)) {
            static_cast<void>(madvise(bytes, whole, MADV_HUGEPAGE)); // or it comes in small ones
        }
        return static_cast<char*>(bytes);
    }

    std::unique_ptr<char, Deleter> bytes_;
    size_t size_ = 0;
};
} // namespace ORVX::TavomendEngine

#endif
