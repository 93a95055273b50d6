// Owners of libcrypto's objects.
#ifndef TAVOMEND_HANDLES_CRYPTO_H
#define TAVOMEND_HANDLES_CRYPTO_H

#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>

namespace ORVX::Handles {
struct CryptoDeleter {
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

// Crypto<BIO>, Crypto<EVP_PKEY>, Crypto<EVP_MD_CTX>, Crypto<EVP_CIPHER_CTX>.
template <typename T>
using Crypto = std::unique_ptr<T, CryptoDeleter>;
} // namespace ORVX::Handles

#endif
