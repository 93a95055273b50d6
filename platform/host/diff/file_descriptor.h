// Owns an open file descriptor.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_FILE_DESCRIPTOR_H
#define TAVOMEND_PLATFORM_HOST_DIFF_FILE_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace ORVX::TavomendHost {
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor()
    {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }

    [[nodiscard]] bool IsOpen() const { return descriptor_ >= 0; }
    [[nodiscard]] int Get() const { return descriptor_; }

private:
    int descriptor_;
};
} // namespace ORVX::TavomendHost

#endif
