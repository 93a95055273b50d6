#include "tools/piece_sealer.h"

#include <openssl/crypto.h>
#include <openssl/rand.h>

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t KEY_SIZE = 16;
constexpr size_t NONCE_SIZE = 12;
} // namespace

PieceSealer::PieceSealer() : context_(EVP_CIPHER_CTX_new())
{
    std::array<uint8_t, KEY_SIZE> key{};
    if (context_ == nullptr || RAND_priv_bytes(key.data(), KEY_SIZE) != 1 ||
        EVP_EncryptInit_ex(context_.get(), EVP_aes_128_gcm(), nullptr, key.data(), nullptr) != 1) {
        context_.reset();
    }
    OPENSSL_cleanse(key.data(), key.size());
}

bool PieceSealer::Make(uint64_t number, std::string_view piece, Seal& seal) const
{
    std::array<uint8_t, NONCE_SIZE> nonce{};
    for (size_t i = 0; i < sizeof(number); ++i) {
        nonce[i] = static_cast<uint8_t>(number >> 8 * i);
    }
    // Data that is authenticated and not encrypted, and nothing else.
    const auto* bytes = reinterpret_cast<const uint8_t*>(piece.data());
    int ignored = 0;
    return context_ != nullptr && EVP_EncryptInit_ex(context_.get(), nullptr, nullptr, nullptr, nonce.data()) == 1 &&
           EVP_EncryptUpdate(context_.get(), nullptr, &ignored, bytes, static_cast<int>(piece.size())) == 1 &&
           EVP_EncryptFinal_ex(context_.get(), seal.data(), &ignored) == 1 &&
           EVP_CIPHER_CTX_ctrl(context_.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(seal.size()), seal.data()) == 1;
}

bool PieceSealer::Fits(uint64_t number, std::string_view piece, const Seal& seal) const
{
    Seal now{};
    return Make(number, piece, now) && CRYPTO_memcmp(now.data(), seal.data(), seal.size()) == 0;
}
} // namespace ORVX::TavomendEngine
