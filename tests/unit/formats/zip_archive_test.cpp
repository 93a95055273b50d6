#include <gmock/gmock.h>
#include <sys/stat.h>

#include "formats/zip_archive.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/noise.h"
#include "tests/support/zip_builder.h"
#include "tests/unit/formats/file_size_limit.h"

namespace ORVX::Formats {
namespace {
using TavomendTest::FileSizeLimit;
using TavomendTest::ListTree;
using TavomendTest::Noise;
using TavomendTest::ReadFile;
using TavomendTest::WriteFile;
using TavomendTest::ZipBuilder;

constexpr const char* PATH = "/tmp/a.zip";

class ZipArchiveTest : public TavomendTest::DeviceTest {
protected:
    ZipArchive OpenBytes(const std::string& bytes)
    {
        WriteFile(PATH, bytes);
        return std::move(ZipArchive::Open(PATH, error_).value());
    }
    std::string WhyNotOpened(const std::string& bytes)
    {
        WriteFile(PATH, bytes);
        EXPECT_FALSE(ZipArchive::Open(PATH, error_));
        return error_;
    }

    std::string error_;
};

// Both headers of a member, local and in the directory, carry its name.
std::string WithName(std::string bytes, const std::string& from, const std::string& to)
{
    for (size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + 1)) {
        bytes.replace(at, from.size(), to);
    }
    return bytes;
}

TEST_F(ZipArchiveTest, ListsAndReadsMembersInAnyOrder)
{
    const std::string big(200000, 'z');
    std::string bytes =
        ZipBuilder().Add("dir/one", "first").Add("two", big).Add("empty", "").Add("two", "second", 0).Build();
    auto archive = OpenBytes(bytes);
    ASSERT_EQ(archive.Members().size(), 4U);
    EXPECT_EQ(archive.Members()[1].size, 200000U);
    EXPECT_LT(archive.Members()[1].packedSize, 1000U);
    EXPECT_GT(archive.Members()[1].packedSize, 0U);
    const ZipArchive moved = std::move(archive);
    EXPECT_EQ(moved.ReadMember("empty", 0, error_), "");
    EXPECT_EQ(moved.ReadMember("two", 200000, error_), big); // the first of the name
    EXPECT_EQ(moved.ReadMember("dir/one", 5, error_), "first");
    EXPECT_EQ(moved.Find("two"), &moved.Members()[1]);
    EXPECT_EQ(moved.Find("one"), nullptr);
    EXPECT_TRUE(moved.CheckWhole(error_)) << error_;
    EXPECT_FALSE(moved.ReadMember("dir/one", 4, error_));
    EXPECT_EQ(moved.ReadHead("two", 150000), big.substr(0, 150000));
    EXPECT_EQ(moved.ReadHead("dir/one", 6), "first");
    EXPECT_EQ(moved.ReadHead("none", 6), "");
    EXPECT_EQ(error_, "/tmp/a.zip: the member dir/one is larger than 4 bytes");
    EXPECT_FALSE(moved.ReadMember("none", 10, error_));
    EXPECT_EQ(error_, "/tmp/a.zip has no member none");
    EXPECT_FALSE(moved.ExtractMember("none", "/tmp/out/none", error_));
    bytes[bytes.find("second")] = 'x';
    EXPECT_FALSE(OpenBytes(bytes).CheckWhole(error_)); // looks at each of them
    EXPECT_EQ(error_, "/tmp/a.zip: the member two is damaged");
}

// Its directory is read in pieces, between whose edges entries lie as they fall.
TEST_F(ZipArchiveTest, ReadsADirectoryOfManyPieces)
{
    constexpr size_t COUNT = 400;
    std::vector<std::string> names;
    ZipBuilder builder;
    for (size_t i = 0; i < COUNT; ++i) {
        names.push_back(std::string(i % 97, 'n') + std::to_string(i));
        builder.Add(names.back(), Noise(i * 13, static_cast<unsigned>(i)), 0);
    }
    WriteFile(PATH, builder.Build());
    TavomendTest::FaultyFileLayer layer("/tmp");
    const auto archive = ZipArchive::Open(PATH, error_);
    ASSERT_TRUE(archive) << error_;
    EXPECT_LT(layer.Calls().size(), 100U); // not one for each entry, or each byte of it
    layer.Forget();
    for (const std::string& name : names) {
        EXPECT_EQ(archive->ReadHead(name, 0), "");
    }
    EXPECT_LT(layer.Calls().size(), 600U); // each header, and not its entry anew
    layer.LimitBytes(1000);                // less than was asked for
    for (size_t i = COUNT; i-- > 0;) {
        EXPECT_EQ(archive->ReadMember(names[i], i * 13, error_), Noise(i * 13, static_cast<unsigned>(i))) << i;
    }
    for (size_t read = 1; read < 4; ++read) { // its entry, its header, its content
        layer.FailCall("read", read, EIO);
        EXPECT_FALSE(archive->ReadMember(names[399 / read], 9999, error_));
        layer.Forget();
        EXPECT_TRUE(archive->ReadMember(names[399 / read], 9999, error_)) << error_; // nothing wrong was kept
    }
}

TEST_F(ZipArchiveTest, OpensNothingElse)
{
    EXPECT_FALSE(ZipArchive::Open("/tmp/none.zip", error_));
    EXPECT_EQ(error_, "cannot read /tmp/none.zip: No such file or directory");
    const std::string whole = ZipBuilder().Add("one", "first").Add("two", "second").Build();
    EXPECT_EQ(WhyNotOpened(whole.substr(0, whole.size() - 22)), "/tmp/a.zip is no zip archive, or its end is missing");
    std::string damaged = whole;
    damaged[damaged.rfind("PK\x01\x02")] = 'X';
    EXPECT_EQ(WhyNotOpened(damaged), "/tmp/a.zip is a damaged archive");
    EXPECT_EQ(WhyNotOpened(WithName(whole, "two", std::string("t\0o", 3))), "/tmp/a.zip is a damaged archive");
    EXPECT_EQ(WhyNotOpened(ZipBuilder().Add(std::string(4097, 'n'), "").Build()), "/tmp/a.zip is a damaged archive");
    EXPECT_EQ(OpenBytes(ZipBuilder().Add(std::string(4096, 'n'), "").Build()).Members()[0].name.size(), 4096U);
}

TEST_F(ZipArchiveTest, TellsWhatIsWrongWithAMember)
{
    std::string bytes = ZipBuilder().Add("good", "good").Add("bad", std::string(99, 'b'), 0).Add("odd", "odd").Build();
    bytes[bytes.find("bbb")] = 'x';
    // A compression method that nobody knows, in both headers of the last member.
    bytes[bytes.find("odd") - 30 + 8] = 99;
    bytes[bytes.rfind("odd") - 46 + 10] = 99;
    const auto archive = OpenBytes(bytes);
    for (const auto& [name, error] : {std::pair{"bad", "/tmp/a.zip: the member bad is damaged"},
                                      std::pair{"odd", "/tmp/a.zip: the member odd cannot be read"}}) {
        EXPECT_FALSE(archive.ReadMember(name, 100, error_));
        EXPECT_EQ(error_, error);
        WriteFile("/tmp/out/file", "what was there");
        EXPECT_FALSE(archive.ExtractMember(name, "/tmp/out/file", error_));
        EXPECT_EQ(error_, error);
        EXPECT_EQ(ReadFile("/tmp/out/file"), "what was there");
        EXPECT_EQ(ListTree("/tmp/out").size(), 1U); // nothing beside it
    }
    EXPECT_EQ(archive.ReadMember("good", 4, error_), "good"); // after a failure, too
}

// The check has a quicker way through than a reader has; whatever is damaged, both say the same.
TEST_F(ZipArchiveTest, ChecksMembersAsTheyAreRead)
{
    std::string text;
    for (int i = 0; i < 40; ++i) {
        text += "line " + std::to_string(i * i) + "; ";
    }
    const std::string whole = ZipBuilder().Add("one", text).Add("two", "stored", 0).Add("empty", "").Build();
    size_t refused = 0;
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const char flip : {'\x01', '\x80'}) {
            std::string bytes = whole;
            bytes[at] = static_cast<char>(bytes[at] ^ flip);
            WriteFile(PATH, bytes);
            const auto archive = ZipArchive::Open(PATH, error_);
            bool isRead = archive.has_value();
            for (size_t i = 0; isRead && i < archive->Members().size(); ++i) {
                isRead = archive->ReadMember(archive->Members()[i].name, UINT64_MAX, error_).has_value();
            }
            std::string error;
            EXPECT_EQ(archive && archive->CheckWhole(error), isRead) << at;
            EXPECT_TRUE(!archive || isRead || error == error_) << at << ": " << error;
            refused += isRead ? 0 : 1;
        }
    }
    EXPECT_GT(refused, whole.size() / 2);
    EXPECT_LT(refused, whole.size() * 2 - 20); // what nobody needs may be anything

    const std::string large = Noise(700000, 1); // several pieces of the reading, packed and unpacked
    const std::string lines(3000000, 'l');
    for (const int level : {0, 6}) {
        std::string bytes = ZipBuilder().Add("lines", lines, level).Add("large", large, level).Build();
        EXPECT_TRUE(OpenBytes(bytes).CheckWhole(error_)) << error_;
        const size_t middle = bytes.size() - 350000;
        bytes[middle] = static_cast<char>(bytes[middle] ^ 1);
        EXPECT_FALSE(OpenBytes(bytes).CheckWhole(error_));
        EXPECT_EQ(error_, "/tmp/a.zip: the member large is damaged");
    }
}

// In front of the members, between them and behind the directory lies what no member has.
TEST_F(ZipArchiveTest, AFileThatIsCheckedIsPassedOnAsItIs)
{
    const std::string text(2000000, 't');
    const std::string large = Noise(1400000, 3);
    const std::string tail =
        ZipBuilder().Add("one", "1").Add("lines", text).Add("large", large).Add("kept", large, 0).Build();
    struct Case {
        const char* name;
        std::string bytes;
        bool isWhole;
        size_t smallReads; // at most, beside those of 256 KiB
    };
    std::string damaged = tail;
    damaged[tail.size() / 2] ^= 1;
    ZipBuilder many;
    for (int i = 0; i < 200; ++i) {
        many.Add(std::string(3000, 'n') + std::to_string(i), "", 0);
    }
    const Case cases[] = {
        {"as it is", tail, true, 2},
        {"with a long directory", many.Build(), true, 202},
        {"behind other bytes", Noise(700000, 4) + tail, true, 2},
        {"small", ZipBuilder().Add("one", "1", 0).Build(), true, 2},
        {"damaged", damaged, false, 1000},
    };
    for (const auto& [name, bytes, isWhole, smallReads] : cases) {
        const auto archive = OpenBytes(bytes);
        KnownMembers known;
        for (int round = 0; round < 3; ++round) { // with nothing known, all, and what does not fit the packed bytes
            std::string passed;
            const auto take = [&passed](const char* piece, size_t size) { passed.append(piece, size); };
            TavomendTest::FaultyFileLayer layer("/tmp");
            EXPECT_EQ(archive.CheckWhole(error_, &known, take), isWhole) << name << ": " << error_;
            EXPECT_EQ(passed.size() == bytes.size(), isWhole) << name;
            EXPECT_TRUE(bytes.compare(0, passed.size(), passed) == 0) << name << " in round " << round;
            EXPECT_TRUE(round > 0 || layer.Calls().size() <= bytes.size() / (256 << 10) + smallReads)
                << name << ": " << layer.Calls().size(); // and not all of it once more for who is given it
            std::string marks = known.Print();
            for (size_t at = 20; round == 1 && at < marks.size(); at += 28) {
                marks[at] ^= 1; // in the sum of the packed bytes
            }
            known = KnownMembers(marks);
        }
    }
    const auto archive = OpenBytes(tail);
    size_t passed = 0;
    std::filesystem::resize_file(PATH, tail.size() - 1); // the last byte is that of the archive's comment's size
    EXPECT_FALSE(archive.CheckWhole(error_, nullptr, [&passed](const char*, size_t size) { passed += size; }));
    EXPECT_EQ(error_, "/tmp/a.zip cannot be read to its end");
    EXPECT_LT(passed, tail.size());
    EXPECT_TRUE(archive.CheckWhole(error_)) << error_; // which nobody needs

    std::string small = ZipBuilder().Add("one", "first", 0).Build();
    const auto again = OpenBytes(small);
    EXPECT_TRUE(again.CheckWhole(error_)) << error_;
    small[small.find("first")] = 'F';
    WriteFile(PATH, small);
    EXPECT_FALSE(again.CheckWhole(error_, nullptr, [](const char*, size_t) {})); // not what an earlier check has seen
}

#ifdef TAVOMEND_HAS_ISAL
uint64_t Crc64(const std::string& bytes)
{
    uint64_t sum = ~uint64_t{0};
    for (const char byte : bytes) {
        sum ^= static_cast<uint8_t>(byte);
        for (int i = 0; i < 8; ++i) {
            sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xC96C5795D7870F42 : 0);
        }
    }
    return ~sum;
}

TEST_F(ZipArchiveTest, AMemberThatWasWholeIsKnownByItsPackedBytes)
{
    ASSERT_EQ(Crc64("123456789"), 0x995DC9BBDF1939FA); // as the catalogues of CRCs have it for xz
    const std::string whole = ZipBuilder().Add("one", Noise(1400000, 7)).Add("two", "small").Build();
    KnownMembers first;
    EXPECT_TRUE(OpenBytes(whole).CheckWhole(error_, &first)) << error_;
    const std::string text = first.Print();
    ASSERT_EQ(text.size(), 28U); // not the small one
    for (const std::string& memory : {text, text.substr(0, 20)}) {
        KnownMembers again(memory);
        EXPECT_TRUE(OpenBytes(whole).CheckWhole(error_, &again)) << error_;
        EXPECT_EQ(again.Print(), text); // known or not
    }
    for (const size_t at : {size_t{100}, whole.size() / 2, size_t{1399000}}) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
        KnownMembers again(text);
        EXPECT_FALSE(OpenBytes(damaged).CheckWhole(error_, &again)) << at;
        EXPECT_EQ(error_, "/tmp/a.zip: the member one is damaged");
        EXPECT_EQ(again.Print(), "");
    }
    // What would never unpack is taken for whole once it is known, and only as it is.
    std::string noStream(1100000, '\xFF');
    const PackedMember member{0, noStream.size(), 5, 0x3610A686, true}; // "hello"
    KnownMembers noted;
    noted.Add(member, Crc64(noStream));
    const auto isWhole = [&](const std::string& stream) {
        KnownMembers known(noted.Print());
        return OpenBytes(ZipBuilder().AddDeflated("one", "hello", stream).Build()).CheckWhole(error_, &known);
    };
    EXPECT_TRUE(isWhole(noStream)) << error_;
    noStream[1099999] = 'x';
    EXPECT_FALSE(isWhole(noStream));
}
#endif

TEST_F(ZipArchiveTest, ExtractsIntoPlaceOrLeavesNothing)
{
    const auto archive =
        OpenBytes(ZipBuilder().Add("small", std::string(900, 's')).Add("big", std::string(300000, 'b')).Build());
    WriteFile("/tmp/deep/er/file", std::string(5000, 'o'));
    ASSERT_TRUE(archive.ExtractMember("small", "/tmp/deep/er/file", error_)) << error_;
    EXPECT_EQ(ReadFile("/tmp/deep/er/file"), std::string(900, 's'));
    ASSERT_TRUE(archive.ExtractMember("big", "/tmp/deep/est/file", error_)) << error_;
    EXPECT_EQ(ReadFile("/tmp/deep/est/file"), std::string(300000, 'b'));
    EXPECT_EQ(ListTree("/tmp/deep").size(), 2U);
    struct stat info {};
    ASSERT_EQ(stat("/tmp/deep/est/file", &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0644U);

    EXPECT_FALSE(archive.ExtractMember("small", "/tmp/a.zip/file", error_));
    EXPECT_EQ(error_, "cannot write /tmp/a.zip/file: Not a directory");
    {
        TavomendTest::FaultyFileLayer layer("/tmp");
        layer.FailCall("write", 1, ENOSPC);
        EXPECT_FALSE(archive.ExtractMember("small", "/tmp/out/file", error_));
        EXPECT_EQ(error_, "cannot write /tmp/out/file: No space left on device");
        layer.Forget();
        EXPECT_TRUE(archive.ExtractMember("small", "/tmp/out/file", error_)) << error_;
        EXPECT_THAT(layer.Calls(), testing::Contains("write /tmp/out/file.new").Times(1)); // once, and not copied
        EXPECT_THAT(layer.Calls(), testing::Not(testing::Contains(testing::HasSubstr("copy_range"))));
        std::filesystem::remove("/tmp/out/file");
    }
    const FileSizeLimit limit(500);
    EXPECT_FALSE(archive.ExtractMember("small", "/tmp/out/file", error_)); // shows at the end only
    EXPECT_EQ(error_, "cannot write /tmp/out/file: File too large");
    EXPECT_FALSE(archive.ExtractMember("big", "/tmp/out/file", error_));
    EXPECT_EQ(error_, "/tmp/a.zip: the member big could not be taken out");
    EXPECT_TRUE(ListTree("/tmp/out").empty());
}

TEST_F(ZipArchiveTest, WritesTheSameBytesForTheSameInput)
{
    const std::string big(131073, 'c'); // one byte more than two pieces
    WriteFile("/tmp/source", big);
    ZipWriter writer(PATH);
    EXPECT_TRUE(writer.Add("text", "the content", 0, error_)) << error_;
    EXPECT_TRUE(writer.AddFile("dir/file", "/tmp/source", 9, error_)) << error_;
    EXPECT_TRUE(writer.Close(error_)) << error_;
    EXPECT_FALSE(writer.Close(error_));
    const std::string bytes = ReadFile(PATH);
    // Local headers: method (0 stored, 8 deflated), then time 0:00 and date 1 January 1980.
    EXPECT_EQ(bytes.substr(8, 6), std::string("\0\0\0\0\x21\0", 6));
    EXPECT_EQ(bytes.substr(bytes.find("dir/file") - 30 + 8, 6), std::string("\x08\0\0\0\x21\0", 6));
    const auto archive = OpenBytes(bytes);
    EXPECT_EQ(archive.ReadMember("text", 11, error_), "the content");
    EXPECT_EQ(archive.ReadMember("dir/file", big.size(), error_), big);
    EXPECT_LT(archive.Members()[1].packedSize, 1000U);
}

TEST_F(ZipArchiveTest, TheWriterTellsWhatItCannotDo)
{
    ZipWriter nowhere("/none/a.zip");
    EXPECT_FALSE(nowhere.Add("text", "", 0, error_));
    EXPECT_FALSE(nowhere.Close(error_));
    EXPECT_EQ(error_, "cannot write /none/a.zip: No such file or directory");
    for (const char* line : {"/tmp/none: No such file or directory", "/tmp: Is a directory"}) {
        const std::string source = std::string(line).substr(0, std::string(line).find(':'));
        EXPECT_FALSE(ZipWriter(PATH).AddFile("file", source, 0, error_));
        EXPECT_EQ(error_, std::string("cannot read ") + line);
    }
    WriteFile("/tmp/source", std::string(300000, 'x'));
    const FileSizeLimit limit(1000);
    ZipWriter full("/tmp/full.zip");
    EXPECT_FALSE(full.Add("text", std::string(300000, 'x'), 0, error_));
    EXPECT_EQ(error_, "cannot write /tmp/full.zip: File too large");
    EXPECT_FALSE(ZipWriter("/tmp/full2.zip").AddFile("file", "/tmp/source", 0, error_));
}
} // namespace
} // namespace ORVX::Formats
