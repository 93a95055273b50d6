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
    members_.push_back({name, content, level});
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
        EXPECT_EQ(zipOpenNewFileInZip(zip, member.name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                      member.level == 0 ? 0 : Z_DEFLATED, member.level),
                  ZIP_OK);
        EXPECT_EQ(zipWriteInFileInZip(zip, member.content.data(), static_cast<unsigned>(member.content.size())),
                  ZIP_OK);
        EXPECT_EQ(zipCloseFileInZip(zip), ZIP_OK);
    }
    EXPECT_EQ(zipClose(zip, nullptr), ZIP_OK);
    std::ifstream in(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    unlink(path);
    return bytes;
}
} // namespace ORVX::TavomendTest
