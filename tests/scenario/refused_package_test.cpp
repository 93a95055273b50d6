// Packages that the gate refuses: one clear line, the right code, an unchanged device, and the next good one goes
// through.
#include <functional>

#include "tests/scenario/device_world.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
struct Refusal {
    const char* name;
    const char* codes;
    const char* says;
    std::function<void(const DeviceWorld&)> deliver;
};

void DeliverChanged(const DeviceWorld& world, const std::function<void(PatchRecipe&)>& change)
{
    PatchRecipe recipe = DeviceWorld::BaselinePatch();
    change(recipe);
    world.Deliver(recipe);
}

void DeliverDamaged(const DeviceWorld& world, const std::function<void(std::string&)>& damage, bool signDamaged)
{
    std::string package = PatchBuilder(DeviceWorld::BaselinePatch()).Package();
    const std::string whole = package;
    damage(package);
    world.DeliverBytes(package, world.Key().Sign(signDamaged ? package : whole));
}

class RefusedPackageTest : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedPackageTest, LeavesTheDeviceAsItWas)
{
    const Refusal& refusal = GetParam();
    const DeviceWorld world;
    const auto apps = ListTree(world.At("dev/system"));
    const Versions before = world.InstalledVersions();
    refusal.deliver(world);
    const CliResult boot = world.Tavomend("boot");
    EXPECT_EQ(boot.exitCode, 1) << boot.out;
    EXPECT_NE(boot.err.find(refusal.says), std::string::npos) << boot.err;
    const std::string codes = "1|1(100|" + std::string(refusal.codes) + "," + refusal.codes + "):35";
    EXPECT_NE(world.Status().find(codes), std::string::npos) << world.Status();
    EXPECT_EQ(world.InstalledVersions(), before);
    EXPECT_EQ(ListTree(world.At("dev/system")), apps);
    EXPECT_TRUE(ListTree(world.At("dev/data/app")).empty());

    world.Deliver(DeviceWorld::BaselinePatch());
    EXPECT_EQ(world.Tavomend("boot").exitCode, 0);
    EXPECT_EQ(world.InstalledVersions()["com.cold"], 2U);
    EXPECT_EQ(world.Tavomend("boot").exitCode, 3);
}

INSTANTIATE_TEST_SUITE_P(
    Gate, RefusedPackageTest,
    testing::Values(Refusal{"aSignatureByAnotherKey", "20", "the signature does not verify (100|20)",
                            [](const DeviceWorld& world) {
                                const std::string package = PatchBuilder(DeviceWorld::BaselinePatch()).Package();
                                world.DeliverBytes(package, SigningKey().Sign(package));
                            }},
                    Refusal{"oneByteChanged", "20", "the signature does not verify (100|20)",
                            [](const DeviceWorld& world) {
                                DeliverDamaged(
                                    world, [](std::string& package) { package[package.size() / 2] ^= 1; }, false);
                            }},
                    Refusal{"aTruncatedArchive", "30", "configuration is missing or not valid (100|30)",
                            [](const DeviceWorld& world) {
                                DeliverDamaged(
                                    world, [](std::string& package) { package.resize(package.size() / 2); }, true);
                            }},
                    Refusal{"aConfigurationThatIsNotJson", "30", "configuration is missing or not valid (100|30)",
                            [](const DeviceWorld& world) {
                                DeliverChanged(world, [](PatchRecipe& recipe) { recipe.configText = "not JSON"; });
                            }},
                    Refusal{"listsOfDifferentLength", "30", "configuration is missing or not valid (100|30)",
                            [](const DeviceWorld& world) {
                                DeliverChanged(world, [](PatchRecipe& recipe) { recipe.models = R"(["one", "two"])"; });
                            }},
                    Refusal{"anotherBaseVersion", "40", "not made for this device's base version (100|40)",
                            [](const DeviceWorld& world) {
                                DeliverChanged(world,
                                               [](PatchRecipe& recipe) { recipe.baseVersions = R"(["1.0.0 "])"; });
                            }},
                    Refusal{"tooLittleRoom", "10", "not enough free space for the rebuilt applications (100|10)",
                            [](const DeviceWorld& world) {
                                DeliverChanged(world, [](PatchRecipe& recipe) { recipe.space = 2147483647; });
                            }}),
    [](const auto& test) { return test.param.name; });
} // namespace
} // namespace ORVX::TavomendTest
