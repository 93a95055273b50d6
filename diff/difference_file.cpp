#include "diff/difference_file.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ORVX::Difference {
namespace {
constexpr size_t PIECE = size_t{64} << 10;
} // namespace

std::optional<DifferenceFile> DifferenceFile::Open(const std::string& path)
{
    // Not to wait at a pipe that nobody writes to.
    Handles::UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.IsValid() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return DifferenceFile(std::move(file), static_cast<uint64_t>(status.st_size));
}

std::vector<uint8_t> DifferenceFile::Read(uint64_t offset, size_t size)
{
    std::vector<uint8_t> bytes(offset < size_ ? std::min<uint64_t>(size, size_ - offset) : 0);
    size_t done = 0;
    while (done < bytes.size() && !hasFailed_) {
        const ssize_t count =
            pread(file_.Get(), bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
        done += count > 0 ? static_cast<size_t>(count) : 0;
        hasFailed_ = count == 0 || (count < 0 && errno != EINTR);
    }
    bytes.resize(done);
    return bytes;
}

ByteView DifferenceFile::Part::Next()
{
    bytes_ = file_.Read(offset_, std::min<uint64_t>(PIECE, left_));
    offset_ += bytes_.size();
    left_ -= bytes_.size();
    return {bytes_.data(), bytes_.size()};
}
} // namespace ORVX::Difference
