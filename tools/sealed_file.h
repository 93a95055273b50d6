// A file that was read once, and whose content cannot become another one for whoever reads it again.
#ifndef TAVOMEND_TOOLS_SEALED_FILE_H
#define TAVOMEND_TOOLS_SEALED_FILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/utility/input_file.h"
#include "tools/piece_sealer.h"

namespace ORVX::TavomendEngine {
// Holds the file open, and of its content a seal for each piece (16 bytes for 64 KiB) instead of the bytes. What was
// renamed into the file's place is not read; what was written into the file, or cut off it, fails to be read.
// For one thread.
class SealedFile {
public:
    // Is given all of the file, in order, while it is sealed. The bytes may be those that the system shows to
    // everybody: to be read at once, and never written.
    using Taker = std::function<void(const void* bytes, size_t size)>;

    // Reads a regular file once. Null when it is none, cannot be read to the end that it had when it was opened, cannot
    // be sealed, or may have been changed between what the taker saw and what was sealed; the taker may have been given
    // a part of it then. Whoever wants to write to the file meanwhile waits for a moment.
    [[nodiscard]] static std::unique_ptr<SealedFile> Read(const std::string& path, const Taker& take);

    [[nodiscard]] uint64_t Size() const { return file_.Size(); }
    // What the file had there when it was sealed: one byte at least and `size` at most, until the next call. Empty when
    // it has something else there now, when it cannot be read, and behind the end.
    [[nodiscard]] std::string_view View(uint64_t at, uint64_t size);
    // Fills the room with it. False where a part of it is not to be had; the room may be filled in part.
    [[nodiscard]] bool ReadAt(uint64_t at, char* room, size_t size);

private:
    struct Piece {
        uint64_t number = UINT64_MAX;
        std::vector<char> bytes;
    };

    explicit SealedFile(const std::string& path) : file_(path) {}
    [[nodiscard]] bool SealAll(const Taker& take);
    // From the beginning on, as far as it is held and can be mapped. False when a piece cannot be sealed.
    [[nodiscard]] bool SealMapped(const Taker& take);
    [[nodiscard]] bool SealNext(std::string_view piece, const Taker& take);
    [[nodiscard]] bool Load(uint64_t number, std::vector<char>& bytes) const;
    // Null where it is not what it was.
    [[nodiscard]] const std::vector<char>* PieceOf(uint64_t number);

    InputFile file_;
    PieceSealer sealer_;
    std::vector<Seal> seals_; // of as many pieces as are sealed
    // Those used last, the latest first: an archive's reader goes to and fro between its directory and its members.
    std::array<Piece, 2> pieces_;
};
} // namespace ORVX::TavomendEngine

#endif
