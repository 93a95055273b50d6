#include "apps/tvpk/release_file.h"
#include "tests/support/device_fixture.h"
#include "tests/unit/formats/config_cases.h"

namespace ORVX::Tvpk {
namespace {
using TavomendTest::Changed;
using TavomendTest::WriteFile;

constexpr const char* PATH = "/tmp/maker/release.json";
const std::string GOOD = R"({"version": "patch02", // the next one
 "preVersion": "patch01", "action": "enable", "dataKept": false, "needReboot": true,
 "products": [{"model": "m1", "baseVersion": "1.0.0"}, {"model": "m2", "baseVersion": "1.0.1"}],
 "apps": [{"patch": "hot", "files": [{"base": "/b/A.vab", "old": "a1.vab", "new": "/abs/a2.vab"}]},
          {"patch": "cold", "type": "appServiceFwk", "files": [{"base": "/b/B.vab", "old": "b1", "new": "b2"},
            {"base": "/b/C.vab", "old": "c1", "new": "c2", "whole": true}]}]})";

class ReleaseFileTest : public TavomendTest::DeviceTest {};

TEST_F(ReleaseFileTest, ReadsEveryField)
{
    WriteFile(PATH, GOOD);
    std::string error;
    const auto release = ReadReleaseFile(PATH, error);
    ASSERT_TRUE(release) << error;
    EXPECT_EQ(release->version, "patch02");
    EXPECT_EQ(release->preVersion, "patch01");
    EXPECT_FALSE(release->isRevoke);
    EXPECT_FALSE(release->dataKept);
    EXPECT_TRUE(release->needReboot);
    EXPECT_EQ(release->models, (std::vector<std::string>{"m1", "m2"}));
    EXPECT_EQ(release->baseVersions, (std::vector<std::string>{"1.0.0", "1.0.1"}));
    ASSERT_EQ(release->apps.size(), 2U);
    EXPECT_EQ(release->apps[0].patch, "hot");
    EXPECT_EQ(release->apps[0].type, "internal");
    EXPECT_EQ(release->apps[0].files[0].base, "/b/A.vab");
    EXPECT_EQ(release->apps[0].files[0].oldPath, "/tmp/maker/a1.vab"); // from the release file's folder on
    EXPECT_EQ(release->apps[0].files[0].newPath, "/abs/a2.vab");
    EXPECT_FALSE(release->apps[0].files[0].isWhole);
    EXPECT_EQ(release->apps[1].patch, "cold");
    EXPECT_EQ(release->apps[1].type, "appServiceFwk");
    ASSERT_EQ(release->apps[1].files.size(), 2U);
    EXPECT_TRUE(release->apps[1].files[1].isWhole);

    WriteFile(PATH, R"({"version": "v", "action": "revoke", "products": []})");
    const auto revoke = ReadReleaseFile(PATH, error);
    ASSERT_TRUE(revoke) << error;
    EXPECT_TRUE(revoke->isRevoke && revoke->dataKept && !revoke->needReboot);
    EXPECT_EQ(revoke->preVersion, "patch00");
}

TEST_F(ReleaseFileTest, NamesTheFirstMistakeAndItsPlace)
{
    struct Case {
        const char* from;
        const char* to;
        const char* error;
    };
    const std::string file = PATH;
    const Case cases[] = {
        {R"("patch02")", "2", ": \"version\" is not a text"},
        {R"("version": "patch02",)", "", ": \"version\" is missing"},
        {R"("action": "enable")", R"("action": "clear")", ": \"action\" is neither \"enable\" nor \"revoke\""},
        {R"("dataKept": false)", R"("dataKept": 0)", ": \"dataKept\" is neither true nor false"},
        {R"("needReboot")", R"("reboot")", ": the key \"reboot\" is unknown"},
        {R"("baseVersion": "1.0.1")", R"("base": "1.0.1")", ", products: \"baseVersion\" is missing"},
        {R"({"model": "m2", )", R"({"note": 1, "model": "m2", )", ", products: the key \"note\" is unknown"},
        {R"({"model": "m2", "baseVersion": "1.0.1"})", R"("m2")", ", products: is not an object"},
        {R"("apps": [)", R"("apps": {"x": [)", ": \"apps\" is not a list"},
        {R"("patch": "hot", )", "", ", application 1: \"patch\" is missing"},
        {R"("type": "appServiceFwk")", R"("type": 2)", ", application 2: \"type\" is not a text"},
        {R"("patch": "hot", "files")", R"("patch": "hot", "file")", ", application 1: \"files\" is missing"},
        {R"("base": "/b/C.vab", )", "", ", application 2, file 2: \"base\" is missing"},
        {R"("old": "c1", )", "", ", application 2, file 2: \"old\" is missing"},
        {R"("new": "b2")", R"("new": "b2", "x": 1)", ", application 2, file 1: the key \"x\" is unknown"},
        {R"("whole": true)", R"("whole": 1)", ", application 2, file 2: \"whole\" is neither true nor false"},
        {R"("version": "patch02")", R"("version": 2, "x": 1)", ": \"version\" is not a text"}, // the first of two
    };
    for (const auto& mistake : cases) {
        std::string text = Changed(GOOD, mistake.from, mistake.to);
        if (text.find(R"("apps": {)") != std::string::npos) {
            text.insert(text.rfind(']') + 1, "}");
        }
        WriteFile(PATH, text);
        std::string error;
        EXPECT_FALSE(ReadReleaseFile(PATH, error)) << mistake.to;
        EXPECT_EQ(error, file + mistake.error) << mistake.to;
    }
    std::string error;
    WriteFile(PATH, "[");
    EXPECT_FALSE(ReadReleaseFile(PATH, error));
    EXPECT_EQ(error, file + " is not JSON");
    error.clear();
    WriteFile(PATH, "[1]");
    EXPECT_FALSE(ReadReleaseFile(PATH, error));
    EXPECT_EQ(error, file + ": is not an object");
    EXPECT_FALSE(ReadReleaseFile("/tmp/none", error));
    EXPECT_EQ(error, "there is no release file /tmp/none");
}
} // namespace
} // namespace ORVX::Tvpk
