// A file that is read with few calls to the kernel: by small bites, by large stretches, and passed on as it is read.
#ifndef TAVOMEND_FORMATS_BUFFERED_FILE_H
#define TAVOMEND_FORMATS_BUFFERED_FILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/utility/input_file.h"

namespace ORVX::Formats {
// Is given bytes in order; keeps a failure of its own to itself.
using ByteTaker = std::function<void(const char* bytes, size_t size)>;

// A regular file, open as long as this lives. Holds two small pieces of it, because an archive's reader goes to and fro
// between its directory and its members: a stream of the C library throws away what it has at each turn. And a large
// one for whoever reads forward. What is held may be older than the file. For one thread.
class BufferedFile {
public:
    explicit BufferedFile(const std::string& path) : file_(path) {}

    // False when it cannot be opened, or is no regular file.
    [[nodiscard]] bool IsValid() const { return file_.IsValid(); }
    // Of a valid file, when it was opened.
    [[nodiscard]] uint64_t Size() const { return file_.Size(); }
    // Fills the room with what the file has from there on. False when it ends before, or cannot be read; the room may
    // be filled in part.
    [[nodiscard]] bool ReadAt(uint64_t at, char* room, size_t size);
    // What the file has there: one byte at least and `size` at most, until the next call. Empty when it cannot be read,
    // and behind the end.
    [[nodiscard]] std::string_view View(uint64_t at, uint64_t size);

    // From here on `take` is given the file from its start on, each byte once, as far as views get: who only looks
    // forward reads it once for both. The same bytes as in the views, where these do not go back.
    void BeginPass(ByteTaker take);
    // Gives the rest, and no more after it. False when not all of the file could be read.
    [[nodiscard]] bool EndPass();
    // Gives no more.
    void DropPass();

private:
    struct Piece {
        std::vector<char> bytes;
        uint64_t start = 0;
        size_t size = 0; // none is held

        [[nodiscard]] bool Has(uint64_t at) const { return at >= start && at - start < size; }
        [[nodiscard]] std::string_view From(uint64_t at, uint64_t wanted) const
        {
            return std::string_view(bytes.data(), size).substr(at - start, wanted);
        }
    };
    // False when it cannot be read, and behind the end; the piece is empty then.
    [[nodiscard]] bool Load(Piece& piece, uint64_t at, size_t room);
    // Null when it cannot be read.
    [[nodiscard]] const Piece* PieceAt(uint64_t at);
    [[nodiscard]] bool LoadStretch(uint64_t at);

    TavomendEngine::InputFile file_;
    std::array<Piece, 2> pieces_;
    size_t latest_ = 0; // of the pieces
    Piece stretch_;
    ByteTaker take_;
    uint64_t passed_ = 0; // bytes given to it
};
} // namespace ORVX::Formats

#endif
