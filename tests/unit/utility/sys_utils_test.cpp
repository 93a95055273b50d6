#include <gtest/gtest.h>

#include "platform/utility/sys_utils.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::SysUtils;

class SysUtilsTest : public DeviceTest {};

TEST_F(SysUtilsTest, TheImageVersionGoesBeforeTheRelease)
{
    const std::pair<const char*, const char*> cases[] = {
        {"VERSION_ID=\"1.2.3\"\nNAME=x\n", "1.2.3"},
        {"VERSION_ID=1.2.3\nIMAGE_VERSION='4 5'\n", "4 5"},
        {"#VERSION_ID=9\nVERSION_ID=\"a\\\"b\"", "a\"b"},
        {"IMAGE_VERSION=\"\"\nVERSION_ID=1\n", "1"},
        {"NAME=x\n", ""},
        {"\nno assignment\nVERSION_ID=1 \t\r\nVERSION_IDS=2\n", "1"},
        {"VERSION_ID='a\\b'\n", "a\\b"},
        {"VERSION_ID=\"a\\\\b\"\n", "a\\b"},
        {"VERSION_ID=\"half\n", "\"half"},
        {"VERSION_ID='mixed\"\n", "'mixed\""},
        {"VERSION_ID=\"\n", "\""},
        {"VERSION_ID=  \n", ""},
        {"VERSION_ID=a=b\n", "a=b"},
    };
    for (const auto& [text, version] : cases) {
        WriteFile("/etc/os-release", text);
        EXPECT_EQ(SysUtils::GetBaseVersion(), version) << text;
    }
    std::filesystem::remove("/etc/os-release");
    EXPECT_EQ(SysUtils::GetBaseVersion(), "");
}

} // namespace
} // namespace ORVX::TavomendTest
