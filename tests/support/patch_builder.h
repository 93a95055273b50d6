// Signed patch packages for tests, made by hand: nothing here asks the engine or the package maker how.
#ifndef TAVOMEND_TESTS_SUPPORT_PATCH_BUILDER_H
#define TAVOMEND_TESTS_SUPPORT_PATCH_BUILDER_H

#include <cstdint>
#include <memory>
#include <openssl/types.h>
#include <string>
#include <vector>

#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
// A zstd frame with the old bytes as prefix, content size and checksum.
[[nodiscard]] std::string MakeZstdDifference(const std::string& oldBytes, const std::string& newBytes);

// A new RSA key.
class SigningKey {
public:
    enum class Whose { DEVICES, NOBODYS }; // that the devices of tests trust; another one each time

    explicit SigningKey(Whose whose = Whose::DEVICES);
    ~SigningKey();
    SigningKey(const SigningKey&) = delete;
    SigningKey& operator=(const SigningKey&) = delete;
    [[nodiscard]] std::string PublicPem() const;
    [[nodiscard]] std::string Sign(const std::string& content, const char* digest = "SHA256") const;

private:
    EVP_PKEY* key_;
};

struct PatchFile {
    std::string base; // path on the device; its name becomes the archive member's
    std::string oldBytes;
    std::string newBytes;
    bool isWhole = false;
    std::string hash;       // of the new bytes unless given
    std::string difference; // the made one unless given
};

// From a factory file's version to another one of the same application.
[[nodiscard]] PatchFile FileOf(const Vab& factory, uint32_t version, const std::string& base);

struct PatchApp {
    std::string bundleName;
    uint32_t version = 2;
    uint32_t preVersion = 1;
    std::vector<PatchFile> files;
    std::string patchType = "hot";
    int appType = 0;
    bool isMemberMissing = false; // named in the configuration, not in the archive
};

[[nodiscard]] PatchApp HotApp(const Vab& factory, uint32_t version, const std::string& base);

struct PatchRecipe {
    std::string version = "patch01";
    int space = 1; // KiB
    int action = 0;
    std::string models = R"(["model"])";
    std::string baseVersions = R"(["1.0.0"])";
    std::vector<PatchApp> apps;
    std::string configText; // instead of the made configuration
};

class PatchBuilder {
public:
    explicit PatchBuilder(PatchRecipe recipe) : recipe_(std::move(recipe)) {}
    [[nodiscard]] std::string Config() const;
    [[nodiscard]] std::string Package() const;
    // Puts package and signature into the package directory and lays out the files of cold applications, as whoever
    // delivers a package does.
    void Deliver(const SigningKey& key) const;

private:
    PatchRecipe recipe_;
};
} // namespace ORVX::TavomendTest

#endif
