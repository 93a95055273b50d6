// The file that a difference brings forth. It deletes itself unless it is kept.
#ifndef TAVOMEND_DIFF_DIFFERENCE_OUTPUT_H
#define TAVOMEND_DIFF_DIFFERENCE_OUTPUT_H

#include <cstdint>
#include <memory>
#include <string>

#include "diff/byte_view.h"
#include "diff/difference_result.h"
#include "handles/place.h"
#include "handles/sha256.h"
#include "handles/unique_descriptor.h"

namespace ORVX::Difference {
// Made by the appliers; an early return of theirs, for whatever reason, leaves no file. Either Write or Map brings the
// content, not both. For one thread at a time.
class DifferenceOutput {
public:
    // Creates the file with its whole size reserved on the disk, so that no later write to its mapping can fail for
    // lack of room. Nothing may be there under this path. Null on failure, with the reason in result.
    [[nodiscard]] static std::unique_ptr<DifferenceOutput> Create(const std::string& path, uint64_t size,
                                                                  DifferenceResult& result);
    DifferenceOutput(const DifferenceOutput&) = delete;
    DifferenceOutput& operator=(const DifferenceOutput&) = delete;
    ~DifferenceOutput();

    // Writes the next bytes of the file. False when they do not fit its size, or when the disk fails.
    [[nodiscard]] bool Write(ByteView bytes);
    // Bytes that may still be written.
    [[nodiscard]] uint64_t Room() const { return size_ - written_; }
    // SHA-256 of what is in the file. False when it cannot be read.
    [[nodiscard]] bool Digest(Handles::Sha256Digest& digest) const;
    // The whole file, mapped for writing until Keep; null when it is empty, cannot be mapped, or the disk fails.
    [[nodiscard]] uint8_t* Map();
    // Flushes the content to the disk and lets the file stay. After a failure it still deletes itself.
    [[nodiscard]] bool Keep();

private:
    DifferenceOutput(const std::string& path, uint64_t size);
    [[nodiscard]] bool BringPages();
    void Unmap();

    Handles::Place place_;
    Handles::UniqueDescriptor file_;
    uint64_t size_;
    uint64_t written_ = 0;
    void* memory_ = nullptr;
    bool isKept_ = false;
};
} // namespace ORVX::Difference

#endif
