// A difference that is read as it is needed: it may be large, and a device has to hold old content besides.
#ifndef TAVOMEND_DIFF_DIFFERENCE_FILE_H
#define TAVOMEND_DIFF_DIFFERENCE_FILE_H

#include <optional>
#include <string>
#include <vector>

#include "diff/byte_source.h"
#include "handles/unique_descriptor.h"

namespace ORVX::Difference {
// For one thread. Not mapped: a disk that fails, or a file that shrinks, under a mapping kills the process.
class DifferenceFile {
public:
    // A stretch of the file, in pieces. The file must outlive it.
    class Part : public ByteSource {
    public:
        Part(DifferenceFile& file, uint64_t offset, uint64_t size) : file_(file), offset_(offset), left_(size) {}
        // Empty also when the file cannot be read: then its HasFailed tells so.
        [[nodiscard]] ByteView Next() override;

    private:
        DifferenceFile& file_;
        uint64_t offset_;
        uint64_t left_;
        std::vector<uint8_t> bytes_;
    };

    // Nothing when the path names no regular file that can be opened.
    [[nodiscard]] static std::optional<DifferenceFile> Open(const std::string& path);

    [[nodiscard]] uint64_t Size() const { return size_; }
    // So many bytes from an offset on, fewer at the end of the file or when it cannot be read.
    [[nodiscard]] std::vector<uint8_t> Read(uint64_t offset, size_t size);
    // Whether the disk failed, or the file has become shorter, at any time so far.
    [[nodiscard]] bool HasFailed() const { return hasFailed_; }

private:
    DifferenceFile(Handles::UniqueDescriptor file, uint64_t size) : file_(std::move(file)), size_(size) {}

    Handles::UniqueDescriptor file_;
    uint64_t size_;
    bool hasFailed_ = false;
};
} // namespace ORVX::Difference

#endif
