// The RSA object calls are deprecated in OpenSSL 3, and kept: a device may still bring libcrypto 1.1.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "tools/rsa_sign_verify_tool.h"

#include <map>
#include <memory>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "common/log.h"
#include "formats/device_paths.h"
#include "formats/signature.h"
#include "handles/crypto.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
using Handles::Crypto;

namespace {
const std::map<PatchFileType, std::string> PUBLIC_KEYS = {{PatchFileType::APP, Formats::PUBLIC_KEY_PATH}};

// PEM_read_bio_RSA_PUBKEY may replace or free the object that it is given, so the owner hands out its address.
class RsaKey {
public:
    RsaKey() : rsa_(RSA_new()) {}
    ~RsaKey() { RSA_free(rsa_); }
    RsaKey(const RsaKey&) = delete;
    RsaKey& operator=(const RsaKey&) = delete;
    [[nodiscard]] bool Read(BIO* bio)
    {
        return bio != nullptr && rsa_ != nullptr && PEM_read_bio_RSA_PUBKEY(bio, &rsa_, nullptr, nullptr) != nullptr;
    }
    [[nodiscard]] RSA* Get() const { return rsa_; }

private:
    RSA* rsa_;
};

// What a signature is over, of data that comes in parts. A failure of the library shows at the end.
class SignedData {
public:
    SignedData() : context_(EVP_MD_CTX_new())
    {
        if (context_ == nullptr || EVP_MD_CTX_reset(context_.get()) != 1) {
            failure_ = "verify evp init is null";
        } else if (EVP_VerifyInit_ex(context_.get(), EVP_sha256(), nullptr) != 1) {
            failure_ = "EVP_VerifyInit_ex failed";
        }
    }

    void Add(const void* data, size_t size)
    {
        if (failure_ == nullptr && EVP_VerifyUpdate(context_.get(), data, size) != 1) {
            failure_ = "EVP_VerifyUpdate failed";
        }
    }

    // digest: of all the data, which is hashed once. False, with a line in the log, when the signature is another
    // one's.
    [[nodiscard]] bool Verify(RSA* rsa, const std::string& sign, Handles::Sha256Digest& digest) const
    {
        const Crypto<EVP_PKEY> key(EVP_PKEY_new());
        if (key == nullptr) {
            TAVOMEND_LOG_E("verify input data is null");
            return false;
        }
        if (EVP_PKEY_set1_RSA(key.get(), rsa) != 1) {
            TAVOMEND_LOG_E("verify evp set1 is null");
            return false;
        }
        if (failure_ != nullptr) {
            TAVOMEND_LOG_E("%{public}s", failure_);
            return false;
        }
        const Crypto<EVP_MD_CTX> copy(EVP_MD_CTX_new());
        const auto* signBytes = reinterpret_cast<const unsigned char*>(sign.data());
        if (copy == nullptr || EVP_MD_CTX_copy_ex(copy.get(), context_.get()) != 1 ||
            EVP_DigestFinal_ex(copy.get(), digest.data(), nullptr) != 1 ||
            EVP_VerifyFinal(context_.get(), signBytes, static_cast<unsigned int>(sign.size()), key.get()) != 1) {
            TAVOMEND_LOG_E("EVP_VerifyFinal failed");
            return false;
        }
        return true;
    }

private:
    Crypto<EVP_MD_CTX> context_;
    const char* failure_ = nullptr;
};
} // namespace

bool RsaSignVerifyTool::VerifyFileIntegrity(const SignInfo& info)
{
    return ReadVerified(info).has_value();
}

std::optional<RsaSignVerifyTool::VerifiedFile> RsaSignVerifyTool::ReadVerified(const SignInfo& info)
{
    TAVOMEND_LOG_I("verify file integrity begin");
    if (!FileUtils::FileIsExist(info.patchFilePath)) {
        TAVOMEND_LOG_E("patch file is not found");
        return std::nullopt;
    }
    if (!FileUtils::FileIsExist(info.signFilePath)) {
        TAVOMEND_LOG_E("sign file not found");
        return std::nullopt;
    }
    VerifiedFile file;
    return VerifyContent(info, file) ? std::optional(std::move(file)) : std::nullopt;
}

bool RsaSignVerifyTool::VerifySign(const SignInfo& info)
{
    VerifiedFile file;
    return VerifyContent(info, file);
}

bool RsaSignVerifyTool::VerifyContent(const SignInfo& info, VerifiedFile& file)
{
    const std::string keyPath = GetPubKeyPath(info.type);
    if (!CheckPubKey(keyPath)) {
        TAVOMEND_LOG_E("checkPubKey failed");
        return false;
    }
    const std::string signData = FileUtils::GetFileStream(info.signFilePath, Formats::MAX_SIGNATURE_SIZE);
    if (signData.empty()) {
        TAVOMEND_LOG_E("signData is empty");
        return false;
    }
    SignedData data;
    file.file =
        SealedFile::Read(info.patchFilePath, [&data](const void* bytes, size_t size) { data.Add(bytes, size); });
    if (file.file == nullptr || file.file->Size() == 0) {
        TAVOMEND_LOG_E("patchData is empty");
        return false;
    }
    const Crypto<BIO> bio(BIO_new_file(keyPath.c_str(), "r"));
    RsaKey key;
    if (!key.Read(bio.get())) {
        TAVOMEND_LOG_E("get pubKey is failed");
        return false;
    }
    const bool result = data.Verify(key.Get(), signData, file.digest);
    TAVOMEND_LOG_I("verify sign result: %{public}d", static_cast<int>(result));
    return result;
}

std::string RsaSignVerifyTool::GetPubKeyPath(PatchFileType type)
{
    const auto found = PUBLIC_KEYS.find(type);
    if (found == PUBLIC_KEYS.end()) {
        TAVOMEND_LOG_E("get pubKey path failed, type: %d", static_cast<int>(type));
        return "";
    }
    return found->second;
}

bool RsaSignVerifyTool::CheckPubKey(const std::string& path)
{
    if (path.empty()) {
        TAVOMEND_LOG_E("cert file is empty");
        return false;
    }
    if (!FileUtils::FileIsExist(path)) {
        TAVOMEND_LOG_E("cert file is not found");
        return false;
    }
    return true;
}

bool RsaSignVerifyTool::VerifyEVP(RSA* rsa, const std::string& data, const std::string& sign)
{
    if (rsa == nullptr || data.empty() || sign.empty()) {
        TAVOMEND_LOG_E("verify evp data is null");
        return false;
    }
    SignedData signedData;
    signedData.Add(data.data(), data.size());
    Handles::Sha256Digest ignored{};
    return signedData.Verify(rsa, sign, ignored);
}
} // namespace ORVX::TavomendEngine
