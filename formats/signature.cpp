#include "formats/signature.h"

#include <cerrno>
#include <fstream>
#include <functional>
#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <strings.h>
#include <vector>

#include "handles/crypto.h"
#include "handles/file_error.h"
#include "handles/sha256.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Formats {
using Handles::Crypto;
using TavomendEngine::FileUtils;

namespace {
constexpr size_t CHUNK_SIZE = 65536;

Crypto<EVP_PKEY> ReadKey(const std::string& path, bool isPrivate, std::string& error)
{
    const std::string pem = FileUtils::GetFileStream(path);
    const Crypto<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    const auto noPassPhrase = [](char*, int, int, void*) { return 0; };
    Crypto<EVP_PKEY> key(isPrivate ? PEM_read_bio_PrivateKey(bio.get(), nullptr, noPassPhrase, nullptr)
                                   : PEM_read_bio_PUBKEY(bio.get(), nullptr, noPassPhrase, nullptr));
    if (key == nullptr || EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) {
        const std::string unread = Handles::WhyUnreadable(path);
        error = std::string("no usable ") + (isPrivate ? "private" : "public") + " key in " + path + ": " +
                (!unread.empty() ? unread
                 : isPrivate     ? "it holds no RSA private key (PEM, without a pass phrase)"
                                 : "it holds no RSA public key (PEM \"PUBLIC KEY\")");
        key.reset();
    }
    return key;
}

bool ReadPieces(const std::string& path, const std::function<bool(const char*, size_t)>& take, std::string& error)
{
    if (!Handles::WhyUnreadable(path).empty()) { // a pipe would keep whoever opens it, a device would never end
        error = Handles::CannotRead(path);
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    std::vector<char> buffer(CHUNK_SIZE);
    while (file.read(buffer.data(), static_cast<long>(buffer.size())), file.gcount() > 0) {
        if (!take(buffer.data(), static_cast<size_t>(file.gcount()))) {
            error = "libcrypto has failed on " + path;
            return false;
        }
    }
    const bool isRead = file.is_open() && !file.bad();
    if (!isRead) {
        error = Handles::CannotRead(path);
    }
    return isRead;
}

std::string PemOf(EVP_PKEY* key, bool isPrivate)
{
    const Crypto<BIO> bio(BIO_new(BIO_s_mem()));
    const int isWritten = isPrivate ? PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr)
                                    : PEM_write_bio_PUBKEY(bio.get(), key);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return isWritten == 1 ? std::string(data, static_cast<size_t>(size)) : "";
}
} // namespace

bool MakeKeyPair(int bits, const std::string& privatePath, const std::string& publicPath, std::string& error)
{
    const Crypto<EVP_PKEY> key(EVP_RSA_gen(static_cast<unsigned>(bits)));
    if (key == nullptr) {
        error = "libcrypto cannot make a key of " + std::to_string(bits) + " bits";
        return false;
    }
    for (const auto& [path, isPrivate] : {std::pair{privatePath, true}, std::pair{publicPath, false}}) {
        const std::string pem = PemOf(key.get(), isPrivate);
        if (pem.empty() || !FileUtils::ReplaceFile(path, pem, isPrivate ? 0600 : 0644)) {
            error = Handles::CannotWrite(path, errno);
            return false;
        }
    }
    return true;
}

bool CheckSigningKey(const std::string& privateKeyPath, std::string& error)
{
    const Crypto<EVP_PKEY> key = ReadKey(privateKeyPath, true, error);
    const int bits = key == nullptr ? MIN_KEY_BITS : EVP_PKEY_get_bits(key.get());
    if (bits < MIN_KEY_BITS) {
        error = "no usable private key in " + privateKeyPath + ": it has " + std::to_string(bits) +
                " bits, and a patch wants " + std::to_string(MIN_KEY_BITS) + " or more";
    }
    return key != nullptr && bits >= MIN_KEY_BITS;
}

bool SignFile(const std::string& path, const std::string& privateKeyPath, const std::string& signaturePath,
              std::string& error)
{
    const Crypto<EVP_PKEY> key = ReadKey(privateKeyPath, true, error);
    if (key == nullptr) {
        return false;
    }
    const Crypto<EVP_MD_CTX> context(EVP_MD_CTX_new());
    size_t size = 0;
    const bool isHashed = EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
                          ReadPieces(
                              path,
                              [&context](const char* data, size_t count) {
                                  return EVP_DigestSignUpdate(context.get(), data, count) == 1;
                              },
                              error) &&
                          EVP_DigestSignFinal(context.get(), nullptr, &size) == 1;
    std::string signature(size, '\0');
    if (!isHashed ||
        EVP_DigestSignFinal(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size) != 1) {
        error = error.empty() ? "libcrypto cannot sign " + path : error;
        return false;
    }
    signature.resize(size);
    if (!FileUtils::ReplaceFile(signaturePath, signature, 0644)) {
        error = Handles::CannotWrite(signaturePath, errno);
        return false;
    }
    return true;
}

bool VerifyFile(const std::string& path, const std::string& signaturePath, const std::string& keyPath,
                std::string& error)
{
    std::string ignored;
    Crypto<EVP_PKEY> key = ReadKey(keyPath, false, error);
    if (key == nullptr) {
        key = ReadKey(keyPath, true, ignored);
    }
    if (key == nullptr) {
        return false;
    }
    error.clear();
    const std::string signature = FileUtils::GetFileStream(signaturePath, MAX_SIGNATURE_SIZE);
    if (signature.empty()) {
        const bool isLarge = FileUtils::GetFileSize(signaturePath, FileUtils::Unit::BYTE) > 0;
        const bool isUnread = !Handles::WhyUnreadable(signaturePath).empty();
        error = isUnread ? Handles::CannotRead(signaturePath)
                         : signaturePath + (isLarge ? " is larger than a signature can be" : " is empty");
        return false;
    }
    const Crypto<EVP_MD_CTX> context(EVP_MD_CTX_new());
    const bool isHashed = EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) == 1 &&
                          ReadPieces(
                              path,
                              [&context](const char* data, size_t count) {
                                  return EVP_DigestVerifyUpdate(context.get(), data, count) == 1;
                              },
                              error);
    const auto* bytes = reinterpret_cast<const unsigned char*>(signature.data());
    if (isHashed && EVP_DigestVerifyFinal(context.get(), bytes, signature.size()) == 1) {
        return true;
    }
    error = error.empty() ? "the signature does not verify" : error;
    return false;
}

bool HasPublicKey(const std::string& keyPath, std::string& error)
{
    return ReadKey(keyPath, false, error) != nullptr;
}

std::string Sha256OfFile(const std::string& path, std::string& error)
{
    Handles::Sha256 hash;
    Handles::Sha256Digest digest{};
    const auto add = [&hash](const char* data, size_t count) {
        hash.Add(data, count);
        return true;
    };
    return ReadPieces(path, add, error) && hash.Finish(digest) ? Handles::Sha256Text(digest) : "";
}

bool IsSameHash(const std::string& one, const std::string& other)
{
    return strcasecmp(one.c_str(), other.c_str()) == 0;
}
} // namespace ORVX::Formats
