#include <gtest/gtest.h>

#include "formats/device_paths.h"
#include "package/device_check.h"
#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"
#include "tests/support/faulty_file_layer.h"

namespace ORVX::TavomendTest {
namespace {
using namespace TavomendEngine;

// A disk with so many KiB free; below 0 it cannot be asked.
class RoomyLayer : public FaultyFileLayer {
public:
    explicit RoomyLayer(int64_t freeKib) : FaultyFileLayer("/tmp"), freeKib_(freeKib) {}
    int Statvfs(const std::string& /*path*/, struct statvfs& status) override
    {
        status.f_frsize = 1024;
        status.f_bavail = static_cast<fsblkcnt_t>(freeKib_);
        return freeKib_ < 0 ? -1 : 0;
    }

private:
    int64_t freeKib_;
};

class DeviceCheckTest : public DeviceTest {};

TEST_F(DeviceCheckTest, RoomIsJudgedToTheLastKibibyte)
{
    constexpr int64_t MARGIN = 524288;
    struct Case {
        int32_t stage;
        int32_t space;
        int64_t held; // KiB in the work directory
        int64_t need; // below 0: nothing is asked
    };
    const Case cases[] = {
        {RUNNING_STAGE_SA, 100, 40, 12 + 120 + MARGIN},
        {RUNNING_STAGE_SA, 104, 0, 20 + 208 + MARGIN}, // a fifth is cut off to whole KiB
        {RUNNING_STAGE_SA, 100, 99, 2 + MARGIN},
        {RUNNING_STAGE_SA, 100, 100, -1},
        {RUNNING_STAGE_INIT, 100, 40, 20 + 200 - 40 + MARGIN},
        {RUNNING_STAGE_INIT, 100, 230, MARGIN - 10}, // an excess is taken off the margin ...
        {RUNNING_STAGE_INIT, 100, 220 + MARGIN, 0},  // ... until nothing of it is left
    };
    for (const Case& room : cases) {
        SCOPED_TRACE(testing::Message() << room.stage << " " << room.space << " " << room.held);
        SysUtils::SetRunningStage(room.stage);
        WriteFile(std::string(Formats::HOT_WORK_DIR) + "/held", "");
        std::filesystem::resize_file(std::string(Formats::HOT_WORK_DIR) + "/held", room.held * 1024); // all holes
        {
            const RoomyLayer enough(std::max<int64_t>(room.need, 0));
            EXPECT_TRUE(DeviceCheck::HasRoomFor(room.space));
        }
        const RoomyLayer tooLittle(room.need - 1); // a disk that cannot be asked, where 0 is enough
        EXPECT_EQ(DeviceCheck::HasRoomFor(room.space), room.need <= 0);
    }
    // Some rooms are refused whatever is free.
    std::filesystem::resize_file(std::string(Formats::HOT_WORK_DIR) + "/held", (220 + MARGIN + 1) * 1024);
    EXPECT_FALSE(DeviceCheck::HasRoomFor(100)); // an excess beyond the margin
    EXPECT_FALSE(DeviceCheck::HasRoomFor(-1));
    std::filesystem::remove_all(Formats::WORK_DIR);
    EXPECT_FALSE(DeviceCheck::HasRoomFor(0));
}
} // namespace
} // namespace ORVX::TavomendTest
