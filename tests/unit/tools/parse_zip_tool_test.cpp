#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/planted_links.h"
#include "tests/support/zip_builder.h"
#include "tests/unit/formats/file_size_limit.h"
#include "tools/parse_zip_tool.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::ParseZipTool;
using TavomendEngine::SealedFile;

constexpr const char* ARCHIVE = "/data/archive.zip";

class ParseZipToolTest : public DeviceTest {
protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(ARCHIVE, ZipBuilder().Add("a.txt", "alpha").Add("dir/big.bin", big_).Add("empty", "").Build());
    }
    void TearDown() override { tool_.Reset(); }

    // Pins what the archive is now.
    void Pin()
    {
        const std::string bytes = ReadFile(ARCHIVE);
        Handles::Sha256Digest digest{};
        ASSERT_TRUE(Handles::Sha256::Of(bytes.data(), bytes.size(), digest));
        tool_.Pin(digest, SealedFile::Read(ARCHIVE, [](const void* /*bytes*/, size_t /*size*/) {}));
    }
    // Puts another file in the archive's place; the old one is still what has it open.
    static void Replace(const std::string& bytes)
    {
        WriteFile("/data/new", bytes);
        std::filesystem::rename("/data/new", ARCHIVE);
    }
    // Takes a member out of an archive of these bytes.
    static bool UnZip(const std::string& archive, const char* member)
    {
        WriteFile("/data/other.zip", archive);
        ParseZipTool tool("/data/other.zip");
        const bool isDone = tool.UnZipTargetFiles({{member, "/data/x"}});
        tool.Reset();
        return isDone;
    }

    const std::string big_ = std::string(10000, 'x') + "end";
    ParseZipTool tool_{ARCHIVE};
};

TEST_F(ParseZipToolTest, ExtractsMembersAndMakesTheirDirectories)
{
    WriteFile("/data/same", "ALPHA"); // of the right size: trusted
    WriteFile("/data/other", "longer than alpha");
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/out/a"},
                                        {"/dir/big.bin", "/data/out/deep/er/b"},
                                        {"/empty", "/data/out/e"},
                                        {"/a.txt", "/data/same"},
                                        {"/a.txt", "/data/other"}}));
    EXPECT_EQ(ReadFile("/data/out/a"), "alpha");
    EXPECT_EQ(ReadFile("/data/out/deep/er/b"), big_);
    EXPECT_EQ(ReadFile("/data/out/e"), "");
    EXPECT_EQ(ReadFile("/data/same"), "ALPHA");
    EXPECT_EQ(ReadFile("/data/other"), "alpha");
    struct stat info {};
    ASSERT_EQ(stat("/data/out/deep", &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0755U);

    // The archive stays open until the reset.
    ASSERT_EQ(remove(ARCHIVE), 0);
    EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", "/data/1"}}));
    WriteFile(ARCHIVE, ZipBuilder().Add("a.txt", "second").Build());
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/1"}}));
    EXPECT_EQ(ReadFile("/data/1"), "alpha");
    tool_.Reset();
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/2"}}));
    EXPECT_EQ(ReadFile("/data/2"), "second");
}

TEST_F(ParseZipToolTest, NamesMatchToTheLetterAndTheFirstFailureStops)
{
    for (const char* name : {"a.txt", "/A.txt", "/big.bin", "/dir", "/a.tx"}) {
        EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", "/data/1"}, {name, "/data/2"}, {"/a.txt", "/data/3"}})) << name;
    }
    EXPECT_EQ(ReadFile("/data/1"), "alpha");
    EXPECT_FALSE(Exists("/data/2") || Exists("/data/3"));
}

TEST_F(ParseZipToolTest, RefusesDamageAndBadPaths)
{
    EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", "/data/../data/x"}}));
    EXPECT_FALSE(Exists("/data/x"));
    EXPECT_FALSE(UnZip("this is no archive", "/a.txt"));
    EXPECT_FALSE(Exists("/data/x"));
    std::string damaged = ZipBuilder().Add("big.bin", big_).Build(); // it opens, the reading fails
    EXPECT_FALSE(UnZip(damaged.replace(damaged.find("big.bin") + 7, 8, 8, '\xff'), "/big.bin"));
    std::filesystem::remove("/data/x");

    // Both headers of the first member state other sizes, 2 GiB or more than there is: the next of the name is taken.
    std::string changed = ZipBuilder().Add("a.txt", "alpha").Add("a.txt", "second").Build();
    for (const std::string& size : {std::string("\0\0\0\x80", 4), std::string("\x09\0\0\0", 4)}) {
        changed.replace(22, 4, size).replace(changed.find("PK\x01\x02") + 24, 4, size);
        EXPECT_TRUE(UnZip(changed, "/a.txt"));
        EXPECT_EQ(ReadFile("/data/x"), "second");
        std::filesystem::remove("/data/x");
    }
}

TEST_F(ParseZipToolTest, AFullDiskFailsTheExtractionWheneverItShows)
{
    // 10003 bytes come in pieces of 4096: the last ones wait in the stream until it is closed.
    for (const rlim_t size : {4096U, 8192U}) {
        const FileSizeLimit limit(size);
        EXPECT_FALSE(tool_.UnZipTargetFiles({{"/dir/big.bin", "/data/big"}})) << size;
        EXPECT_EQ(std::filesystem::file_size("/data/big"), size);
    }
}

TEST_F(ParseZipToolTest, APinnedArchiveIsReadFromItsOwnFile)
{
    const std::string pinned = ReadFile(ARCHIVE);
    Pin();
    Replace(ZipBuilder().Add("a.txt", "other").Add("dir/big.bin", "o").Build());
    const size_t size = big_.size();
    EXPECT_EQ(tool_.ReadMember("/a.txt", 5), "alpha");
    EXPECT_EQ(tool_.ReadMember("/a.txt", 4), std::nullopt);
    EXPECT_EQ(tool_.ReadMember("a.txt", 5), std::nullopt);
    EXPECT_EQ(tool_.ReadMember("/empty", 0), "");
    EXPECT_EQ(tool_.ReadMember("/dir/big.bin", size), big_);
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/1"}, {"/dir/big.bin", "/data/2"}}));
    EXPECT_EQ(ReadFile("/data/1") + ReadFile("/data/2"), "alpha" + big_);
    tool_.KeepSealed(true);
    tool_.Reset(); // as long as it is kept, the file is the same one
    EXPECT_EQ(tool_.ReadMember("/dir/big.bin", size), big_);
    tool_.KeepSealed(false); // what is under the path is read from now on: another one is none
    EXPECT_EQ(tool_.ReadMember("/a.txt", 5), std::nullopt);
    EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", "/data/3"}}));
    Replace(pinned);
    ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", "/data/3"}}));
    Replace("no archive");
    EXPECT_EQ(tool_.ReadMember("/dir/big.bin", size), big_);

    // Whatever the bytes are, nothing beside them is read.
    for (const std::string& bytes :
         {std::string("PK"), pinned.substr(0, pinned.size() - 22), pinned + std::string(70000, ' '), std::string()}) {
        WriteFile(ARCHIVE, bytes);
        Pin();
        EXPECT_FALSE(tool_.ReadMember("/a.txt", 5).has_value()) << bytes.size();
    }
    std::string damaged = ZipBuilder().Add("a", big_).Add("a", "second").Build();
    WriteFile(ARCHIVE, damaged.replace(40, 8, 8, '\xff'));
    Pin();
    EXPECT_EQ(tool_.ReadMember("/a", size), "second"); // as the extraction does
}

TEST_F(ParseZipToolTest, WhatIsWrittenIntoAPinnedArchiveIsNotExtracted)
{
    constexpr size_t PIECE = 65536; // what is proven at a time
    std::string big;
    for (size_t i = 0; big.size() < 4 * PIECE + PIECE / 2; ++i) {
        big += std::to_string(i) + " ";
    }
    const std::string pinned = ZipBuilder().Add("first", "alpha", 0).Add("big", big, 0).Add("last", "omega", 0).Build();
    const auto changed = [&pinned](size_t at) {
        return std::string(pinned).replace(at, 1, 1, static_cast<char>(~pinned[at]));
    };
    const std::pair<std::string, const char*> cases[] = {
        // first, big, last: whether they are read
        {pinned, "+++"},
        {pinned + std::string(PIECE, ' '), "+++"},
        {changed(pinned.find("alpha")), "--+"}, // the beginning of big is beside it
        {changed(2 * PIECE), "+-+"},
        {changed(4 * PIECE - 1), "+-+"},
        {changed(pinned.size() - 1), "---"}, // the directory
        {pinned.substr(0, pinned.size() - 1), "---"},
        {ZipBuilder().Add("first", "other", 0).Build(), "---"},
    };
    for (const auto& [bytes, read] : cases) {
        WriteFile(ARCHIVE, pinned);
        Pin();
        WriteFile(ARCHIVE, bytes); // in place
        std::string found;
        for (const auto& [name, content] : {std::pair{"/first", "alpha"}, {"/big", big.c_str()}, {"/last", "omega"}}) {
            std::filesystem::remove("/data/x");
            const auto text = tool_.ReadMember(name, big.size());
            const bool isTaken = tool_.UnZipTargetFiles({{name, "/data/x"}});
            EXPECT_TRUE(text == (isTaken ? std::optional(ReadFile("/data/x")) : std::nullopt)) << name;
            found += !isTaken ? '-' : text == content ? '+' : '?';
        }
        EXPECT_EQ(found, read) << bytes.size();
        WriteFile(ARCHIVE, pinned);
        EXPECT_EQ(tool_.ReadMember("/first", 5), "alpha");
        tool_.Reset();
    }
}

TEST_F(ParseZipToolTest, NothingIsExtractedThroughALink)
{
    for (const Plant plant : {Plant::LINK_TO_DIRECTORY, Plant::LINK_TO_FILE, Plant::LOOSE_LINK, Plant::HARD_LINK}) {
        const std::string output = "/data/update/tavomend/app/temp/hot/a";
        const PlantedLink link(plant, output);
        EXPECT_EQ(tool_.UnZipTargetFiles({{"/a.txt", output}}), plant != Plant::LINK_TO_DIRECTORY);
        EXPECT_EQ(tool_.UnZipTargetFiles({{"/a.txt", output + "-new/a"}}), plant != Plant::LINK_TO_DIRECTORY);
        EXPECT_TRUE(link.IsUntouched()) << static_cast<int>(plant);
    }
}

TEST_F(ParseZipToolTest, WhatIsInTheWayOfAnOutputStays)
{
    WriteFile("/data/file", "in the way");
    std::filesystem::create_directories("/data/taken");
    // Directories of the first level are not made.
    for (const char* output : {"/data/file/a", "/data/file/deep/er/a", "/data/taken", "/nothing/a"}) {
        EXPECT_FALSE(tool_.UnZipTargetFiles({{"/a.txt", output}})) << output;
    }
    EXPECT_EQ(ReadFile("/data/file"), "in the way");
}

TEST_F(ParseZipToolTest, WhatIsMadeInTheInitStageIsTheEngines)
{
    WriteFile("/etc/passwd", "tavomend:x:" + std::to_string(geteuid()) + ":1078::/:\n");
    for (const auto& [stage, group] : {std::pair{TavomendEngine::RUNNING_STAGE_INIT, gid_t{1078}},
                                       std::pair{TavomendEngine::RUNNING_STAGE_SA, getegid()}}) {
        TavomendEngine::SysUtils::SetRunningStage(stage);
        const std::string directory = "/data/" + std::to_string(group) + "/deep";
        ASSERT_TRUE(tool_.UnZipTargetFiles({{"/a.txt", directory + "/a"}}));
        for (const std::string& made : {directory, directory + "/a"}) {
            struct stat info {};
            ASSERT_EQ(stat(made.c_str(), &info), 0);
            EXPECT_EQ(info.st_gid, group) << made;
        }
    }
}
} // namespace
} // namespace ORVX::TavomendTest
