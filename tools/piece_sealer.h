// Short proofs that pieces of data are still what they were.
#ifndef TAVOMEND_TOOLS_PIECE_SEALER_H
#define TAVOMEND_TOOLS_PIECE_SEALER_H

#include <array>
#include <cstdint>
#include <string_view>

#include "handles/crypto.h"

namespace ORVX::TavomendEngine {
using Seal = std::array<uint8_t, 16>;

// GMAC (NIST SP 800-38D) with AES-128, under a random key of its own that never leaves it: without the key nobody makes
// other data that its seal fits. It takes a small part of the time of a hash. For one thread.
class PieceSealer {
public:
    PieceSealer();

    // Needs a number that no other piece of this sealer has. False when the library failed.
    [[nodiscard]] bool Make(uint64_t number, std::string_view piece, Seal& seal) const;
    // False for other data, or the same under another number.
    [[nodiscard]] bool Fits(uint64_t number, std::string_view piece, const Seal& seal) const;

private:
    Handles::Crypto<EVP_CIPHER_CTX> context_; // null without a key
};
} // namespace ORVX::TavomendEngine

#endif
