#include "instruments/powercut/power_cut_world.h"

#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/cli_runner.h"
#include "tests/support/device_fixture.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;

namespace {
constexpr uintmax_t ENOUGH_SPACE = 1ULL << 30U; // a device wants more than 512 MiB free

// Larger than the buffers of those who copy, and hardly to be compressed.
std::string Payload(unsigned seed)
{
    std::mt19937 random(seed);
    std::string text(24000, '\0');
    for (char& byte : text) {
        byte = static_cast<char>(random());
    }
    return text;
}

Vab Module(const std::string& bundleName, const std::string& module, uint32_t version)
{
    return {bundleName, version, module, "", Payload(static_cast<unsigned>(bundleName.size() + module.size()))};
}

PatchApp App(const std::string& bundleName, uint32_t version)
{
    PatchApp app;
    app.bundleName = bundleName;
    app.version = version;
    app.patchType = bundleName.substr(4);
    for (const std::string module : {"entry", "feature"}) {
        PatchFile file;
        file.base = "/system/app/" + bundleName + module + "/" + bundleName + module + ".vab";
        file.oldBytes = Module(bundleName, module, 1).Bytes();
        file.newBytes = Module(bundleName, module, version).Bytes();
        file.isWhole = module == "feature";
        app.files.push_back(file);
    }
    return app;
}

PatchRecipe Recipe(const std::string& version, const std::vector<PatchApp>& apps)
{
    PatchRecipe recipe;
    recipe.version = version;
    recipe.apps = apps;
    recipe.action = apps.empty() ? 2 : 0;
    return recipe;
}

std::string WorkFolder()
{
    std::error_code error;
    const fs::space_info memory = fs::space("/dev/shm", error);
    const bool isLarge = !error && memory.available != static_cast<uintmax_t>(-1) && memory.available > ENOUGH_SPACE;
    std::string folder = (isLarge ? fs::path("/dev/shm") : fs::temp_directory_path()) / "powercutXXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("cannot make a folder below " + folder);
    }
    return folder;
}
} // namespace

PowerCutWorld::PowerCutWorld() : folder_(WorkFolder())
{
    WriteFile(At("key.pem"), key_.PublicPem());
    MakePackages();
    std::string init = "device init --public-key " + At("key.pem") + " --factory";
    for (const std::string name : {"com.cold", "com.hot"}) {
        for (const std::string module : {"entry", "feature"}) {
            WriteFile(At(name + module + ".vab"), Module(name, module, 1).Bytes());
            init += " " + At(name + module + ".vab");
        }
    }
    Run(At("new"), init);
    Run(At("new"), "boot");
    const auto deliver = [this](const std::string& name) { return "deliver " + At(name) + " " + At(name + ".sign"); };
    const Outcome second{"com.cold 2, com.hot 2", "patch01 activites"};
    const Outcome third{"com.cold 3, com.hot 3", "patch02 activites"};
    const Outcome revoked{"com.cold 1, com.hot 1", "patch09 activites"};
    const std::string hotDelivered = After("new", "hot delivered", deliver("hot"));
    const std::string delivered = After("new", "delivered", deliver("first"));
    const std::string booted = After(delivered, "booted", "boot");
    const std::string redelivered = After(booted, "delivered again", deliver("second"));
    const std::string rebooted = After(redelivered, "booted again", "boot");
    const std::string revoking = After(rebooted, "revoke delivered", deliver("revoke"));
    const std::string taken = After(revoking, "revoked", "boot");
    const std::string asked = After(rebooted, "asked", "revoke com.hot");
    Add("deliver", "new", deliver("first"), second);
    Add("boot", delivered, "boot", second);
    Add("apply", hotDelivered, "apply", {"com.cold 1, com.hot 2", "patch01 activites"});
    Add("deliver 2nd", booted, deliver("second"), third);
    Add("boot 2nd", redelivered, "boot", third);
    Add("info", rebooted, "info", third);
    Add("deliver revoke", rebooted, deliver("revoke"), revoked);
    Add("boot revoke", revoking, "boot", revoked);
    Add("info after", taken, "info", revoked);
    Add("clear after", taken, "clear --yes", {revoked.versions, "patch00 idle"});
    Add("deliver after", taken, deliver("second"), third);
    const Outcome single{"com.cold 3, com.hot 1", third.record};
    Add("revoke one", rebooted, "revoke com.hot", single);
    Add("boot one", asked, "boot", single);
    Add("clear", rebooted, "clear --yes", {"com.cold 3, com.hot 3", "patch00 idle"});
}

PowerCutWorld::~PowerCutWorld()
{
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

std::vector<std::string> PowerCutWorld::CommandOn(const std::string& device, const std::string& arguments)
{
    std::vector<std::string> command = {TAVOMEND_PROGRAM, "--root", device};
    std::istringstream words(arguments);
    for (std::string word; words >> word;) {
        command.push_back(word);
    }
    return command;
}

void PowerCutWorld::CopyDevice(const std::string& from, const std::string& to)
{
    fs::remove_all(to);
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

void PowerCutWorld::Run(const std::string& device, const std::string& arguments) const
{
    const CliResult result = RunProgram(CommandOn(device, arguments));
    if (result.exitCode != 0 && result.exitCode != 3) {
        throw std::runtime_error(arguments + " failed: " + result.err);
    }
}

std::string PowerCutWorld::After(const std::string& snapshot, const std::string& name, const std::string& arguments)
{
    CopyDevice(At(snapshot), At(name));
    Run(At(name), arguments);
    return name;
}

void PowerCutWorld::MakePackage(const std::string& name, const PatchRecipe& recipe)
{
    const std::string package = PatchBuilder(recipe).Package();
    WriteFile(At(name), package);
    WriteFile(At(name + ".sign"), key_.Sign(package));
}

void PowerCutWorld::MakePackages()
{
    MakePackage("hot", Recipe("patch01", {App("com.hot", 2)}));
    PatchRecipe first = Recipe("patch01", {App("com.cold", 2), App("com.hot", 2)});
    PatchFile& file = first.apps[1].files[0]; // this one in the maker's own format
    WriteFile(At("old.vab"), file.oldBytes);
    WriteFile(At("new.vab"), file.newBytes);
    static_cast<void>(RunProgram({TVPK_PROGRAM, "diff", At("old.vab"), At("new.vab"), At("made.diff")}));
    file.difference = ReadFile(At("made.diff"));
    MakePackage("first", first);
    MakePackage("second", Recipe("patch02", {App("com.cold", 3), App("com.hot", 3)}));
    MakePackage("revoke", Recipe("patch09", {}));
}

// A device at rest: another boot would change nothing more.
DeviceState PowerCutWorld::Settle(const std::string& device) const
{
    Run(device, "boot");
    Run(device, "boot");
    DeviceState state = ReadDeviceState(device);
    Run(device, "boot");
    const DeviceState again = ReadDeviceState(device);
    if (again.applications != state.applications || again.patch != state.patch || again.rest != state.rest) {
        throw std::runtime_error("a third boot changes a device that nothing has happened to");
    }
    return state;
}

void PowerCutWorld::Add(const std::string& name, const std::string& snapshot, const std::string& arguments,
                        const Outcome& outcome)
{
    const std::string device = At("device");
    Operation operation{name, At(snapshot), CommandOn(device, arguments), {}};
    CopyDevice(operation.snapshot, device);
    operation.expected.before = Settle(device);
    CopyDevice(operation.snapshot, device);
    Run(device, arguments);
    operation.expected.after = Settle(device);
    const DeviceState& after = operation.expected.after;
    std::istringstream versions(outcome.versions);
    bool isRight = after.patch.find("record " + outcome.record + "\n") == 0;
    for (std::string bundleName, version; versions >> bundleName >> version;) {
        const auto number = static_cast<uint32_t>(std::stoul(version));
        for (const std::string module : {"entry", "feature"}) {
            const std::string hash = Sha256Hex(Module(bundleName, module, number).Bytes());
            isRight = isRight && after.applications.find(module + ".vab:" + hash) != std::string::npos;
        }
    }
    if (!isRight) {
        throw std::runtime_error(name + " comes to something else:\n" + after.applications + after.patch);
    }
    operations_.push_back(std::move(operation));
}
} // namespace ORVX::TavomendTest
