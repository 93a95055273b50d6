#include "tests/support/zip_builder.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <minizip/zip.h>
#include <unistd.h>
#include <zlib.h>

namespace ORVX::TavomendTest {
ZipBuilder& ZipBuilder::Add(const std::string& name, const std::string& content, int level)
{
    members_.push_back({name, content, level, ""});
    return *this;
}

ZipBuilder& ZipBuilder::AddDeflated(const std::string& name, const std::string& content, const std::string& deflated)
{
    members_.push_back({name, content, Z_BEST_SPEED, deflated});
    return *this;
}

std::string ZipBuilder::Build() const
{
    char path[] = "/tmp/zipXXXXXX";
    const int descriptor = mkstemp(path);
    if (descriptor < 0) {
        ADD_FAILURE() << "no temporary file for an archive";
        return "";
    }
    close(descriptor);
    zipFile zip = zipOpen(path, APPEND_STATUS_CREATE);
    for (const auto& member : members_) {
        zip_fileinfo info{};
        const bool isRaw = !member.deflated.empty();
        const std::string& data = isRaw ? member.deflated : member.content;
        EXPECT_EQ(zipOpenNewFileInZip2(zip, member.name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                       member.level == 0 ? 0 : Z_DEFLATED, member.level, isRaw ? 1 : 0),
                  ZIP_OK);
        EXPECT_EQ(zipWriteInFileInZip(zip, data.data(), static_cast<unsigned>(data.size())), ZIP_OK);
        const auto* const content = reinterpret_cast<const Bytef*>(member.content.data());
        EXPECT_EQ(isRaw ? zipCloseFileInZipRaw(zip, member.content.size(),
                                               crc32(0, content, static_cast<uInt>(member.content.size())))
                        : zipCloseFileInZip(zip),
                  ZIP_OK);
    }
    EXPECT_EQ(zipClose(zip, nullptr), ZIP_OK);
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    unlink(path);
    return bytes;
}
} // namespace ORVX::TavomendTest
