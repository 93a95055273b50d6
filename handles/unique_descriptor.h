// Owner of a file descriptor.
#ifndef TAVOMEND_HANDLES_UNIQUE_DESCRIPTOR_H
#define TAVOMEND_HANDLES_UNIQUE_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace ORVX::Handles {
// Closes what it owns; who must know whether close(2) succeeded releases the descriptor and closes it.
class UniqueDescriptor {
public:
    explicit UniqueDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    UniqueDescriptor(UniqueDescriptor&& other) noexcept : descriptor_(other.Release()) {}
    UniqueDescriptor& operator=(UniqueDescriptor&& other) noexcept
    {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    UniqueDescriptor(const UniqueDescriptor&) = delete;
    UniqueDescriptor& operator=(const UniqueDescriptor&) = delete;
    ~UniqueDescriptor()
    {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }

    [[nodiscard]] bool IsValid() const { return descriptor_ >= 0; }
    [[nodiscard]] int Get() const { return descriptor_; }
    // Gives the descriptor up; the caller closes it.
    [[nodiscard]] int Release() { return std::exchange(descriptor_, -1); }

private:
    int descriptor_;
};
} // namespace ORVX::Handles

#endif
