// The output and its writer where the system misbehaves.
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/output_writer.h"
#include "handles/unique_descriptor.h"
#include "tests/unit/diff/misbehaving_system.h"
#include "tests/unit/diff/scratch_directory.h"

namespace ORVX::TavomendTest {
namespace {
using namespace Difference;

ByteView ViewOf(const std::string& text)
{
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class DifferenceOutputTest : public testing::Test {
protected:
    void SetUp() override { g_system.Mend(); }
    void TearDown() override { g_system.Mend(); }

    std::unique_ptr<DifferenceOutput> Create(uint64_t size)
    {
        return DifferenceOutput::Create(scratch_.Path("out"), size, result_);
    }

    ScratchDirectory scratch_;
    DifferenceResult result_ = DIFFERENCE_OK;
};

TEST_F(DifferenceOutputTest, IsCreatedWithItsRoomOrNotAtAll)
{
    for (const int error : {ENOSPC, EFBIG, EDQUOT, EIO}) {
        g_system.fallocate.error = error;
        EXPECT_EQ(Create(100), nullptr);
        EXPECT_EQ(result_, error == EIO ? DIFFERENCE_OUTPUT_UNWRITABLE : DIFFERENCE_NO_ROOM) << error;
        EXPECT_FALSE(scratch_.Has("out")) << error;
    }
    EXPECT_EQ(Create(0)->Map(), nullptr); // needs no room
    g_system.fallocate.error = 0;
    {
        const auto output = Create(100);
        ASSERT_NE(output, nullptr);
        EXPECT_EQ(result_, DIFFERENCE_OK);
        EXPECT_EQ(scratch_.Read("out"), std::string(100, '\0'));
        struct stat status {};
        ASSERT_EQ(stat(scratch_.Path("out").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0644));
        EXPECT_EQ(output->Map(), output->Map());
    }
    EXPECT_FALSE(scratch_.Has("out")); // it was not kept
    g_system.populate.error = EINVAL;  // an old kernel
    EXPECT_NE(Create(100)->Map(), nullptr);
    g_system.populate.error = EFAULT; // a disk that fails
    EXPECT_EQ(Create(100)->Map(), nullptr);
    scratch_.Write("out", "somebody's");
    EXPECT_EQ(Create(5), nullptr);
    EXPECT_EQ(scratch_.Read("out"), "somebody's");
}

TEST_F(DifferenceOutputTest, WritesAreCarriedOnWithAndBounded)
{
    const auto output = Create(10);
    ASSERT_NE(output, nullptr);
    g_system.bytesMax = 3;
    g_system.write.error = EINTR;
    EXPECT_TRUE(output->Write(ViewOf("abcdefg")));
    EXPECT_EQ(output->Room(), 3U);
    EXPECT_FALSE(output->Write(ViewOf("hijk")));
    EXPECT_TRUE(output->Write(ViewOf("hij")));
    EXPECT_EQ(output->Room(), 0U);
    EXPECT_EQ(scratch_.Read("out"), "abcdefghij");

    Handles::Sha256Digest digest{};
    EXPECT_TRUE(output->Digest(digest)); // `printf abcdefghij | sha256sum`
    EXPECT_EQ(Handles::Sha256Text(digest), "72399361da6a7754fec986dca5b7cbaf1c810a28ded4abaf56b2106d06cb78b0");
    g_system.pread.error = EIO;
    EXPECT_FALSE(output->Digest(digest));
    g_system.pread.error = 0;
    ASSERT_EQ(truncate(scratch_.Path("out").c_str(), 9), 0);
    EXPECT_FALSE(output->Digest(digest));
}

// Whatever goes wrong while a difference is applied, there is no output afterwards, and the code says what it was.
TEST_F(DifferenceOutputTest, NothingIsLeftAfterAnyFailure)
{
    const struct {
        const char* name;
        Fault* fault;
        const char* difference;
        int code;
    } cases[] = {
        {"flush", &g_system.fsync, "plain", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"flush", &g_system.fsync, "archive", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"room", &g_system.fallocate, "plain", DIFFERENCE_NO_ROOM},
        {"room", &g_system.fallocate, "archive", DIFFERENCE_NO_ROOM},
        {"write", &g_system.write, "archive", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"write", &g_system.write, "bytes", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"reading the difference", &g_system.pread, "archive", DIFFERENCE_UNREADABLE},
        {"reading the base", &g_system.read, "plain", DIFFERENCE_BASE_UNREADABLE},
        {"reading the base", &g_system.read, "archive", DIFFERENCE_BASE_UNREADABLE},
    };
    for (const auto& [name, fault, difference, code] : cases) {
        const std::string kept = KEPT_DIFFERENCES "/" + std::string(difference);
        g_system.mlock.error = fault == &g_system.read ? ENOMEM : 0; // or it is not read
        fault->error = ENOSPC;
        EXPECT_EQ(ApplyDifference(kept + ".difference", kept + ".old", scratch_.Path("out")), code) << name;
        EXPECT_FALSE(scratch_.Has("out")) << name;
        fault->error = 0;
        g_system.fsync.calls = 0;
        EXPECT_EQ(ApplyDifference(kept + ".difference", kept + ".old", scratch_.Path("out")), DIFFERENCE_OK) << kept;
        EXPECT_EQ(g_system.fsync.calls, 1) << kept;
    }
    // The disk fails once something is written: by then all of this difference has been read.
    const std::string kept = KEPT_DIFFERENCES "/archive";
    g_system.beforeWrite = [] { g_system.pread.error = EIO; };
    EXPECT_EQ(ApplyDifference(kept + ".difference", kept + ".old", scratch_.Path("out")), DIFFERENCE_OUTPUT_UNWRITABLE);
    g_system.Mend();
    EXPECT_FALSE(scratch_.Has("out"));
}

// A base that is mapped cannot be cut off under its reader, and one that somebody is writing to is not mapped.
TEST_F(DifferenceOutputTest, ABaseStaysAsItIsWhileItIsRead)
{
    const std::string base = scratch_.Path("old");
    const auto open = [&base] { return Handles::UniqueDescriptor(::open(base.c_str(), O_WRONLY | O_NONBLOCK)); };
    for (const std::string kind : {"plain", "archive"}) {
        const std::string kept = KEPT_DIFFERENCES "/" + kind;
        scratch_.Run("cp " + kept + ".old old && cp " + kept + ".difference difference");
        const auto outcome = [&](const ApplyProgress& progress) {
            EXPECT_EQ(ApplyDifference(scratch_.Path("difference"), base, scratch_.Path("out"), progress),
                      DIFFERENCE_OK);
            g_system.read.error = 0;
            return scratch_.Read("out");
        };
        const Handles::UniqueDescriptor reader(::open(base.c_str(), O_RDONLY));
        const std::string probe = scratch_.Read("old");
        const bool isMappable = fcntl(reader.Get(), F_SETLEASE, F_RDLCK) == 0 && mlock(probe.data(), probe.size()) == 0;
        munlock(probe.data(), probe.size());
        fcntl(reader.Get(), F_SETLEASE, F_UNLCK);
        g_system.read.error = isMappable ? EIO : 0; // nothing is read
        size_t refused = 0;
        const std::string fresh = outcome([&](uint64_t, uint64_t) { refused += open().IsValid() ? 0U : 1U; });
        EXPECT_FALSE(fresh.empty());
        EXPECT_EQ(refused != 0, isMappable) << kind;
        g_system.mlock.error = ENOMEM; // then it is read, and nobody need wait
        EXPECT_EQ(outcome([&](uint64_t, uint64_t) { EXPECT_TRUE(open().IsValid()); }), fresh) << kind;
        g_system.mlock.error = 0;
        const Handles::UniqueDescriptor writer = open();
        ASSERT_TRUE(writer.IsValid()) << kind; // again
        EXPECT_EQ(outcome([&](uint64_t, uint64_t) { EXPECT_EQ(ftruncate(writer.Get(), 0), 0); }), fresh) << kind;
    }
}

OutputWriter::Step StepOf(const std::string& bytes, int level, bool isLast)
{
    OutputWriter::Step step;
    step.bytes.assign(bytes.begin(), bytes.end());
    step.level = level;
    step.isLast = isLast;
    return step;
}

std::atomic<int> g_put{0};
std::atomic<int> g_written{0};

TEST_F(DifferenceOutputTest, StepsArriveInOrderAndTheQueueIsBounded)
{
    constexpr int STEPS = 200;
    constexpr size_t SIZE = size_t{64} << 10;
    const auto output = Create(STEPS * SIZE);
    OutputWriter writer(*output, APPLY_WAITING_USUAL);
    ASSERT_TRUE(writer.Start());
    // The first write waits until the queue is full: one mebibyte.
    g_put = g_written = 0;
    g_system.beforeWrite = [] {
        while (g_put < 16) {
            std::this_thread::yield();
        }
        EXPECT_LE(g_put, ++g_written + 15);
    };
    std::string expected;
    for (int i = 0; i < STEPS; ++i) {
        const std::string bytes(SIZE, static_cast<char>('a' + i % 26));
        ASSERT_TRUE(writer.Put(StepOf(bytes, 0, false)));
        ++g_put;
        expected += bytes;
    }
    EXPECT_EQ(writer.Finish(), DIFFERENCE_OK);
    g_system.beforeWrite = nullptr;
    EXPECT_EQ(output->Room(), 0U);
    EXPECT_TRUE(scratch_.Read("out") == expected);
}

TEST_F(DifferenceOutputTest, AFailureReachesWhoeverPuts)
{
    struct Case {
        int level;
        uint64_t room;
        int error;
        DifferenceResult result;
    };
    for (const auto& [level, room, error, result] :
         {Case{0, 100000, EIO, DIFFERENCE_OUTPUT_UNWRITABLE}, Case{0, 99999, 0, DIFFERENCE_ZLIB_DIFFERS},
          Case{1, 100000, EIO, DIFFERENCE_OUTPUT_UNWRITABLE}, Case{1, 20, 0, DIFFERENCE_ZLIB_DIFFERS}}) {
        const auto output = Create(room);
        OutputWriter writer(*output, APPLY_WAITING_USUAL);
        ASSERT_TRUE(writer.Start());
        g_system.write.error = error;
        bool isTaken = true;
        for (int i = 0; i < 100 && isTaken; ++i) { // more than any queue holds
            isTaken = writer.Put(StepOf(std::string(100000, 'x'), level, true));
        }
        EXPECT_FALSE(isTaken) << level;
        EXPECT_EQ(writer.Finish(), result) << level;
        g_system.write.error = 0;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
