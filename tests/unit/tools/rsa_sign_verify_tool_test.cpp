// The RSA object calls are deprecated in OpenSSL 3; the tool takes such an object.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <gtest/gtest.h>
#include <memory>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "formats/device_paths.h"
#include "tests/support/device_fixture.h"
#include "tests/support/patch_builder.h"
#include "tools/rsa_sign_verify_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::PatchFileType;
using TavomendEngine::RsaSignVerifyTool;

class RsaSignVerifyToolTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(Formats::PUBLIC_KEY_PATH, key_.PublicPem());
        WriteFile("/data/p", content_);
        WriteFile("/data/s", key_.Sign(content_));
    }
    static bool Verify() { return RsaSignVerifyTool::VerifyFileIntegrity({"/data/p", "/data/s", PatchFileType::APP}); }

    const SigningKey key_;
    const std::string content_ = std::string(5000, 'p') + "end";
};

TEST_F(RsaSignVerifyToolTest, AcceptsTheSignersFileOnly)
{
    EXPECT_TRUE(Verify());
    const LogCapture log;
    for (const size_t at : {size_t{0}, content_.size() / 2, content_.size() - 1}) {
        std::string changed = content_;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        WriteFile("/data/p", changed);
        EXPECT_FALSE(Verify()) << at;
    }
    WriteFile("/data/p", content_);
    WriteFile("/data/s", SigningKey().Sign(content_)); // another key
    EXPECT_FALSE(Verify());
    WriteFile("/data/s", key_.Sign(content_, "SHA1"));
    EXPECT_FALSE(Verify());
    WriteFile("/data/s", key_.Sign(content_).substr(1));
    EXPECT_FALSE(Verify());
    EXPECT_EQ(log.Count("EVP_VerifyFinal failed"), 6U);
    EXPECT_EQ(log.Count("verify sign result: 0"), 6U);
}

TEST_F(RsaSignVerifyToolTest, NamesWhatIsMissing)
{
    struct Case {
        const char* path;
        const char* content;               // null: the file is removed
        std::vector<std::string> messages; // all that is logged
    };
    const std::string certificate = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
    const std::string begin = "verify file integrity begin";
    const Case cases[] = {
        {"/data/x", "", {begin, "verify sign result: 1"}},
        {"/data/p", nullptr, {begin, "patch file is not found"}},
        {"/data/s", nullptr, {begin, "sign file not found"}},
        {"/data/s", "", {begin, "signData is empty"}},
        {"/data/p", "", {begin, "patchData is empty"}},
        {Formats::PUBLIC_KEY_PATH, nullptr, {begin, "cert file is not found", "checkPubKey failed"}},
        {Formats::PUBLIC_KEY_PATH, certificate.c_str(), {begin, "get pubKey is failed"}},
        {Formats::PUBLIC_KEY_PATH, "", {begin, "get pubKey is failed"}},
    };
    for (const auto& missing : cases) {
        SetUp();
        if (missing.content == nullptr) {
            ASSERT_EQ(remove(missing.path), 0);
        } else {
            WriteFile(missing.path, missing.content);
        }
        const LogCapture log;
        EXPECT_EQ(Verify(), missing.messages.back() == "verify sign result: 1") << missing.messages.back();
        for (const auto& message : missing.messages) {
            EXPECT_EQ(log.Count(message), 1U) << message;
        }
        EXPECT_EQ(log.Count(""), missing.messages.size()) << missing.messages.back();
    }
}

TEST_F(RsaSignVerifyToolTest, KnowsOneFileType)
{
    EXPECT_EQ(RsaSignVerifyTool::GetPubKeyPath(PatchFileType::APP), "/etc/certificate/zkkey_tvpk_v1.pem");
    const LogCapture log;
    EXPECT_FALSE(RsaSignVerifyTool::VerifyFileIntegrity({"/data/p", "/data/s", static_cast<PatchFileType>(1)}));
    EXPECT_EQ(log.Count("get pubKey path failed, type: 1"), 1U);
    EXPECT_EQ(log.Count("cert file is empty"), 1U);
    EXPECT_EQ(log.Count("checkPubKey failed"), 1U);
}

TEST_F(RsaSignVerifyToolTest, WantsAKeyDataAndASignature)
{
    const std::string pem = key_.PublicPem();
    const std::unique_ptr<BIO, int (*)(BIO*)> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
    const std::unique_ptr<RSA, void (*)(RSA*)> rsa(PEM_read_bio_RSA_PUBKEY(bio.get(), nullptr, nullptr, nullptr),
                                                   RSA_free);
    const std::string sign = key_.Sign("data");
    EXPECT_TRUE(RsaSignVerifyTool::VerifyEVP(rsa.get(), "data", sign));
    const LogCapture log;
    EXPECT_FALSE(RsaSignVerifyTool::VerifyEVP(nullptr, "data", sign));
    EXPECT_FALSE(RsaSignVerifyTool::VerifyEVP(rsa.get(), "", key_.Sign("")));
    EXPECT_FALSE(RsaSignVerifyTool::VerifyEVP(rsa.get(), "data", ""));
    EXPECT_EQ(log.Count("verify evp data is null"), 3U);
}
} // namespace
} // namespace ORVX::TavomendTest
