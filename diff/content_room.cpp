#include "diff/content_room.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

#include "handles/unique_descriptor.h"

namespace ORVX::Difference {
ContentRoom::ContentRoom(ContentRoom&& other) noexcept
    : bytes_(std::move(other.bytes_)), mapped_(std::exchange(other.mapped_, nullptr)),
      mappedSize_(std::exchange(other.mappedSize_, 0)), used_(std::exchange(other.used_, 0))
{
}

ContentRoom& ContentRoom::operator=(ContentRoom&& other) noexcept
{
    std::swap(bytes_, other.bytes_);
    std::swap(mapped_, other.mapped_);
    std::swap(mappedSize_, other.mappedSize_);
    std::swap(used_, other.used_);
    return *this;
}

ContentRoom::~ContentRoom()
{
    if (mapped_ != nullptr) {
        munmap(mapped_, mappedSize_);
    }
}

void ContentRoom::Reserve(size_t size, const std::string& path)
{
    if (!path.empty() && size != 0) {
        Map(size, path);
    }
    if (mapped_ == nullptr) {
        bytes_.reserve(size);
    }
}

// All of it is allocated at once: a disk that is full later would kill the process.
void ContentRoom::Map(size_t size, const std::string& path)
{
    const Handles::UniqueDescriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.IsValid()) {
        return;
    }
    unlink(path.c_str());
    if (posix_fallocate(file.Get(), 0, static_cast<off_t>(size)) != 0) {
        return;
    }
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
    if (memory != MAP_FAILED) {
        mapped_ = static_cast<uint8_t*>(memory);
        mappedSize_ = size;
    }
}

void ContentRoom::Append(const std::vector<uint8_t>& bytes)
{
    if (mapped_ == nullptr) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return;
    }
    const size_t start = used_;
    if (!bytes.empty()) {
        std::memcpy(mapped_ + start, bytes.data(), bytes.size());
    }
    used_ += bytes.size();
    Rest(start, used_);
}

void ContentRoom::Rest(size_t start, size_t end) const
{
    if (mapped_ == nullptr) {
        return;
    }
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t first = (start + page - 1) / page * page;
    const size_t last = end / page * page;
    if (first < last) {
        madvise(mapped_ + first, last - first, MADV_DONTNEED);
    }
}
} // namespace ORVX::Difference
