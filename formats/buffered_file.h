// A file that is read in small bites with few calls to the kernel.
#ifndef TAVOMEND_FORMATS_BUFFERED_FILE_H
#define TAVOMEND_FORMATS_BUFFERED_FILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/utility/input_file.h"

namespace ORVX::Formats {
// A regular file, open as long as this lives. Holds two pieces of it, because an archive's reader goes to and fro
// between its directory and its members: a stream of the C library throws away what it has at each turn. For one
// thread.
class BufferedFile {
public:
    explicit BufferedFile(const std::string& path) : file_(path) {}

    // False when it cannot be opened, or is no regular file.
    [[nodiscard]] bool IsValid() const { return file_.IsValid(); }
    // Of a valid file, when it was opened.
    [[nodiscard]] uint64_t Size() const { return file_.Size(); }
    // Fills the room with what the file has from there on, or had when a piece around it was read. False when it ends
    // before, or cannot be read; the room may be filled in part.
    [[nodiscard]] bool ReadAt(uint64_t at, char* room, size_t size);

private:
    static constexpr size_t PIECE_SIZE = size_t{4} << 10U;
    struct Piece {
        std::array<char, PIECE_SIZE> bytes;
        uint64_t start = 0;
        size_t size = 0; // none is held

        [[nodiscard]] bool Has(uint64_t at) const { return at >= start && at - start < size; }
    };
    // Null when it cannot be read.
    [[nodiscard]] const Piece* PieceAt(uint64_t at);

    TavomendEngine::InputFile file_;
    std::array<Piece, 2> pieces_;
    size_t latest_ = 0; // of the pieces
};
} // namespace ORVX::Formats

#endif
