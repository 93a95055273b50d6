// Proof of a package's integrity and origin: RSA PKCS#1 v1.5 (RFC 8017) over the SHA-256 of the whole file, with a
// detached signature that is the raw signature and nothing else.
#ifndef TAVOMEND_TOOLS_RSA_SIGN_VERIFY_TOOL_H
#define TAVOMEND_TOOLS_RSA_SIGN_VERIFY_TOOL_H

#include <cstdint>
#include <memory>
#include <openssl/types.h>
#include <optional>
#include <string>

#include "handles/sha256.h"
#include "platform/api/ref_base.h"
#include "tools/sealed_file.h"

namespace ORVX::TavomendEngine {
// Selects the public key.
enum class PatchFileType : int32_t {
    APP = 0,
};

// Owned by each of the two package managers. Stateless; from any thread. Every failure is false and one error line in
// the log, which says why.
class RsaSignVerifyTool : public virtual RefBase {
public:
    struct SignInfo {
        std::string patchFilePath; // what is signed
        std::string signFilePath;
        PatchFileType type = PatchFileType::APP;
    };

    // What was verified; what is under its path may be another one by now.
    struct VerifiedFile {
        std::unique_ptr<SealedFile> file;
        Handles::Sha256Digest digest{};
    };

    // True when both files exist and the signature verifies under the key of their type.
    [[nodiscard]] static bool VerifyFileIntegrity(const SignInfo& info);
    // The same, and the file that the signature verifies; nothing where that gives false.
    [[nodiscard]] static std::optional<VerifiedFile> ReadVerified(const SignInfo& info);
    // The same for files that exist. Each is read once, what is signed piece by piece; an empty one is refused, and so
    // is, before it is read, a signature of more than 4 KiB, which is no key's.
    [[nodiscard]] static bool VerifySign(const SignInfo& info);
    // The key file of a type, PEM "PUBLIC KEY"; empty for a type without one.
    [[nodiscard]] static std::string GetPubKeyPath(PatchFileType type);
    // Whether the path names a file; its content is not looked at.
    [[nodiscard]] static bool CheckPubKey(const std::string& path);
    // rsa stays the caller's. False for a null key and for empty data or signature, too.
    [[nodiscard]] static bool VerifyEVP(RSA* rsa, const std::string& data, const std::string& sign);

private:
    [[nodiscard]] static bool VerifyContent(const SignInfo& info, VerifiedFile& file);
};
} // namespace ORVX::TavomendEngine

#endif
