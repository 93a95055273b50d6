#include <gtest/gtest.h>

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
        const char* content; // null: the file is removed
        const char* message;
    };
    const std::string certificate = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
    const Case cases[] = {
        {"/data/p", nullptr, "patch file is not found"},
        {"/data/s", nullptr, "sign file not found"},
        {"/data/s", "", "signData is empty"},
        {"/data/p", "", "patchData is empty"},
        {Formats::PUBLIC_KEY_PATH, nullptr, "cert file is not found"},
        {Formats::PUBLIC_KEY_PATH, certificate.c_str(), "get pubKey is failed"},
    };
    for (const auto& missing : cases) {
        SetUp();
        if (missing.content == nullptr) {
            ASSERT_EQ(remove(missing.path), 0);
        } else {
            WriteFile(missing.path, missing.content);
        }
        const LogCapture log;
        EXPECT_FALSE(Verify()) << missing.message;
        EXPECT_TRUE(log.Contains(missing.message)) << missing.message;
    }
}

TEST_F(RsaSignVerifyToolTest, KnowsOneFileType)
{
    const LogCapture log;
    EXPECT_FALSE(RsaSignVerifyTool::VerifyFileIntegrity({"/data/p", "/data/s", static_cast<PatchFileType>(1)}));
    EXPECT_TRUE(log.Contains("get pubKey path failed, type: 1"));
    EXPECT_TRUE(log.Contains("cert file is empty"));
    EXPECT_TRUE(log.Contains("checkPubKey failed"));
}
} // namespace
} // namespace ORVX::TavomendTest
