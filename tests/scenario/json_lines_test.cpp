// What tavomend gives scripts.
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/scenario/device_world.h"
#include "tests/scenario/program_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
// Tried once more at once.
const char* const FAILED_APPLY =
    R"-({"schema":1,"event":"progress","step":"rebuilding com.hot","done":0,"total":1,"unit":"applications"}
{"schema":1,"event":"progress","step":"rebuilding com.hot","done":1,"total":1,"unit":"applications"}
{"schema":1,"event":"load","ready":true}
{"schema":1,"event":"progress","step":"installed","done":1,"total":1,"unit":"applications"}
{"schema":1,"event":"engine","report":151,"message":"activites_failed"}
{"schema":1,"event":"progress","step":"rebuilding com.hot","done":0,"total":1,"unit":"applications"}
{"schema":1,"event":"progress","step":"rebuilding com.hot","done":1,"total":1,"unit":"applications"}
{"schema":1,"event":"load","ready":true}
{"schema":1,"event":"progress","step":"installed","done":1,"total":1,"unit":"applications"}
{"schema":1,"event":"engine","report":151,"message":"activites_failed"}
{"schema":1,"event":"result","outcome":"failed","status":"activites_failed","version":"patch01",)-"
    R"-("detail":"1|0:47;1|1(0|811,1002,810,1002):35",)-"
    R"-("explanation":"com.hot: a bundle file is broken (0|1002)"}
{"schema":1,"event":"error","error":{"code":"failed","message":"apply failed: com.hot: a bundle file is broken (0|1002)"}}
)-";
// Adds the types of an object's names, and of those below it.
void AddTypes(const nlohmann::json& value, std::map<std::string, std::set<std::string>>& types)
{
    for (const auto& [name, member] : value.items()) {
        if (value.is_object()) {
            types[name].insert(member.type_name());
        }
        if (member.is_structured()) {
            AddTypes(member, types);
        }
    }
}

// Each line names its event, and what a name means does not depend on the line.
void ExpectOneTypeAName(const std::string& text)
{
    std::map<std::string, std::set<std::string>> types;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const auto object = nlohmann::json::parse(line, nullptr, false);
        EXPECT_TRUE(object.is_object() && object.value("schema", 0) == 1 && object.contains("event")) << line;
        AddTypes(object, types);
    }
    EXPECT_GT(types.size(), 30U);
    for (const auto& [name, kinds] : types) {
        EXPECT_EQ(kinds.size(), 1U) << name;
    }
}

const char* const ENDED_BOOT = R"({"schema":1,"event":"begin","stage":"init stage"}
{"schema":1,"event":"result","outcome":"nothing","status":"activites_failed"}
{"schema":1,"event":"stage","stage":"init stage","exit":3}
{"schema":1,"event":"begin","stage":"bundle scan"}
{"schema":1,"event":"error","error":{"code":"failed","message":"the bundle store is damaged: file is not a database, and cannot be made anew: /data/app/com.odd/v1/entry.vab is no zip archive, or its end is missing"}}
{"schema":1,"event":"stage","stage":"bundle scan","exit":1}
{"schema":1,"event":"error","error":{"code":"failed","message":"the boot ends here: the bundle scan did not come to its end"}}
)";

TEST(JsonLinesTest, TellScriptsWhatPeopleAreTold)
{
    const DeviceWorld world;
    PatchRecipe recipe = OneHotApplication();
    recipe.configText = PatchBuilder(recipe).Config().insert(1, R"("need_reboot": true, )");
    world.Deliver(recipe);
    WriteFile(world.At("broken.vab"), "broken");
    const std::vector<std::pair<std::string, std::string>> calls = {
        {"version", R"({"schema":1,"event":"version","version":"patch01"})"},
        {"info", R"({"schema":1,"event":"info","waiting":true,"applications":[]})"},
        {"load --stage init", R"({"schema":1,"event":"result","outcome":"done","status":"ready"})"},
        {"boot", R"({"schema":1,"event":"begin","stage":"init stage"}
{"schema":1,"event":"result","outcome":"done","status":"ready"}
{"schema":1,"event":"stage","stage":"init stage","exit":0}
{"schema":1,"event":"begin","stage":"bundle scan"}
{"schema":1,"event":"stage","stage":"bundle scan","exit":0}
{"schema":1,"event":"begin","stage":"system-service stage"}
{"schema":1,"event":"progress","step":"rebuilding com.hot","done":0,"total":1,"unit":"applications"}
{"schema":1,"event":"progress","step":"rebuilding com.hot","done":1,"total":1,"unit":"applications"}
{"schema":1,"event":"load","ready":true}
{"schema":1,"event":"progress","step":"installed","done":1,"total":1,"unit":"applications"}
{"schema":1,"event":"engine","report":101,"message":"activites"}
{"schema":1,"event":"result","outcome":"done","status":"activites","version":"patch01","detail":"0|0:47;1|0:47;1|1:34","needReboot":true}
{"schema":1,"event":"stage","stage":"system-service stage","exit":0})"},
        {"info",
         R"({"schema":1,"event":"info","waiting":false,"applications":[{"bundle":"com.hot","state":"fixed"}]})"},
        {"test", R"({"schema":1,"event":"test","test":"\"Vab\": \"com.hot:2:true\""})"},
        {"status",
         R"({"schema":1,"event":"status","inForce":{"state":"known","version":"patch01","action":"enable",)"
         R"("applications":[{"bundle":"com.hot","versionCode":2,"patch":"hot"}],"reason":"","since":"TIME","whole":true,)"
         R"("takenBack":[],"revoking":[]},)"
         R"("pending":{"state":"none","reason":"","needsBoot":false},"last":{"operation":"apply","outcome":"done"},)"
         R"("status":"activites","version":"patch01","detail":"0|0:47;1|0:47;1|1:34","explanation":"","next":"nothing"})"},
        {"apply", R"({"schema":1,"event":"result","outcome":"nothing","status":"activites","version":"patch01"})"},
        {"load --stage sa", R"({"schema":1,"event":"result","outcome":"nothing","status":"activites"})"},
        {"revoke com.hot", R"({"schema":1,"event":"revoke","names":["com.hot"],"notes":[]})"},
        {"load --stage sa", R"({"schema":1,"event":"revoking","names":["com.hot"],"unknown":[]}
{"schema":1,"event":"result","outcome":"nothing","status":"activites"})"},
        {"clear --yes", R"({"schema":1,"event":"clear","cleared":true})"},
        {"device users --add 7", R"({"schema":1,"event":"users","users":[7,100]})"},
        {"device users --remove 8",
         R"({"schema":1,"event":"error","error":{"code":"failed","message":"there is no user 8"}})"},
        {"device install @/broken.vab",
         R"({"schema":1,"event":"install","verdict":1002,"message":"@/broken.vab is no zip archive, or its end is missing"}
{"schema":1,"event":"error","error":{"code":"failed","message":"@/broken.vab is no zip archive, or its end is missing"}})"},
    };
    std::string all;
    for (const auto& [arguments, out] : calls) {
        const CliResult result = world.Tavomend("--json " + InWorld(world, arguments));
        all += result.out;
        EXPECT_EQ(WithoutTimes(result.out), InWorld(world, out) + "\n") << arguments << result.err;
    }
    const std::string list = world.Tavomend("--json device list").out;
    EXPECT_NE(
        list.find(R"({"bundle":"com.hot","users":[7,100],"versionCode":2,"versionName":"2.0","state":"updated",)"
                  R"("keepAlive":false,"singleton":false,"type":"app","files":["/data/app/com.hot/v2/entry.vab"]})"),
        std::string::npos)
        << list;
    EXPECT_EQ(world.Tavomend("--json version").err, "patch00\n"); // people's lines go to the other stream

    recipe = OneHotApplication();
    recipe.apps[0].files[0].newBytes = "\xff no package";
    recipe.apps[0].version = 3;
    world.Deliver(recipe);
    const CliResult failed = world.Tavomend("--json apply");
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(failed.out, FAILED_APPLY);
    EXPECT_EQ(failed.err, "rebuilding com.hot, 1 of 1\nload: ready\nthe engine reports: activites_failed (151)\n"
                          "rebuilding com.hot, 1 of 1\nload: ready\nthe engine reports: activites_failed (151)\n"
                          "tavomend: apply failed: com.hot: a bundle file is broken (0|1002)\n");
    BreakAnInstalledVersion(world);
    EXPECT_EQ(world.Tavomend("--json boot").out, ENDED_BOOT);
    ExpectOneTypeAName(all + list + failed.out + ENDED_BOOT + world.Tavomend("bogus --json").out +
                       world.Tavomend("--json load --stage late").out);
}
} // namespace
} // namespace ORVX::TavomendTest
