#include "diff/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <utility>

#include "handles/unique_descriptor.h"

namespace ORVX::Difference {
std::optional<MappedFile> MappedFile::Open(const std::string& path)
{
    // Not to wait at a pipe that nobody writes to.
    const Handles::UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file.IsValid() ? Of(file.Get()) : std::nullopt;
}

std::optional<MappedFile> MappedFile::Of(int file)
{
    struct stat status {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    if (status.st_size == 0) {
        return MappedFile(ByteView{});
    }
    const auto size = static_cast<size_t>(status.st_size);
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
    if (memory == MAP_FAILED) {
        return std::nullopt;
    }
    return MappedFile(ByteView{static_cast<const uint8_t*>(memory), size});
}

MappedFile::MappedFile(MappedFile&& other) noexcept : view_(std::exchange(other.view_, ByteView{})) {}

void MappedFile::Rest() const
{
    if (view_.size != 0) {
        madvise(const_cast<uint8_t*>(view_.data), view_.size, MADV_DONTNEED);
    }
}

bool MappedFile::Lock() const
{
    return view_.size == 0 || mlock(view_.data, view_.size) == 0;
}

MappedFile::~MappedFile()
{
    if (view_.size != 0) {
        munmap(const_cast<uint8_t*>(view_.data), view_.size);
    }
}
} // namespace ORVX::Difference
