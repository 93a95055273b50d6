#include "tests/unit/hosting/hosted_device.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "formats/device_paths.h"
#include "hosting/boot.h"
#include "hosting/patch_run.h"
#include "ports/host/host_platform.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
using TavomendHost::HostPlatform;
using TavomendHosting::IHostObserver;

namespace {
class BlindPlatform : public IDevicePlatform {
public:
    explicit BlindPlatform(std::unique_ptr<IDevicePlatform> real) : real_(std::move(real)) {}
    [[nodiscard]] const ScanReport& GetScanReport() const override { return real_->GetScanReport(); }
    [[nodiscard]] std::optional<std::vector<InstalledBundle>> ListBundles() const override { return std::nullopt; }
    [[nodiscard]] std::optional<std::vector<int32_t>> ListUsers() const override { return std::nullopt; }
    [[nodiscard]] bool AddUser(int32_t /*userId*/, std::string& /*error*/) override { return false; }
    [[nodiscard]] bool RemoveUser(int32_t /*userId*/, std::string& /*error*/) override { return false; }

private:
    std::unique_ptr<IDevicePlatform> real_;
};
} // namespace

std::unique_ptr<IDevicePlatform> WatchedPort::Start(ServiceStart start, std::string& error) const
{
    if (deadly == start) {
        raise(SIGKILL);
    }
    if (refused == start) {
        error = "the services do not start";
        return nullptr;
    }
    auto platform = real_.Start(start, error);
    return isBlind ? std::make_unique<BlindPlatform>(std::move(platform)) : std::move(platform);
}

void HostedDeviceTest::MakeDevice()
{
    DeviceTest::SetUp();
    WriteFile(Formats::PUBLIC_KEY_PATH, Key().PublicPem());
    recipe = PatchRecipe();
    for (const char* name : {"com.a", "com.b"}) {
        const Vab vab{name, 1, "entry", "", std::string("application ") + name};
        recipe.apps.push_back(HotApp(vab, 2, std::string("/system/app/") + name + "/App.vab"));
        WriteFile(recipe.apps.back().files[0].base, vab.Bytes());
    }
    std::string error;
    ASSERT_TRUE(HostPlatform::InitDevice(error)) << error;
    ASSERT_NE(HostPlatform::Start(ServiceStart::SCAN, error), nullptr) << error;
}

void HostedDeviceTest::AskForBoot()
{
    recipe.configText = PatchBuilder(recipe).Config().insert(1, R"("need_reboot": true, )");
}

std::string HostedDeviceTest::Play(const Operation& operation)
{
    std::filesystem::remove(REPORTS);
    const pid_t child = fork();
    if (child == 0) {
        RecordingObserver observer(REPORTS);
        observer.Record(operation(observer));
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    return ReadFile(REPORTS);
}

std::string HostedDeviceTest::Apply() const
{
    return Play([this](IHostObserver& observer) { return LineOf(TavomendHosting::LoadAndApply(port, observer)); });
}

std::string HostedDeviceTest::Load(int32_t runningStage) const
{
    return Play([this, runningStage](IHostObserver& observer) {
        return LineOf(TavomendHosting::Load(port, runningStage, &observer));
    });
}

std::string HostedDeviceTest::Boot() const
{
    std::filesystem::remove(REPORTS);
    RecordingObserver observer(REPORTS);
    const auto result = TavomendHosting::RunBoot(port, observer); // makes its processes itself
    return ReadFile(REPORTS) + WordOf(result.outcome) + (result.reason.empty() ? "" : ": " + result.reason) + "\n";
}

std::string HostedDeviceTest::Versions()
{
    std::string error;
    std::string text;
    const auto bundles = HostPlatform::Start(ServiceStart::ATTACH, error)->ListBundles().value();
    for (const auto& bundle : bundles) {
        text += (text.empty() ? "" : ", ") + bundle.bundleName + " " + std::to_string(bundle.versionCode);
    }
    return text;
}

const SigningKey& HostedDeviceTest::Key()
{
    static const SigningKey key;
    return key;
}
} // namespace ORVX::TavomendTest
