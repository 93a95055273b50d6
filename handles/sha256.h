// SHA-256 (FIPS 180-4) of data that comes in parts.
#ifndef TAVOMEND_HANDLES_SHA256_H
#define TAVOMEND_HANDLES_SHA256_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "handles/crypto.h"

namespace ORVX::Handles {
using Sha256Digest = std::array<uint8_t, 32>;

// 64 lower-case hexadecimal digits.
[[nodiscard]] inline std::string Sha256Text(const Sha256Digest& digest)
{
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : digest) {
        text += DIGITS[byte >> 4U];
        text += DIGITS[byte & 15U];
    }
    return text;
}

// Add the parts in order, then Finish; a failure of the library shows at the end. For one thread.
class Sha256 {
public:
    Sha256() : context_(EVP_MD_CTX_new())
    {
        isGood_ = context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1;
    }

    void Add(const void* data, size_t size) { isGood_ = isGood_ && EVP_DigestUpdate(context_.get(), data, size) == 1; }

    // The digest of all that was added; nothing may be added afterwards. False when the library failed.
    [[nodiscard]] bool Finish(Sha256Digest& digest)
    {
        return isGood_ && EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr) == 1;
    }

    // The digest of data that is all there.
    [[nodiscard]] static bool Of(const void* data, size_t size, Sha256Digest& digest)
    {
        Sha256 hash;
        hash.Add(data, size);
        return hash.Finish(digest);
    }
    // The same in digits; empty when the library failed.
    [[nodiscard]] static std::string TextOf(const std::string& text)
    {
        Sha256Digest digest{};
        return Of(text.data(), text.size(), digest) ? Sha256Text(digest) : "";
    }

private:
    Crypto<EVP_MD_CTX> context_;
    bool isGood_ = false;
};
} // namespace ORVX::Handles

#endif
