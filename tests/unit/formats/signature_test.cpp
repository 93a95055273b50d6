#include <gtest/gtest.h>
#include <sys/stat.h>

#include "formats/signature.h"
#include "tests/support/device_fixture.h"
#include "tests/unit/formats/file_size_limit.h"

namespace ORVX::Formats {
namespace {
using TavomendTest::Exists;
using TavomendTest::FileSizeLimit;
using TavomendTest::ReadFile;
using TavomendTest::WriteFile;

constexpr const char* CONTENT = "the signed content\n";
// Keys of these tests alone, made with openssl genpkey; the signature with openssl dgst -sha256 -sign. Read before main
// puts the process on its device root.
const std::string PRIVATE_PEM = ReadFile(SIGNATURE_DATA "/private.pem");
const std::string PUBLIC_PEM = ReadFile(SIGNATURE_DATA "/public.pem");
const std::string EC_PEM = ReadFile(SIGNATURE_DATA "/ec.pem");
const std::string SIGNATURE = ReadFile(SIGNATURE_DATA "/content.sign");

mode_t ModeOf(const std::string& path)
{
    struct stat info {};
    EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
    return info.st_mode & 07777U;
}

class SignatureTest : public TavomendTest::DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile("/tmp/private", PRIVATE_PEM);
        WriteFile("/tmp/public", PUBLIC_PEM);
        WriteFile("/tmp/file", CONTENT);
        WriteFile("/tmp/sign", SIGNATURE);
    }
    std::string WhyNotVerified(const std::string& key)
    {
        error_ = "an earlier error";
        EXPECT_FALSE(VerifyFile("/tmp/file", "/tmp/sign", key, error_));
        return error_;
    }
    std::string WhyNotSigned(const std::string& path, const std::string& key)
    {
        error_.clear();
        EXPECT_FALSE(SignFile(path, key, "/tmp/made", error_));
        return error_;
    }

    std::string error_;
};

TEST_F(SignatureTest, SignsAsOpensslDoes)
{
    ASSERT_TRUE(SignFile("/tmp/file", "/tmp/private", "/tmp/made", error_)) << error_;
    EXPECT_EQ(ReadFile("/tmp/made"), SIGNATURE);
    EXPECT_EQ(ModeOf("/tmp/made"), 0644U);

    EXPECT_EQ(WhyNotSigned("/tmp", "/tmp/private"), "cannot read /tmp: Is a directory");
    WriteFile("/tmp/key", EC_PEM);
    for (const std::string key : {"/tmp/public", "/tmp/key"}) {
        EXPECT_EQ(WhyNotSigned("/tmp/file", key),
                  "no usable private key in " + key + ": it holds no RSA private key (PEM, without a pass phrase)");
    }
    const FileSizeLimit limit(100);
    EXPECT_EQ(WhyNotSigned("/tmp/file", "/tmp/private"), "cannot write /tmp/made: File too large");
    EXPECT_EQ(ReadFile("/tmp/made"), SIGNATURE); // the old one
}

TEST_F(SignatureTest, VerifiesWithEitherHalfOfTheKey)
{
    error_ = "an earlier error";
    EXPECT_TRUE(VerifyFile("/tmp/file", "/tmp/sign", "/tmp/public", error_)) << error_;
    EXPECT_TRUE(VerifyFile("/tmp/file", "/tmp/sign", "/tmp/private", error_)) << error_;
    EXPECT_EQ(WhyNotVerified("/tmp/none"), "no usable public key in /tmp/none: No such file or directory");
    WriteFile("/tmp/key", EC_PEM);
    EXPECT_EQ(WhyNotVerified("/tmp/key"),
              "no usable public key in /tmp/key: it holds no RSA public key (PEM \"PUBLIC KEY\")");
    WriteFile("/tmp/sign", "");
    EXPECT_EQ(WhyNotVerified("/tmp/public"), "/tmp/sign is empty");
    std::filesystem::remove("/tmp/sign");
    EXPECT_EQ(WhyNotVerified("/tmp/public"), "cannot read /tmp/sign: No such file or directory");
    for (const size_t size : {4096U, 4097U}) {
        WriteFile("/tmp/sign", std::string(size, 's'));
        EXPECT_EQ(WhyNotVerified("/tmp/public"),
                  size == 4096 ? "the signature does not verify" : "/tmp/sign is larger than a signature can be");
    }
    WriteFile("/tmp/sign", SIGNATURE);
    WriteFile("/tmp/file", std::string(CONTENT) + "\n");
    EXPECT_EQ(WhyNotVerified("/tmp/public"), "the signature does not verify");
    std::filesystem::remove("/tmp/file");
    EXPECT_EQ(WhyNotVerified("/tmp/public"), "cannot read /tmp/file: No such file or directory");
}

TEST_F(SignatureTest, MakesKeyPairsAndHashes)
{
    ASSERT_TRUE(MakeKeyPair(2048, "/tmp/new/private", "/tmp/new/public", error_)) << error_;
    EXPECT_EQ(ModeOf("/tmp/new/private"), 0600U);
    EXPECT_EQ(ModeOf("/tmp/new/public"), 0644U);
    ASSERT_TRUE(SignFile("/tmp/file", "/tmp/new/private", "/tmp/made", error_)) << error_;
    EXPECT_EQ(ReadFile("/tmp/made").size(), 256U); // as many bytes as the key has
    EXPECT_TRUE(VerifyFile("/tmp/file", "/tmp/made", "/tmp/new/public", error_)) << error_;

    // `openssl rsa -text` tells the size of the tests' own key.
    EXPECT_TRUE(CheckSigningKey("/tmp/new/private", error_)) << error_;
    EXPECT_FALSE(CheckSigningKey("/tmp/private", error_));
    EXPECT_EQ(error_, "no usable private key in /tmp/private: it has 1024 bits, and a patch wants 2048 or more");

    EXPECT_FALSE(MakeKeyPair(16, "/tmp/small/private", "/tmp/small/public", error_));
    EXPECT_EQ(error_, "libcrypto cannot make a key of 16 bits");
    EXPECT_FALSE(MakeKeyPair(2048, "/tmp/file/private", "/tmp/small/public", error_));
    EXPECT_EQ(error_, "cannot write /tmp/file/private: Not a directory");
    EXPECT_FALSE(Exists("/tmp/small/public"));

    WriteFile("/tmp/big", std::string(1000000, 'a')); // FIPS 180 has this one as an example
    EXPECT_EQ(Sha256OfFile("/tmp/big", error_), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
    EXPECT_EQ(Sha256OfFile("/tmp/none", error_), "");
    EXPECT_EQ(error_, "cannot read /tmp/none: No such file or directory");
    EXPECT_TRUE(IsSameHash("00aAfF", "00AaFf"));
    EXPECT_FALSE(IsSameHash("00aa", "00ab"));
}
} // namespace
} // namespace ORVX::Formats
