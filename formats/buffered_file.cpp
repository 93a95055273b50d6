#include "formats/buffered_file.h"

#include <algorithm>

namespace ORVX::Formats {
const BufferedFile::Piece* BufferedFile::PieceAt(uint64_t at)
{
    if (pieces_[latest_].Has(at)) {
        return &pieces_[latest_];
    }
    latest_ = 1 - latest_;
    Piece& piece = pieces_[latest_];
    if (!piece.Has(at)) {
        const uint64_t left = Size() - std::min(at, Size());
        piece.start = at;
        piece.size = static_cast<size_t>(std::min<uint64_t>(PIECE_SIZE, left));
        if (!file_.ReadAt(at, piece.bytes.data(), piece.size)) {
            piece.size = 0;
        }
    }
    return piece.size == 0 ? nullptr : &piece;
}

bool BufferedFile::ReadAt(uint64_t at, char* room, size_t size)
{
    if (size > PIECE_SIZE) {
        return file_.ReadAt(at, room, size);
    }
    while (size > 0) {
        const Piece* const piece = PieceAt(at);
        if (piece == nullptr) {
            return false;
        }
        const char* const from = piece->bytes.data() + (at - piece->start);
        const size_t count = std::min<uint64_t>(size, piece->size - (at - piece->start));
        room = std::copy_n(from, count, room);
        at += count;
        size -= count;
    }
    return true;
}
} // namespace ORVX::Formats
