#include <fcntl.h>
#include <gtest/gtest.h>

#include "handles/unique_descriptor.h"
#include "platform/utility/input_file.h"
#include "tests/support/device_fixture.h"
#include "tests/support/held_files.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::InputFile;

class InputFileTest : public DeviceTest {
protected:
    // As a writer opens it who does not wait.
    static bool CanBeWritten()
    {
        return Handles::UniqueDescriptor(open("/data/file", O_WRONLY | O_NONBLOCK | O_CLOEXEC)).IsValid();
    }
};

// Changes whenever it is read, and nobody writes to it. Opened before main puts the process on its device root.
InputFile g_processStatus("/proc/self/status");
const Handles::UniqueDescriptor PROCESS_STATUS(open("/proc/self/status", O_RDONLY | O_CLOEXEC));

TEST_F(InputFileTest, IsHeldOnlyWhereThatSaysThatItStaysAsItIs)
{
    WriteFile("/data/file", "content");
    if (!CanBeHeld("/data/file")) {
        GTEST_SKIP() << "no leases on this file system, or it is laid over another";
    }
    InputFile file("/data/file");
    ASSERT_TRUE(file.Hold());
    std::string_view content;
    {
        const Handles::FilePages pages = file.Map(0, 7);
        content = pages.View();
        EXPECT_EQ(content, "content");
    }
    unsigned char isThere = 0;
    EXPECT_EQ(mincore(const_cast<char*>(content.data()), 1, &isThere), -1); // the pages have gone with their owner
    if (mlock(nullptr, 1) != 0) {                                           // a sanitizer's own does nothing
        EXPECT_FALSE(file.Map(0, 1000000).IsValid()); // looked at, the pages behind the end would end the process
    }
    EXPECT_FALSE(CanBeWritten());
    EXPECT_FALSE(file.IsHeld()); // somebody waits
    EXPECT_TRUE(file.Release()); // and has not got in
    EXPECT_TRUE(CanBeWritten());
    EXPECT_FALSE(file.Release());

    WriteFile("/data/file", "cut since");
    std::filesystem::resize_file("/data/file", 3);
    EXPECT_FALSE(file.Hold());
    EXPECT_TRUE(CanBeWritten());
    const Handles::UniqueDescriptor writer(open("/data/file", O_WRONLY | O_CLOEXEC));
    EXPECT_FALSE(InputFile("/data/file").Hold());

    if (g_processStatus.IsValid() && fcntl(PROCESS_STATUS.Get(), F_SETLEASE, F_RDLCK) == 0) {
        EXPECT_FALSE(g_processStatus.Hold());
    }
}
} // namespace
} // namespace ORVX::TavomendTest
