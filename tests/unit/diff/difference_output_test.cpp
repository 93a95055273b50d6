// The output and its writer where the system misbehaves.
#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/output_writer.h"
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
    struct Case {
        int error;
        DifferenceResult result;
    };
    for (const auto& [error, result] : {Case{ENOSPC, DIFFERENCE_NO_ROOM}, Case{EFBIG, DIFFERENCE_NO_ROOM},
                                        Case{EDQUOT, DIFFERENCE_NO_ROOM}, Case{EIO, DIFFERENCE_OUTPUT_UNWRITABLE}}) {
        g_system.fallocate.error = error;
        EXPECT_EQ(Create(100), nullptr);
        EXPECT_EQ(result_, result) << error;
        EXPECT_FALSE(scratch_.Has("out")) << error;
    }
    EXPECT_NE(Create(0), nullptr); // needs no room
    g_system.fallocate.error = 0;
    {
        const auto output = Create(100);
        ASSERT_NE(output, nullptr);
        EXPECT_EQ(result_, DIFFERENCE_OK);
        EXPECT_EQ(scratch_.Read("out"), std::string(100, '\0'));
        struct stat status {};
        ASSERT_EQ(stat(scratch_.Path("out").c_str(), &status), 0);
        EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0644));
    }
    EXPECT_FALSE(scratch_.Has("out")); // it was not kept
    scratch_.Write("out", "somebody's");
    EXPECT_EQ(Create(5), nullptr);
    EXPECT_EQ(result_, DIFFERENCE_OUTPUT_UNWRITABLE);
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
    ASSERT_EQ(truncate(scratch_.Path("out").c_str(), 10), 0);
    EXPECT_TRUE(output->Keep());
}

TEST_F(DifferenceOutputTest, ABadDiskFailsTheWrite)
{
    const auto output = Create(10);
    g_system.write.error = EIO;
    EXPECT_FALSE(output->Write(ViewOf("abc")));
}

TEST_F(DifferenceOutputTest, IsMappedOnceAndFlushedBeforeItStays)
{
    {
        const auto output = Create(3);
        g_system.mmap.error = ENOMEM;
        EXPECT_EQ(output->Map(), nullptr);
        g_system.mmap.error = 0;
        uint8_t* const memory = output->Map();
        ASSERT_NE(memory, nullptr);
        EXPECT_EQ(output->Map(), memory);
        std::copy_n("xyz", 3, memory);
        g_system.msync.error = EIO;
        EXPECT_FALSE(output->Keep());
        EXPECT_EQ(g_system.fsync.calls, 0);
        g_system.msync.error = 0;
        g_system.fsync.error = EIO;
        EXPECT_FALSE(output->Keep());
    }
    EXPECT_FALSE(scratch_.Has("out"));
    g_system.fsync.error = 0;
    {
        const auto output = Create(3);
        std::copy_n("xyz", 3, output->Map());
        g_system.fsync.calls = g_system.msync.calls = 0;
        EXPECT_TRUE(output->Keep());
        EXPECT_EQ(g_system.msync.calls, 1);
        EXPECT_EQ(g_system.fsync.calls, 1);
    }
    EXPECT_EQ(scratch_.Read("out"), "xyz");
    std::filesystem::remove(scratch_.Path("out"));
    EXPECT_EQ(Create(0)->Map(), nullptr);
}

// Whatever goes wrong while a difference is applied, there is no output afterwards, and the code says what it was.
TEST_F(DifferenceOutputTest, NothingIsLeftAfterAnyFailure)
{
    struct Case {
        const char* name;
        Fault* fault;
        const char* difference;
        int code;
    };
    const Case cases[] = {
        {"flush", &g_system.fsync, "plain", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"flush", &g_system.fsync, "archive", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"flush of the mapping", &g_system.msync, "plain", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"room", &g_system.fallocate, "plain", DIFFERENCE_NO_ROOM},
        {"room", &g_system.fallocate, "archive", DIFFERENCE_NO_ROOM},
        {"write", &g_system.write, "archive", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"write", &g_system.write, "bytes", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"reading again", &g_system.pread, "archive", DIFFERENCE_OUTPUT_UNWRITABLE},
        {"map", &g_system.mmap, "plain", DIFFERENCE_BASE_UNREADABLE},
    };
    const std::string kept = KEPT_DIFFERENCES "/";
    for (const auto& [name, fault, difference, code] : cases) {
        fault->error = ENOSPC;
        EXPECT_EQ(ApplyDifference(kept + difference + ".difference", kept + difference + ".old", scratch_.Path("out")),
                  code)
            << name << " " << difference;
        EXPECT_FALSE(scratch_.Has("out")) << name;
        fault->error = 0;
        g_system.fsync.calls = 0;
        EXPECT_EQ(ApplyDifference(kept + difference + ".difference", kept + difference + ".old", scratch_.Path("out")),
                  DIFFERENCE_OK)
            << difference;
        EXPECT_EQ(g_system.fsync.calls, 1) << difference;
    }
}

TEST_F(DifferenceOutputTest, WithoutMemoryThereIsACodeAndNoOutput)
{
    const std::string kept = KEPT_DIFFERENCES "/windows";
    const std::string difference = kept + ".difference";
    const std::string old = kept + ".old";
    const std::string out = scratch_.Path("out");
    int result = DIFFERENCE_NO_MEMORY;
    for (int64_t n = 0; result != DIFFERENCE_OK; ++n) {
        g_system.allocationsLeft = n;
        result = ApplyDifference(difference, old, out);
        g_system.allocationsLeft = INT64_MAX;
        ASSERT_TRUE(result == DIFFERENCE_OK || result == DIFFERENCE_NO_MEMORY) << n << ": " << result;
        ASSERT_EQ(scratch_.Has("out"), result == DIFFERENCE_OK) << n;
        ASSERT_LT(n, 10000);
    }
}

class OutputWriterTest : public DifferenceOutputTest {
protected:
    static OutputWriter::Step RawStep(size_t size, char byte)
    {
        OutputWriter::Step step;
        step.bytes.assign(size, static_cast<uint8_t>(byte));
        return step;
    }
};

std::atomic<int> g_put{0};
std::atomic<int> g_written{0};

TEST_F(OutputWriterTest, StepsArriveInOrderAndTheQueueIsBounded)
{
    constexpr int STEPS = 200;
    constexpr size_t SIZE = size_t{64} << 10;
    const auto output = Create(STEPS * SIZE);
    OutputWriter writer(*output);
    ASSERT_TRUE(writer.Start());
    // The first write waits until the queue is full: a mebibyte, and the step in work.
    g_put = g_written = 0;
    g_system.beforeWrite = [] {
        while (g_put < 17) {
            std::this_thread::yield();
        }
        EXPECT_LE(g_put, ++g_written + 16);
    };
    std::string expected;
    for (int i = 0; i < STEPS; ++i) {
        const char byte = static_cast<char>('a' + i % 26);
        ASSERT_TRUE(writer.Put(RawStep(SIZE, byte)));
        ++g_put;
        expected.append(SIZE, byte);
    }
    EXPECT_EQ(writer.Finish(), DIFFERENCE_OK);
    g_system.beforeWrite = nullptr;
    EXPECT_EQ(output->Room(), 0U);
    EXPECT_TRUE(scratch_.Read("out") == expected);
}

TEST_F(OutputWriterTest, AFailureReachesWhoeverPuts)
{
    struct Case {
        int error;
        uint64_t room;
        DifferenceResult result;
    };
    for (const auto& [error, room, result] :
         {Case{EIO, 100000, DIFFERENCE_OUTPUT_UNWRITABLE}, Case{0, 99999, DIFFERENCE_ZLIB_DIFFERS}}) {
        for (const int level : {0, 1}) {
            const auto output = Create(level == 0 ? room : 20);
            OutputWriter writer(*output);
            ASSERT_TRUE(writer.Start());
            g_system.write.error = error;
            OutputWriter::Step step = RawStep(100000, 'x'); // some hundred bytes when it is deflated
            step.level = level;
            step.isLast = true;
            bool isTaken = true;
            for (int i = 0; i < 100 && isTaken; ++i) { // more than any queue holds
                isTaken = writer.Put(step);
            }
            EXPECT_FALSE(isTaken) << level;
            EXPECT_EQ(writer.Finish(), level == 0 || error == 0 ? result : DIFFERENCE_ZLIB_DIFFERS) << level;
            g_system.write.error = 0;
        }
    }
}

TEST_F(OutputWriterTest, WhatStillQueuesIsDroppedWithTheWriter)
{
    const auto output = Create(size_t{1} << 20);
    static std::atomic<bool> isLetGo;
    isLetGo = false;
    {
        OutputWriter writer(*output);
        ASSERT_TRUE(writer.Start());
        g_put = 0;
        g_system.beforeWrite = [] {
            while (!isLetGo) {
                std::this_thread::yield();
            }
        };
        for (int i = 0; i < 10; ++i) {
            ASSERT_TRUE(writer.Put(RawStep(1000, 'x')));
        }
        isLetGo = true;
    }
    g_system.beforeWrite = nullptr;
    OutputWriter idle(*output); // never started: Finish does not wait
    EXPECT_EQ(idle.Finish(), DIFFERENCE_OK);
}
} // namespace
} // namespace ORVX::TavomendTest
