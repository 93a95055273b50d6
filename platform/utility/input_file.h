// A file that the engine reads by places.
#ifndef TAVOMEND_PLATFORM_UTILITY_INPUT_FILE_H
#define TAVOMEND_PLATFORM_UTILITY_INPUT_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace ORVX::TavomendEngine {
// A regular file, open as long as this lives, whatever becomes of its path. All calls go through FileLayer; for one
// thread.
class InputFile {
public:
    explicit InputFile(const std::string& path);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    // False when it cannot be opened, or is no regular file.
    [[nodiscard]] bool IsValid() const { return isValid_; }
    // Of a valid file, when it was opened.
    [[nodiscard]] uint64_t Size() const { return size_; }
    // Fills the room with what the file has from there on. False when it ends before, or cannot be read; the room may
    // be filled in part.
    [[nodiscard]] bool ReadAt(uint64_t at, char* room, size_t size) const;

private:
    int file_;
    bool isValid_ = false;
    uint64_t size_ = 0;
};
} // namespace ORVX::TavomendEngine

#endif
