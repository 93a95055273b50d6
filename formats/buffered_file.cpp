#include "formats/buffered_file.h"

#include <algorithm>
#include <utility>

namespace ORVX::Formats {
namespace {
constexpr size_t PIECE_SIZE = size_t{4} << 10U;
constexpr size_t STRETCH_SIZE = size_t{256} << 10U;
} // namespace

bool BufferedFile::Load(Piece& piece, uint64_t at, size_t room)
{
    piece.bytes.resize(room);
    piece.start = at;
    piece.size = static_cast<size_t>(std::min<uint64_t>(room, Size() - std::min(at, Size())));
    if (!file_.ReadAt(at, piece.bytes.data(), piece.size)) {
        piece.size = 0;
    }
    return piece.size > 0;
}

const BufferedFile::Piece* BufferedFile::PieceAt(uint64_t at)
{
    if (stretch_.Has(at)) {
        return &stretch_;
    }
    if (!pieces_[latest_].Has(at)) {
        latest_ = 1 - latest_;
    }
    Piece& piece = pieces_[latest_];
    return piece.Has(at) || Load(piece, at, PIECE_SIZE) ? &piece : nullptr;
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
        const std::string_view bytes = piece->From(at, size);
        room = std::copy(bytes.begin(), bytes.end(), room);
        at += bytes.size();
        size -= bytes.size();
    }
    return true;
}

std::string_view BufferedFile::View(uint64_t at, uint64_t size)
{
    while (!stretch_.Has(at)) {
        // What lies between goes by first.
        if (!LoadStretch(take_ ? std::min(at, passed_) : at)) {
            return {};
        }
    }
    return stretch_.From(at, size);
}

bool BufferedFile::LoadStretch(uint64_t at)
{
    if (!Load(stretch_, at, STRETCH_SIZE)) {
        return false;
    }
    if (take_ && stretch_.Has(passed_)) {
        const std::string_view bytes = stretch_.From(passed_, stretch_.size);
        take_(bytes.data(), bytes.size());
        passed_ += bytes.size();
    }
    return true;
}

void BufferedFile::BeginPass(ByteTaker take)
{
    take_ = std::move(take);
    passed_ = 0;
    stretch_.size = 0; // or what it has would not be given
}

bool BufferedFile::EndPass()
{
    while (take_ && passed_ < Size()) {
        if (!LoadStretch(passed_)) {
            break;
        }
    }
    const bool isWhole = !take_ || passed_ == Size();
    DropPass();
    return isWhole;
}

void BufferedFile::DropPass()
{
    take_ = nullptr;
}
} // namespace ORVX::Formats
