// SHA-256 of data that comes in parts.
#ifndef TAVOMEND_PLATFORM_HOST_DIFF_SHA256_H
#define TAVOMEND_PLATFORM_HOST_DIFF_SHA256_H

#include "platform/host/diff/byte_view.h"

#include <array>
#include <memory>
#include <openssl/evp.h>

namespace ORVX::TavomendHost {
using Sha256Digest = std::array<uint8_t, 32>;

class Sha256 {
public:
    Sha256() : context_(EVP_MD_CTX_new()) { isGood_ = EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1; }

    void Add(ByteView bytes) { isGood_ = isGood_ && EVP_DigestUpdate(context_.get(), bytes.data, bytes.size) == 1; }

    // The digest of all that was added; nothing may be added afterwards. False when the library failed.
    [[nodiscard]] bool Finish(Sha256Digest& digest)
    {
        return isGood_ && EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr) == 1;
    }

    [[nodiscard]] static bool Of(ByteView bytes, Sha256Digest& digest)
    {
        Sha256 hash;
        hash.Add(bytes);
        return hash.Finish(digest);
    }

private:
    struct Deleter {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };

    std::unique_ptr<EVP_MD_CTX, Deleter> context_;
    bool isGood_ = false;
};
} // namespace ORVX::TavomendHost

#endif
