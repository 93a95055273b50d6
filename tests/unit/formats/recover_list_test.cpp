#include <gtest/gtest.h>

#include "formats/recover_list.h"
#include "tests/support/device_fixture.h"

namespace ORVX::Formats {
namespace {
using Kind = RecoverList::Kind;
using Names = std::vector<std::string>;
using TavomendTest::WriteFile;

constexpr const char* LIST = "/data/update/tavomend/app/temp/tavomend_app_recover.json";
constexpr const char* BACKUP = "/data/update/tavomend/app/temp/tavomend_app_recover.json.bak";

class RecoverListTest : public TavomendTest::DeviceTest {};

TEST_F(RecoverListTest, TheBackupGoesFirst)
{
    EXPECT_EQ(RecoverListInForce(), LIST);
    WriteFile(BACKUP, "");
    EXPECT_EQ(RecoverListInForce(), BACKUP);
    WriteFile(LIST, "");
    EXPECT_EQ(RecoverListInForce(), BACKUP);
}

TEST_F(RecoverListTest, ReadsWhatIsWhole)
{
    struct Case {
        const char* text;
        Kind kind;
        Names names;
    };
    const Case cases[] = {{R"({"list": ["b", "a", "b"]})", Kind::WHOLE, {"b", "a", "b"}},
                          {R"({"list": [], "more": 1})", Kind::WHOLE, {}},
                          {R"({"list": ["a", 5, "c"]})", Kind::BAD_ELEMENT, {"a"}},
                          {R"({"list": [null]})", Kind::BAD_ELEMENT, {}},
                          {R"({"list": "a"})", Kind::NO_LIST, {}},
                          {R"({"List": ["a"]})", Kind::NO_LIST, {}},
                          {R"(["a"])", Kind::NO_LIST, {}},
                          {R"({"list": ["a")", Kind::NO_JSON, {}},
                          {"", Kind::NO_JSON, {}}};
    for (const auto& list : cases) {
        WriteFile(LIST, list.text);
        const RecoverList read = ReadRecoverList(LIST);
        EXPECT_EQ(read.kind, list.kind) << list.text;
        EXPECT_EQ(read.names, list.names) << list.text;
    }
    EXPECT_EQ(ReadRecoverList(BACKUP).kind, Kind::NO_JSON);
}

TEST_F(RecoverListTest, PrintsInTheEnginesForm)
{
    EXPECT_EQ(PrintRecoverList({"com.b", "com.\"a\""}), "{\n\t\"list\":\t[\"com.b\", \"com.\\\"a\\\"\"]\n}");
    EXPECT_EQ(PrintRecoverList({}), "{\n\t\"list\":\t[]\n}");
}
} // namespace
} // namespace ORVX::Formats
