// Keys and signatures of patch packages: RSA PKCS#1 v1.5 (RFC 8017) over SHA-256, the raw signature in a file.
#ifndef TAVOMEND_FORMATS_SIGNATURE_H
#define TAVOMEND_FORMATS_SIGNATURE_H

#include <string>

namespace ORVX::Formats {
// Files are read in pieces. Every failure gives one line for people in `error`.
[[nodiscard]] bool MakeKeyPair(int bits, const std::string& privatePath, const std::string& publicPath,
                               std::string& error);
[[nodiscard]] bool SignFile(const std::string& path, const std::string& privateKeyPath,
                            const std::string& signaturePath, std::string& error);
// Against the public half of a private key file, or a public key file.
[[nodiscard]] bool VerifyFile(const std::string& path, const std::string& signaturePath, const std::string& keyPath,
                              std::string& error);
// 64 lower-case hexadecimal digits; empty on failure.
[[nodiscard]] std::string Sha256OfFile(const std::string& path, std::string& error);
} // namespace ORVX::Formats

#endif
