// The file that a difference brings forth. It deletes itself unless it is kept.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_PATCH_OUTPUT_H
#define TAVOMEND_PLATFORM_HOST_DIFF_PATCH_OUTPUT_H

#include "platform/host/diff/byte_view.h"
#include "platform/host/diff/file_descriptor.h"
#include "platform/host/diff/patch_result.h"
#include "platform/host/diff/sha256.h"

#include <cstdint>
#include <memory>
#include <string>

namespace ORVX::TavomendHost {
class PatchOutput {
public:
    // Creates the file with its whole size reserved on the disk, so that no later write to its mapping can fail for
    // lack of room. Nothing may be there under this path. Null on failure, with the reason in result.
    [[nodiscard]] static std::unique_ptr<PatchOutput> Create(const std::string& path, uint64_t size,
                                                             PatchResult& result);
    PatchOutput(const PatchOutput&) = delete;
    PatchOutput& operator=(const PatchOutput&) = delete;
    ~PatchOutput();

    // Writes the next bytes of the file. False when they do not fit its size, or when the disk fails.
    [[nodiscard]] bool Write(ByteView bytes);
    // Bytes that may still be written.
    [[nodiscard]] uint64_t Room() const { return size_ - written_; }
    // SHA-256 of what is in the file. False when it cannot be read.
    [[nodiscard]] bool Digest(Sha256Digest& digest) const;
    // The whole file, mapped for writing; null when it is empty or cannot be mapped.
    [[nodiscard]] uint8_t* Map();
    // Flushes the content to the disk and lets the file stay. After a failure it still deletes itself.
    [[nodiscard]] bool Keep();

private:
    PatchOutput(std::string path, FileDescriptor file, uint64_t size);

    std::string path_;
    FileDescriptor file_;
    uint64_t size_;
    uint64_t written_ = 0;
    void* memory_ = nullptr;
    bool isKept_ = false;
};
} // namespace ORVX::TavomendHost

#endif
