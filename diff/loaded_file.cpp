#include "diff/loaded_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "handles/read_lease.h"

namespace ORVX::Difference {
std::optional<LoadedFile> LoadedFile::Read(const std::string& path)
{
    // Not to wait at a pipe that nobody writes to.
    Handles::UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const bool isHeld = file.IsValid() && Handles::TakeReadLease(file.Get());
    struct stat status {};
    if (!file.IsValid() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    LoadedFile loaded(std::move(file), static_cast<size_t>(status.st_size));
    return (isHeld && loaded.Map()) || loaded.ReadAll() ? std::optional<LoadedFile>(std::move(loaded)) : std::nullopt;
}

bool LoadedFile::Map()
{
    std::optional<MappedFile> mapped = MappedFile::Of(file_.Get());
    if (!mapped || !mapped->Lock()) {
        return false; // reading finds out what the disk says
    }
    mapped_.emplace(std::move(*mapped));
    return true;
}

bool LoadedFile::ReadAll()
{
    bytes_.reset(new uint8_t[size_]);
    for (size_t done = 0; done < size_;) {
        const ssize_t count = read(file_.Get(), bytes_.get() + done, size_ - done);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    file_ = Handles::UniqueDescriptor(); // nobody need wait for what is read already
    return true;
}
} // namespace ORVX::Difference
