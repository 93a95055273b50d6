#include <gtest/gtest.h>

#include "hosting/error_text.h"
#include "ports/host/host_port.h"

namespace ORVX::TavomendHosting {
namespace {
TEST(ErrorTextTest, ExplainsTheLastOperation)
{
    struct Case {
        const char* detail;
        const char* text;
    };
    const Case cases[] = {
        {"", ""},
        {"1|0:47", ""},
        {"1|0(100|20):48", "the signature does not verify (100|20)"},
        {"1|0(100|20,20):48", "the signature does not verify (100|20)"},
        {"1|0(100):48", ""},
        {"0|0(100|40):48;1|1:34", ""}, // only history
        {"1|1(102|70):35", "the package's action could not be read (102|70)"},
        {"1|1(101|230):35", "an unknown application: the package does not name it (101|230)"},
        {"1|1(1|811,1002,810,1002):35", "com.b: a bundle file is broken (1|1002)"},
        {"1|1(1|811,810):35",
         "com.b: the first attempt to install it failed (1|810), the second attempt to install it failed (1|811)"},
        {"1|0(0|600,611,640):48;1|1(0|811,822,810,822):35",
         "com.a: a rebuilt file does not have the stated hash (0|640)"},
        {"1|1(0|200,400,430,600,611,810,811,812,813,814,822,820):35",
         "com.a: the bundle service has no installer (0|820)"},
        {"1|1(7|9568391,811):35", "application 7: the bundle service died during the install (7|9568391)"},
        {"1|1(0|424242):35", "com.a: code 424242 (0|424242)"},
        {"11,810);0|0:47;1|1(100|10):35", // cut at the front
         "there is not enough free space for the rebuilt applications (100|10)"},
        {"no detail at all", ""},
        {"1|1(0|", ""},
    };
    for (const auto& entry : cases) {
        EXPECT_EQ(ExplainDetail(TavomendHost::HostPort(), entry.detail, {"com.a", "com.b"}), entry.text)
            << entry.detail;
    }
}
} // namespace
} // namespace ORVX::TavomendHosting
