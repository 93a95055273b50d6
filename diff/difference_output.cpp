#include "diff/difference_output.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <utility>

namespace ORVX::Difference {
namespace {
// Not more than the system keeps for a moment without writing it out: the pages have no content yet.
constexpr uint64_t AT_ONCE_MAX = uint64_t{64} << 20;
} // namespace

std::unique_ptr<DifferenceOutput> DifferenceOutput::Create(const std::string& path, uint64_t size,
                                                           DifferenceResult& result)
{
    result = DIFFERENCE_OUTPUT_UNWRITABLE;
    std::unique_ptr<DifferenceOutput> output(new DifferenceOutput(path, size)); // first: what it owns goes with it
    const Handles::Place& place = output->place_;
    output->file_ = Handles::UniqueDescriptor(
        place.IsThere() ? openat(place.Directory(), place.Name(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644) : -1);
    if (!output->file_.IsValid()) {
        return nullptr;
    }
    const int error = size == 0 ? 0 : posix_fallocate(output->file_.Get(), 0, static_cast<off_t>(size));
    if (error != 0) {
        result =
            error == ENOSPC || error == EFBIG || error == EDQUOT ? DIFFERENCE_NO_ROOM : DIFFERENCE_OUTPUT_UNWRITABLE;
        return nullptr;
    }
    result = DIFFERENCE_OK;
    return output;
}

DifferenceOutput::DifferenceOutput(const std::string& path, uint64_t size) : place_(path), size_(size) {}

DifferenceOutput::~DifferenceOutput()
{
    Unmap();
    if (file_.IsValid() && !isKept_) {
        unlinkat(place_.Directory(), place_.Name(), 0);
    }
}

bool DifferenceOutput::Write(ByteView bytes)
{
    if (bytes.size > size_ - written_) {
        return false;
    }
    for (size_t done = 0; done < bytes.size;) {
        const ssize_t count = write(file_.Get(), bytes.data + done, bytes.size - done);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    written_ += bytes.size;
    return true;
}

bool DifferenceOutput::Digest(Handles::Sha256Digest& digest) const
{
    Handles::Sha256 hash;
    std::array<uint8_t, size_t{64} << 10> room;
    for (uint64_t done = 0; done < size_;) {
        const ssize_t count = pread(file_.Get(), room.data(), room.size(), static_cast<off_t>(done));
        if (count <= 0) {
            return false;
        }
        hash.Add(room.data(), static_cast<size_t>(count));
        done += static_cast<uint64_t>(count);
    }
    return hash.Finish(digest);
}

uint8_t* DifferenceOutput::Map()
{
    if (memory_ == nullptr) { // nothing to map of an empty file: nullptr again
        void* const memory = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file_.Get(), 0);
        memory_ = memory == MAP_FAILED ? nullptr : memory;
        if (memory_ != nullptr && !BringPages()) {
            Unmap();
        }
    }
    return static_cast<uint8_t*>(memory_);
}

// Many at once cost far less than one by one, and a disk that fails then is an error, where touching the page would
// end the process. A kernel before 5.14 does not know it, and brings each as it is touched.
bool DifferenceOutput::BringPages()
{
    return madvise(memory_, std::min(size_, AT_ONCE_MAX), MADV_POPULATE_WRITE) == 0 || errno != EFAULT;
}

void DifferenceOutput::Unmap()
{
    if (memory_ != nullptr) {
        munmap(std::exchange(memory_, nullptr), size_);
    }
}

bool DifferenceOutput::Keep()
{
    Unmap(); // first: what is mapped costs more to flush
    isKept_ = fsync(file_.Get()) == 0;
    return isKept_;
}
} // namespace ORVX::Difference
