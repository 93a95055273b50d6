#include <cerrno>
#include <gtest/gtest.h>

#include "formats/device_paths.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
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
    const std::string certificate = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
    const struct {
        const char* path;
        std::string content; // "-": the file is removed
        const char* message;
    } cases[] = {
        {"/data/x", "", "verify sign result: 1"},
        {"/data/p", "P" + content_.substr(1), "verify sign result: 0"},
        {"/data/p", content_.substr(0, content_.size() - 1) + "D", "verify sign result: 0"},
        {"/data/s", SigningKey(SigningKey::Whose::NOBODYS).Sign(content_), "verify sign result: 0"},
        {"/data/s", key_.Sign(content_, "SHA1"), "verify sign result: 0"},
        {"/data/p", "-", "patch file is not found"},
        {"/data/s", "-", "sign file not found"},
        {"/data/s", "", "signData is empty"},
        {"/data/s", std::string(4096, 's'), "verify sign result: 0"},
        {"/data/s", std::string(4097, 's'), "signData is empty"}, // not even read
        {"/data/p", "", "patchData is empty"},
        {Formats::PUBLIC_KEY_PATH, "-", "cert file is not found"},
        {Formats::PUBLIC_KEY_PATH, certificate, "get pubKey is failed"},
    };
    for (const auto& [path, content, message] : cases) {
        SetUp();
        WriteFile(path, content);
        if (content == "-") {
            ASSERT_EQ(remove(path), 0);
        }
        const LogCapture log;
        EXPECT_EQ(Verify(), message == std::string("verify sign result: 1")) << message;
        EXPECT_EQ(log.Count(message), 1U) << message;
    }
    SetUp();
    const auto verified = RsaSignVerifyTool::ReadVerified({"/data/p", "/data/s", PatchFileType::APP});
    ASSERT_TRUE(verified.has_value());
    std::string read(content_.size(), '\0');
    ASSERT_TRUE(verified->file->ReadAt(0, read.data(), read.size()));
    EXPECT_EQ(read, content_);
    EXPECT_EQ(Handles::Sha256Text(verified->digest), Sha256Hex(content_));
    for (const int error : {EINTR, EIO}) { // in the midst of what is signed
        FaultyFileLayer layer;
        layer.LimitBytes(100);
        layer.FailCall("read", 30, error);
        EXPECT_EQ(Verify(), error == EINTR);
    }
    EXPECT_EQ(RsaSignVerifyTool::GetPubKeyPath(PatchFileType::APP), "/etc/certificate/zkkey_tvpk_v1.pem");
    EXPECT_FALSE(RsaSignVerifyTool::VerifyFileIntegrity({"/data/p", "/data/s", static_cast<PatchFileType>(1)}));
}

} // namespace
} // namespace ORVX::TavomendTest
