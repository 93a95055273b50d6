// Keys and signatures of patch packages, and the hashes of their files: RSA PKCS#1 v1.5 (RFC 8017) over the SHA-256 of
// the whole package, the raw signature alone in a file; keys are PEM. For hosts and the maker; the engine has a check
// of its own (tools/rsa_sign_verify_tool.h).
#ifndef TAVOMEND_FORMATS_SIGNATURE_H
#define TAVOMEND_FORMATS_SIGNATURE_H

#include <string>

namespace ORVX::Formats {
// Bytes: twice what the longest key that libcrypto verifies with makes. A larger file is not read.
constexpr size_t MAX_SIGNATURE_SIZE = 4096;

// The smallest RSA key that packages are made with.
constexpr int MIN_KEY_BITS = 2048;

// Files are read in pieces, and written whole or not at all. Every failure gives one line for people in `error`.

// Writes a new RSA key of so many bits: the private half with mode 0600, the public half ("PUBLIC KEY") with 0644.
// Replaces what is there.
[[nodiscard]] bool MakeKeyPair(int bits, const std::string& privatePath, const std::string& publicPath,
                               std::string& error);
// Whether packages can be signed with a private key: RSA of at least MIN_KEY_BITS, without a pass phrase. A key that is
// missing, of another kind or too small is "no usable private key", with the reason.
[[nodiscard]] bool CheckSigningKey(const std::string& privateKeyPath, std::string& error);
// Signs a file with a private key that has no pass phrase; the signature file gets mode 0644.
[[nodiscard]] bool SignFile(const std::string& path, const std::string& privateKeyPath,
                            const std::string& signaturePath, std::string& error);
// keyPath: a public key, or a private key, whose public half is taken. A key file that is missing or holds something
// else is "no usable public key", with the reason, and nothing is said about the signature then.
[[nodiscard]] bool VerifyFile(const std::string& path, const std::string& signaturePath, const std::string& keyPath,
                              std::string& error);

// Whether a file holds a public key that VerifyFile takes.
[[nodiscard]] bool HasPublicKey(const std::string& keyPath, std::string& error);

// 64 lower-case hexadecimal digits; empty on failure.
[[nodiscard]] std::string Sha256OfFile(const std::string& path, std::string& error);
// Whether two hashes in hexadecimal are one: the case of the digits says nothing.
[[nodiscard]] bool IsSameHash(const std::string& one, const std::string& other);
} // namespace ORVX::Formats

#endif
