#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "handles/read_lease.h"
#include "handles/unique_descriptor.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"
#include "tests/support/held_files.h"
#include "tests/support/noise.h"
#include "tools/sealed_file.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::SealedFile;

constexpr const char* PATH = "/data/file";
constexpr size_t PIECE = 65536;
constexpr size_t PIECES = 36; // more than are mapped at once, twice
constexpr size_t SIZE = PIECES * PIECE - 100;
const std::string WHOLE(PIECES, '+');

Handles::UniqueDescriptor OpenToWrite()
{
    return Handles::UniqueDescriptor(open(PATH, O_WRONLY | O_NONBLOCK | O_CLOEXEC)); // does not wait to be let in
}

bool Overwrite(int file, size_t piece)
{
    return pwrite(file, "another", 7, static_cast<off_t>(piece * PIECE + 5)) == 7;
}

// As the system does when somebody has waited for long enough. How many leases of this process on the file have gone.
int TakeLeasesAway()
{
    struct stat ours {};
    EXPECT_EQ(stat(PATH, &ours), 0);
    int taken = 0;
    for (int file = 0; file < 256; ++file) {
        struct stat status {};
        const bool isOurs = fstat(file, &status) == 0 && status.st_dev == ours.st_dev && status.st_ino == ours.st_ino;
        taken += isOurs && Handles::HasReadLease(file) && Handles::GiveReadLeaseBack(file) ? 1 : 0;
    }
    return taken;
}

class SealedFileTest : public DeviceTest {
protected:
    using Event = std::function<void(size_t piece)>;

    void SetUp() override
    {
        DeviceTest::SetUp();
        WriteFile(PATH, content_);
        canBeHeld_ = CanBeHeld(PATH);
    }

    // Seals the file while something happens, told of each piece once the taker has seen it.
    std::unique_ptr<SealedFile> Seal(const Event& event)
    {
        seen_.clear();
        auto file = SealedFile::Read(PATH, [this, &event](const void* bytes, size_t size) {
            seen_.emplace_back(static_cast<const char*>(bytes), size);
            event(seen_.size() - 1);
        });
        EXPECT_EQ(TakeLeasesAway(), 0); // nobody waits any longer
        return file;
    }
    // The pieces that are to be had, each as the taker saw it.
    std::string Known(SealedFile& file) const
    {
        std::string known;
        for (size_t piece = 0; piece < PIECES; ++piece) {
            const std::string_view view = file.View(piece * PIECE, PIECE);
            EXPECT_TRUE(view.empty() || view == seen_.at(piece)) << piece;
            known += view.empty() ? '-' : '+';
        }
        return known;
    }
    // The pieces that are on the disk as the taker saw them.
    std::string Same() const
    {
        const std::string now = ReadFile(PATH);
        std::string same;
        for (size_t piece = 0; piece < PIECES; ++piece) {
            same += now.substr(piece * PIECE, PIECE) == seen_.at(piece) ? '+' : '-';
        }
        return same;
    }

    const std::string content_ = Noise(SIZE, 1);
    bool canBeHeld_ = false;
    std::vector<std::string> seen_;
};

TEST_F(SealedFileTest, IsWhatItsTakerSawWhoeverWritesMeanwhile)
{
    auto file = Seal([](size_t /*piece*/) {});
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Known(*file), WHOLE);
    std::string read(SIZE, '\0');
    EXPECT_TRUE(file->ReadAt(0, read.data(), SIZE) && read == content_);
    EXPECT_FALSE(file->ReadAt(1, read.data(), SIZE));

    // One who wants to write is let in before long, and what they write is found in the pieces sealed before alone.
    for (const size_t arrival : {size_t{0}, size_t{3}, size_t{20}, PIECES - 1}) {
        WriteFile(PATH, content_);
        size_t refused = 0;
        Handles::UniqueDescriptor writer;
        file = Seal([&](size_t piece) {
            if (piece < arrival || writer.IsValid()) {
                return;
            }
            writer = OpenToWrite();
            refused += writer.IsValid() ? 0 : 1;
            if (writer.IsValid()) {
                EXPECT_TRUE(Overwrite(writer.Get(), arrival) && Overwrite(writer.Get(), PIECES - 1));
            }
        });
        ASSERT_NE(file, nullptr) << arrival;
        EXPECT_EQ(refused != 0, canBeHeld_) << arrival;
        EXPECT_LE(refused, 16U) << arrival;
        EXPECT_TRUE(OpenToWrite().IsValid()) << arrival;
        const std::string same = Same();
        EXPECT_EQ(Known(*file), same) << arrival;
        EXPECT_EQ(same[arrival], writer.IsValid() ? '-' : '+') << arrival;
    }

    // Who writes already, or cuts it.
    WriteFile(PATH, content_);
    const Handles::UniqueDescriptor writer = OpenToWrite();
    file = Seal([&](size_t piece) { EXPECT_TRUE(Overwrite(writer.Get(), piece ^ 2U)); });
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Known(*file), Same());
    WriteFile(PATH, content_);
    file = Seal([&](size_t piece) { EXPECT_TRUE(piece != 20 || ftruncate(writer.Get(), SIZE - 1) == 0); });
    EXPECT_EQ(file, nullptr);
    EXPECT_EQ(seen_.size(), PIECES - 1);
}

// What the taker was shown and what was sealed may differ then.
TEST_F(SealedFileTest, IsNoneWhenAWriterWasLetInBehindItsBack)
{
    for (const size_t arrival : {size_t{0}, size_t{20}, PIECES - 1}) {
        WriteFile(PATH, content_);
        const auto file = Seal([&](size_t piece) {
            if (piece == arrival) {
                EXPECT_EQ(TakeLeasesAway(), canBeHeld_ ? 1 : 0);
                const Handles::UniqueDescriptor writer = OpenToWrite();
                EXPECT_TRUE(Overwrite(writer.Get(), piece));
            }
        });
        EXPECT_EQ(file == nullptr, canBeHeld_) << arrival;
        EXPECT_TRUE(file == nullptr || Known(*file) == Same()) << arrival;
    }
}

// A layer that maps, and may be told to map no more.
class MappingLayer : public FaultyFileLayer {
public:
    explicit MappingLayer(size_t maps) : maps_(maps) {}
    Handles::FilePages Map(int file, size_t size, off_t at) override
    {
        if (maps_ == 0) {
            return {};
        }
        --maps_;
        return FileLayer::GetReal().Map(file, size, at);
    }

private:
    size_t maps_;
};

TEST_F(SealedFileTest, ReadsWhatCannotBeMapped)
{
    for (const size_t maps : {size_t{0}, size_t{1}, size_t{3}}) {
        MappingLayer layer(maps);
        const auto file = Seal([](size_t /*piece*/) {});
        ASSERT_NE(file, nullptr) << maps;
        size_t reads = 0;
        for (const std::string& call : layer.Calls()) {
            reads += call.rfind("read ", 0) == 0 ? 1 : 0;
        }
        EXPECT_EQ(reads, PIECES - (canBeHeld_ ? std::min<size_t>(16 * maps, PIECES) : 0)) << maps;
        EXPECT_EQ(Known(*file), WHOLE) << maps;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
