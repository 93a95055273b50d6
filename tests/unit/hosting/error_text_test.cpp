#include <gtest/gtest.h>
#include <set>

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

// Whatever the engine records of an application is told in words.
TEST(ErrorTextTest, KnowsEveryCodeThatIsRecorded)
{
    const std::set<int32_t> recorded = {200, 210, 220, 230, 400, 410, 420, 430, 431,     440,    600, 610,
                                        611, 612, 613, 620, 640, 802, 803, 805, 810,     811,    812, 813,
                                        814, 815, 816, 818, 819, 820, 821, 822, 9568391, 9568392};
    for (const int32_t start : {0, 9568300}) {
        for (int32_t code = start; code < start + 1000; ++code) {
            const std::string number = std::to_string(code);
            const std::string text = ExplainDetail(TavomendHost::HostPort(), "1|1(0|" + number + "):35", {"com.a"});
            EXPECT_EQ(text != "com.a: code " + number + " (0|" + number + ")", recorded.count(code) != 0) << text;
        }
    }
    EXPECT_EQ(ExplainDetail(TavomendHost::HostPort(), "1|1(102|50):35", {}), "a state refused the switch (102|50)");
    EXPECT_EQ(ExplainDetail(TavomendHost::HostPort(), "1|1(102|60):35", {}),
              "a state was asked for another state's work (102|60)");
    EXPECT_EQ(ExplainDetail(TavomendHost::HostPort(), "1|1(100|0,10,30,40):35", {}),
              "the package is not made for this device's base version (100|40), the package's configuration is missing "
              "or not valid (100|30), there is not enough free space for the "
              "rebuilt applications (100|10), the package or its signature file is missing (100|0)");
}
} // namespace
} // namespace ORVX::TavomendHosting
