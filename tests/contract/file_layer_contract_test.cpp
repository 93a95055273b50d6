// What every file layer keeps to, for the real one and for the faulty one without a fault.
#include <array>
#include <cerrno>
#include <fcntl.h>

#include "platform/utility/file_layer.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::FileLayer;

enum class Kind { REAL, FAULTY };

class FileLayerContract : public DeviceTest, public testing::WithParamInterface<Kind> {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile("/data/file", "content");
        WriteFile("/data/dir/inner", "inner");
        std::filesystem::create_symlink("file", "/data/link");
        if (GetParam() == Kind::FAULTY) {
            faulty_ = std::make_unique<FaultyFileLayer>();
        }
    }

    static FileLayer& Layer() { return FileLayer::GetInstance(); }

    // Expects a failure with this errno.
    static void Fails(int64_t result, int error, const char* what)
    {
        const int reason = errno;
        EXPECT_EQ(result, -1) << what;
        EXPECT_EQ(reason, error) << what;
    }

    std::unique_ptr<FaultyFileLayer> faulty_;
};

TEST_P(FileLayerContract, FilesAreWrittenAndRead)
{
    const int out = Layer().Open("/data/new", O_WRONLY | O_CREAT | O_EXCL, 0600);
    EXPECT_EQ(Layer().Write(out, "one two", 7), 7);
    EXPECT_EQ(Layer().Fchmod(out, 0640) + Layer().Fsync(out) + Layer().Close(out), 0);
    Fails(Layer().Open("/data/new", O_WRONLY | O_CREAT | O_EXCL, 0600), EEXIST, "open");
    Fails(Layer().Open("/data/link", O_RDONLY | O_NOFOLLOW, 0), ELOOP, "open");

    const int in = Layer().Open("/data/new", O_RDONLY, 0);
    std::array<char, 16> room{};
    struct stat status {};
    EXPECT_EQ(Layer().Fstat(in, status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0640));
    EXPECT_EQ(Layer().Read(in, room.data(), 3), 3);
    EXPECT_EQ(Layer().Read(in, room.data() + 3, room.size() - 3), 4);
    EXPECT_STREQ(room.data(), "one two");
    EXPECT_EQ(Layer().ReadAt(in, room.data(), room.size(), 4), 3);
    EXPECT_EQ(Layer().ReadAt(in, room.data() + 3, 1, 3), 1);
    EXPECT_EQ(std::string(room.data(), 4), "two ");
    EXPECT_EQ(Layer().ReadAt(in, room.data(), 1, 7), 0);
    Fails(Layer().Write(in, "x", 1), EBADF, "write");
    Fails(Layer().CopyRange(in, in, 1), EBADF, "copy range");
    const int other = Layer().Open("/data/new", O_RDONLY, 0);
    const int copy = Layer().Open("/data/copy", O_WRONLY | O_CREAT | O_EXCL, 0600);
    EXPECT_EQ(Layer().CopyRange(other, copy, 3), 3);
    EXPECT_EQ(Layer().CopyRange(other, copy, 100), 4);
    EXPECT_EQ(Layer().CopyRange(other, copy, 100), 0);
    EXPECT_EQ(Layer().Close(other) + Layer().Close(copy), 0);
    EXPECT_EQ(ReadFile("/data/copy"), "one two");
    EXPECT_EQ(Layer().Close(in), 0);
    Fails(Layer().Close(in), EBADF, "close");
    Fails(Layer().Fsync(in), EBADF, "fsync");
}

TEST_P(FileLayerContract, NamesAreMadeMovedListedAndRemoved)
{
    WriteFile("/data/other", "other");
    Fails(Layer().RenameNoReplace("/data/file", "/data/other"), EEXIST, "rename without replacing");
    EXPECT_EQ(Layer().Rename("/data/file", "/data/other"), 0);
    EXPECT_EQ(ReadFile("/data/other"), "content");
    EXPECT_EQ(Layer().RenameNoReplace("/data/other", "/data/file"), 0);
    Fails(Layer().Rename("/data/other", "/data/x"), ENOENT, "rename");
    EXPECT_EQ(Layer().Mkdir("/data/dir/a", 0755), 0);
    Fails(Layer().Mkdir("/data/dir/a", 0755), EEXIST, "mkdir");
    std::vector<std::string> names = {"left over"};
    EXPECT_EQ(Layer().ListDir("/data/dir", names), 0);
    EXPECT_EQ(names, (std::vector<std::string>{"a", "inner"}));
    Fails(Layer().ListDir("/data/file", names), ENOTDIR, "listdir");
    EXPECT_TRUE(names.empty());
    Fails(Layer().Unlink("/data/dir"), EISDIR, "unlink");
    Fails(Layer().Rmdir("/data/dir"), ENOTEMPTY, "rmdir");
    EXPECT_EQ(Layer().Rmdir("/data/dir/a"), 0);
    struct stat status {};
    EXPECT_EQ(Layer().Stat("/data/link", status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(Layer().Lstat("/data/link", status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(Layer().Unlink("/data/link"), 0); // the link, not what it leads to
    EXPECT_EQ(ReadFile("/data/file"), "content");
    struct statvfs space {};
    Fails(Layer().Statvfs("/data/none", space), ENOENT, "statvfs");
    Fails(Layer().Lchown("/data/none", 0, 0), ENOENT, "lchown");
}

INSTANTIATE_TEST_SUITE_P(Layers, FileLayerContract, testing::Values(Kind::REAL, Kind::FAULTY),
                         [](const auto& layer) { return layer.param == Kind::REAL ? "Real" : "Faulty"; });
} // namespace
} // namespace ORVX::TavomendTest
