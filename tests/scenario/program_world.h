// What tests of the program tavomend do to a world and to what is printed.
#ifndef TAVOMEND_TESTS_SCENARIO_PROGRAM_WORLD_H
#define TAVOMEND_TESTS_SCENARIO_PROGRAM_WORLD_H

#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "tests/scenario/device_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
// "@" stands for the world's folder.
inline std::string InWorld(const DeviceWorld& world, const std::string& text)
{
    return std::regex_replace(text, std::regex("@"), world.At("").substr(0, world.At("").size() - 1));
}

// The text with one place of it changed, which must be there.
inline std::string Changed(std::string text, const std::string& from, const std::string& to)
{
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// Files with their content, and directories.
inline std::vector<std::string> Everything(const std::string& folder)
{
    auto entries = ListTree(folder);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        entries.push_back(entry.path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

inline std::string WithoutTimes(const std::string& text)
{
    return std::regex_replace(text, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)"), "TIME");
}

inline void DamageStore(const DeviceWorld& world)
{
    WriteFile(world.At("dev/data/service/bundles/store.db"), std::string(4096, 'x'));
}

// Damages the store as well: what is installed cannot be told.
inline void BreakAnInstalledVersion(const DeviceWorld& world)
{
    DamageStore(world);
    WriteFile(world.At("dev/data/app/com.odd/v1/entry.vab"), "broken");
}

inline PatchRecipe OneHotApplication()
{
    PatchRecipe recipe = DeviceWorld::BaselinePatch();
    recipe.apps.resize(1);
    return recipe;
}
} // namespace ORVX::TavomendTest

#endif
