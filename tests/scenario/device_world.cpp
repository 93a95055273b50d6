#include "tests/scenario/device_world.h"

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
const Vab HOT{"com.hot", 1, "entry", "", "hot application "};
const Vab COLD{"com.cold", 1, "entry", "", "cold application "};
const Vab COLD_FEATURE{"com.cold", 1, "feature", "", "its feature "};
const Vab SINGLE{"com.single", 1, "entry", R"("singleton": true)", "one for all "};
const Vab KEEP{"com.keep", 1, "entry", R"("keepAlive": true)", "never ends "};

} // namespace

DeviceWorld::DeviceWorld() : folder_(std::filesystem::temp_directory_path() / "tavomendXXXXXX")
{
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
    WriteFile(At("key.pem"), key_.PublicPem());
    std::string init = "device init --public-key " + At("key.pem") + " --factory";
    for (const auto& [name, vab] : std::map<std::string, Vab>{
             {"Hot", HOT}, {"Cold", COLD}, {"ColdFeature", COLD_FEATURE}, {"Single", SINGLE}, {"Keep", KEEP}}) {
        WriteFile(At(name + ".vab"), vab.Bytes());
        init += " " + At(name + ".vab");
    }
    const CliResult made = Tavomend(init);
    EXPECT_EQ(made.exitCode, 0) << made.err;
}

DeviceWorld::~DeviceWorld()
{
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

PatchRecipe DeviceWorld::BaselinePatch(uint32_t version)
{
    PatchRecipe recipe;
    recipe.version = "patch0" + std::to_string(version - 1);
    PatchApp cold;
    cold.bundleName = "com.cold";
    cold.version = version;
    cold.patchType = "cold";
    cold.files = {FileOf(COLD, version, "/system/app/Cold/Cold.vab"),
                  FileOf(COLD_FEATURE, version, "/system/app/Cold/ColdFeature.vab")};
    recipe.apps = {HotApp(HOT, version, "/system/app/Hot/Hot.vab"), cold,
                   HotApp(SINGLE, version, "/system/app/Single/Single.vab")};
    return recipe;
}

PatchRecipe DeviceWorld::RevokePatch()
{
    PatchRecipe recipe;
    recipe.version = "patch09";
    recipe.action = 2;
    return recipe;
}

CliResult DeviceWorld::Tavomend(const std::string& arguments) const
{
    std::vector<std::string> command = {TAVOMEND_PROGRAM, "--root", At("dev")};
    std::istringstream words(arguments);
    for (std::string word; words >> word;) {
        command.push_back(word);
    }
    return RunProgram(command);
}

void DeviceWorld::Deliver(const PatchRecipe& recipe) const
{
    const std::string package = PatchBuilder(recipe).Package();
    WriteFile(At("app.tvpk"), package);
    WriteFile(At("sign.bin"), key_.Sign(package));
    const CliResult delivered = Tavomend("deliver " + At("app.tvpk") + " " + At("sign.bin"));
    EXPECT_EQ(delivered.exitCode, 0) << delivered.err;
}

Versions DeviceWorld::InstalledVersions() const
{
    const CliResult list = Tavomend("--json device list");
    const auto root = nlohmann::json::parse(list.out, nullptr, false);
    EXPECT_TRUE(root.is_object()) << list.out << list.err;
    Versions versions;
    for (const auto& bundle : root.value("bundles", nlohmann::json::array())) {
        versions[bundle["bundle"]] = bundle["versionCode"];
    }
    return versions;
}

std::string DeviceWorld::Status() const
{
    // The file itself, as docs/status-record.md tells it.
    std::istringstream file(ReadFile(At("dev/data/update/tavomend/app/status/app")));
    std::map<std::string, std::string> values;
    for (std::string line; std::getline(file, line);) {
        values[line.substr(0, line.find('='))] = line.substr(line.find('=') + 1);
    }
    return values["status"] + " " + values["version"] + " " + values["detail"];
}
} // namespace ORVX::TavomendTest
