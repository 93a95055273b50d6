#include "diff/loaded_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "handles/unique_descriptor.h"

namespace ORVX::Difference {
std::optional<LoadedFile> LoadedFile::Read(const std::string& path)
{
    // Not to wait at a pipe that nobody writes to.
    const Handles::UniqueDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file.IsValid() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    LoadedFile loaded(static_cast<size_t>(status.st_size));
    for (size_t done = 0; done < loaded.size_;) {
        const ssize_t count = read(file.Get(), loaded.bytes_.get() + done, loaded.size_ - done);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return std::nullopt;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return loaded;
}
} // namespace ORVX::Difference
