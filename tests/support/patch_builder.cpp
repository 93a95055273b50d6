#include "tests/support/patch_builder.h"

#include <gtest/gtest.h>
#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <zstd.h>

#include "tests/support/device_fixture.h"
#include "tests/support/device_key.h"
#include "tests/support/zip_builder.h"

namespace ORVX::TavomendTest {
namespace {
std::string MemberOf(const PatchApp& app, const PatchFile& file)
{
    return app.bundleName + file.base.substr(file.base.rfind('/')) + (file.isWhole ? "" : ".diff");
}

std::string BytesOf(const PatchFile& file)
{
    if (!file.difference.empty()) {
        return file.difference;
    }
    return file.isWhole ? file.newBytes : MakeZstdDifference(file.oldBytes, file.newBytes);
}

std::string Quoted(const std::vector<std::string>& texts)
{
    std::string list;
    for (const auto& text : texts) {
        list += (list.empty() ? "\"" : ", \"") + text + "\"";
    }
    return "[" + list + "]";
}

std::string AppEntry(const PatchApp& app)
{
    std::vector<std::string> bases;
    std::vector<std::string> members;
    std::vector<std::string> hashes;
    for (const auto& file : app.files) {
        bases.push_back(file.base);
        members.push_back("/" + MemberOf(app, file));
        hashes.push_back(file.hash.empty() ? Sha256Hex(file.newBytes) : file.hash);
    }
    return "\"" + app.bundleName + R"(": {"version": )" + std::to_string(app.version) + R"(, "pre_version": )" +
           std::to_string(app.preVersion) + R"(, "file_num": )" + std::to_string(app.files.size()) +
           R"(, "app_patch_type": ")" + app.patchType + R"(", "app_type": )" + std::to_string(app.appType) +
           R"(, "base_path": )" + Quoted(bases) + R"(, "diff_path": )" + Quoted(members) + R"(, "apps_hash": )" +
           Quoted(hashes) + "}";
}
} // namespace

std::string MakeZstdDifference(const std::string& oldBytes, const std::string& newBytes)
{
    const std::unique_ptr<ZSTD_CCtx, size_t (*)(ZSTD_CCtx*)> context(ZSTD_createCCtx(), ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_windowLog, 24);
    ZSTD_CCtx_refPrefix(context.get(), oldBytes.data(), oldBytes.size());
    std::string difference(ZSTD_compressBound(newBytes.size()), '\0');
    const size_t size =
        ZSTD_compress2(context.get(), difference.data(), difference.size(), newBytes.data(), newBytes.size());
    EXPECT_EQ(ZSTD_isError(size), 0U) << ZSTD_getErrorName(size);
    difference.resize(size);
    return difference;
}

SigningKey::SigningKey(Whose whose) : key_(whose == Whose::NOBODYS ? EVP_RSA_gen(2048) : nullptr)
{
    if (key_ == nullptr) {
        const std::unique_ptr<BIO, int (*)(BIO*)> bio(BIO_new_mem_buf(DEVICE_KEY, -1), BIO_free);
        key_ = PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr);
    }
}

SigningKey::~SigningKey()
{
    EVP_PKEY_free(key_);
}

std::string SigningKey::PublicPem() const
{
    const std::unique_ptr<BIO, int (*)(BIO*)> bio(BIO_new(BIO_s_mem()), BIO_free);
    EXPECT_EQ(PEM_write_bio_PUBKEY(bio.get(), key_), 1);
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<size_t>(size)};
}

std::string SigningKey::Sign(const std::string& content, const char* digest) const
{
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EXPECT_EQ(EVP_DigestSignInit(context.get(), nullptr, EVP_get_digestbyname(digest), nullptr, key_), 1);
    const auto* bytes = reinterpret_cast<const unsigned char*>(content.data());
    size_t size = 0;
    EXPECT_EQ(EVP_DigestSign(context.get(), nullptr, &size, bytes, content.size()), 1);
    std::string signature(size, '\0');
    EXPECT_EQ(
        EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size, bytes, content.size()),
        1);
    signature.resize(size);
    return signature;
}

PatchFile FileOf(const Vab& factory, uint32_t version, const std::string& base)
{
    PatchFile file;
    file.base = base;
    file.oldBytes = factory.Bytes();
    file.newBytes = factory.At(version).Bytes();
    return file;
}

PatchApp HotApp(const Vab& factory, uint32_t version, const std::string& base)
{
    PatchApp app;
    app.bundleName = factory.bundleName;
    app.version = version;
    app.files = {FileOf(factory, version, base)};
    return app;
}

std::string PatchBuilder::Config() const
{
    if (!recipe_.configText.empty()) {
        return recipe_.configText;
    }
    std::vector<std::string> names;
    std::string entries;
    for (const auto& app : recipe_.apps) {
        names.push_back(app.bundleName);
        entries += ",\n" + AppEntry(app);
    }
    return R"({"space": )" + std::to_string(recipe_.space) + R"(, "version": ")" + recipe_.version +
           R"(", "pre_version": "patch00", "product": {"model": )" + recipe_.models + R"(, "version": )" +
           recipe_.baseVersions + R"(}, "action": )" + std::to_string(recipe_.action) + R"(, "apps": {"size": )" +
           std::to_string(names.size()) + R"(, "list": )" + Quoted(names) + entries + "}}";
}

std::string PatchBuilder::Package() const
{
    ZipBuilder zip;
    zip.Add("app_tavomend_config.json", Config());
    for (const auto& app : recipe_.apps) {
        for (const auto& file : app.files) {
            if (!app.isMemberMissing) {
                zip.Add(MemberOf(app, file), BytesOf(file), 0);
            }
        }
    }
    return zip.Build();
}

void PatchBuilder::Deliver(const SigningKey& key) const
{
    const std::string package = Package();
    WriteFile("/data/update/tavomend/package/app.tvpk", package);
    WriteFile("/data/update/tavomend/package/tavomend_sign.bin", key.Sign(package));
    for (const auto& app : recipe_.apps) {
        for (const auto& file : app.files) {
            if (app.patchType != "cold" || app.isMemberMissing) {
                continue;
            }
            const bool isFwk = app.appType == 2 && file.base.find("appServiceFwk") != std::string::npos;
            WriteFile("/data/update/tavomend/app/temp/cold/" + std::string(isFwk ? "appServiceFwk/" : "internal/") +
                          MemberOf(app, file),
                      BytesOf(file));
        }
    }
}
} // namespace ORVX::TavomendTest
