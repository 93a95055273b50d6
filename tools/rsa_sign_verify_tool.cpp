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
    file.content = FileUtils::GetContent(info.patchFilePath);
    if (file.content.View().empty()) {
        TAVOMEND_LOG_E("patchData is empty");
        return false;
    }
    const Crypto<BIO> bio(BIO_new_file(keyPath.c_str(), "r"));
    RsaKey key;
    if (!key.Read(bio.get())) {
        TAVOMEND_LOG_E("get pubKey is failed");
        return false;
    }
    const bool result = VerifyAndHash(key.Get(), file.content.View(), signData, file.digest);
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
    Handles::Sha256Digest ignored{};
    return VerifyAndHash(rsa, data, sign, ignored);
}

bool RsaSignVerifyTool::VerifyAndHash(RSA* rsa, std::string_view data, const std::string& sign,
                                      Handles::Sha256Digest& digest)
{
    if (rsa == nullptr || data.empty() || sign.empty()) {
        TAVOMEND_LOG_E("verify evp data is null");
        return false;
    }
    const Crypto<EVP_PKEY> key(EVP_PKEY_new());
    if (key == nullptr) {
        TAVOMEND_LOG_E("verify input data is null");
        return false;
    }
    if (EVP_PKEY_set1_RSA(key.get(), rsa) != 1) {
        TAVOMEND_LOG_E("verify evp set1 is null");
        return false;
    }
    const Crypto<EVP_MD_CTX> context(EVP_MD_CTX_new());
    if (context == nullptr || EVP_MD_CTX_reset(context.get()) != 1) {
        TAVOMEND_LOG_E("verify evp init is null");
        return false;
    }
    if (EVP_VerifyInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
        TAVOMEND_LOG_E("EVP_VerifyInit_ex failed");
        return false;
    }
    if (EVP_VerifyUpdate(context.get(), data.data(), data.size()) != 1) {
        TAVOMEND_LOG_E("EVP_VerifyUpdate failed");
        return false;
    }
    // Of what is verified, which is hashed once.
    const Crypto<EVP_MD_CTX> copy(EVP_MD_CTX_new());
    const auto* signBytes = reinterpret_cast<const unsigned char*>(sign.data());
    if (copy == nullptr || EVP_MD_CTX_copy_ex(copy.get(), context.get()) != 1 ||
        EVP_DigestFinal_ex(copy.get(), digest.data(), nullptr) != 1 ||
        EVP_VerifyFinal(context.get(), signBytes, static_cast<unsigned int>(sign.size()), key.get()) != 1) {
        TAVOMEND_LOG_E("EVP_VerifyFinal failed");
        return false;
    }
    return true;
}
} // namespace ORVX::TavomendEngine
