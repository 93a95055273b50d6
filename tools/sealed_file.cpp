#include "tools/sealed_file.h"

#include <algorithm>
#include <exception>

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t PIECE_SIZE = size_t{64} * 1024;
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
    std::vector<char>& bytes = pieces_.front().bytes;
    seals_.resize((Size() + PIECE_SIZE - 1) / PIECE_SIZE);
    for (uint64_t number = 0; number < seals_.size(); ++number) {
        if (!Load(number, bytes) || !sealer_.Make(number, bytes, seals_[number])) {
            return false;
        }
        take(bytes.data(), bytes.size());
    }
    return true;
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
        const bool isKnown = Load(number, piece.bytes) && sealer_.Fits(number, piece.bytes, seals_[number]);
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
