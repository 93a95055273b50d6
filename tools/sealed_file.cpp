#include "tools/sealed_file.h"

#include <algorithm>
#include <exception>

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t PIECE_SIZE = size_t{64} * 1024;
// Of pieces that are mapped at once: what a process may lock is limited.
constexpr size_t WINDOW_SIZE = 16 * PIECE_SIZE;
} // namespace

std::unique_ptr<SealedFile> SealedFile::Read(const std::string& path, const Taker& take)
{
    try {
        std::unique_ptr<SealedFile> sealed(new SealedFile(path));
        return sealed->file_.IsValid() && sealed->SealAll(take) ? std::move(sealed) : nullptr;
    } catch (const std::exception&) {
        return nullptr; // a size that there is no memory for
    }
}

bool SealedFile::SealAll(const Taker& take)
{
    for (Piece& piece : pieces_) {
        piece.bytes.reserve(PIECE_SIZE); // no later read needs memory
    }
    const uint64_t count = (Size() + PIECE_SIZE - 1) / PIECE_SIZE;
    seals_.reserve(count);
    // The taker and the sealer look at a mapped piece one after the other. Both saw the same only if nobody was let in
    // to write, from the first piece to the last.
    if (file_.Hold()) {
        const bool isSealed = SealMapped(take);
        if (!file_.Release() || !isSealed) {
            return false;
        }
    }
    std::vector<char>& bytes = pieces_.front().bytes;
    while (seals_.size() < count) {
        if (!Load(seals_.size(), bytes) || !SealNext({bytes.data(), bytes.size()}, take)) {
            return false;
        }
    }
    return true;
}

bool SealedFile::SealMapped(const Taker& take)
{
    for (uint64_t at = 0; at < Size() && file_.IsHeld(); at += WINDOW_SIZE) {
        const Handles::FilePages pages = file_.Map(at, std::min<uint64_t>(WINDOW_SIZE, Size() - at));
        if (!pages.IsValid()) {
            break;
        }
        for (std::string_view rest = pages.View(); !rest.empty();
             rest.remove_prefix(std::min(PIECE_SIZE, rest.size()))) {
            if (!SealNext(rest.substr(0, PIECE_SIZE), take)) {
                return false;
            }
        }
    }
    return true;
}

bool SealedFile::SealNext(std::string_view piece, const Taker& take)
{
    take(piece.data(), piece.size());
    seals_.emplace_back();
    return sealer_.Make(seals_.size() - 1, piece, seals_.back());
}

bool SealedFile::Load(uint64_t number, std::vector<char>& bytes) const
{
    const uint64_t at = number * PIECE_SIZE;
    bytes.resize(std::min<uint64_t>(PIECE_SIZE, Size() - at));
    return file_.ReadAt(at, bytes.data(), bytes.size());
}

const std::vector<char>* SealedFile::PieceOf(uint64_t number)
{
    if (pieces_.front().number == number) {
        return &pieces_.front().bytes;
    }
    std::swap(pieces_.front(), pieces_.back());
    Piece& piece = pieces_.front();
    if (piece.number != number) {
        const bool isKnown =
            Load(number, piece.bytes) && sealer_.Fits(number, {piece.bytes.data(), piece.bytes.size()}, seals_[number]);
        piece.number = isKnown ? number : UINT64_MAX;
    }
    return piece.number == number ? &piece.bytes : nullptr;
}

std::string_view SealedFile::View(uint64_t at, uint64_t size)
{
    const std::vector<char>* const piece = at < Size() ? PieceOf(at / PIECE_SIZE) : nullptr;
    return piece == nullptr ? std::string_view()
                            : std::string_view(piece->data(), piece->size()).substr(at % PIECE_SIZE, size);
}

bool SealedFile::ReadAt(uint64_t at, char* room, size_t size)
{
    while (size > 0) {
        const std::string_view bytes = View(at, size);
        if (bytes.empty()) {
            return false;
        }
        at += bytes.size();
        room = std::copy(bytes.begin(), bytes.end(), room);
        size -= bytes.size();
    }
    return true;
}
} // namespace ORVX::TavomendEngine
