// One stage of the engine's work in a process of its own, on a device's folder; its paths are the device's.
//   bench_stage ROOT verify PACKAGE SIGNATURE
//   bench_stage ROOT extract PACKAGE MEMBER OUT
//   bench_stage ROOT restore DIFFERENCE BASE OUT
//   bench_stage ROOT hash FILE
//   bench_stage ROOT install BUNDLE_FILE
// The exit code is 0 when the stage says that it went well.
#include <cstdio>
#include <future>
#include <string>
#include <vector>

#include "package/app_restorer.h"
#include "platform/api/bundle_mgr.h"
#include "platform/api/system_ability_manager.h"
#include "ports/host/device_root.h"
#include "ports/host/host_platform.h"
#include "tools/parse_zip_tool.h"
#include "tools/restore_tool.h"
#include "tools/rsa_sign_verify_tool.h"

namespace {
using namespace ORVX;
using namespace ORVX::TavomendEngine;

constexpr int BUNDLE_SERVICE = 401;
constexpr int32_t USER = 100;

class Verdict : public StatusReceiverHost {
public:
    void OnStatusNotify(int32_t /*progress*/) override {}
    void OnFinished(int32_t code, const std::string& /*message*/) override { promise_.set_value(code); }
    void SetStreamInstallId(uint32_t /*installId*/) override {}
    int32_t Wait() { return promise_.get_future().get(); }

private:
    std::promise<int32_t> promise_;
};

bool Install(const std::string& file)
{
    std::string error;
    const auto platform = TavomendHost::HostPlatform::Start(ServiceStart::ATTACH, error);
    if (platform == nullptr) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return false;
    }
    const auto service = iface_cast<IBundleMgr>(
        SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->GetSystemAbility(BUNDLE_SERVICE));
    const auto verdict = MakeSptr<Verdict>();
    InstallParam param;
    param.installFlag = InstallFlag::REPLACE_EXISTING;
    param.userId = USER;
    return service->GetBundleInstaller()->Install({file}, param, verdict) == 0 && verdict->Wait() == 0;
}

bool Play(const std::vector<std::string>& words)
{
    const std::string& stage = words[0];
    if (stage == "verify" && words.size() == 3) {
        return RsaSignVerifyTool::VerifyFileIntegrity({words[1], words[2]});
    }
    if (stage == "extract" && words.size() == 4) {
        return ParseZipTool(words[1]).UnZipTargetFiles({{"/" + words[2], words[3]}});
    }
    if (stage == "restore" && words.size() == 4) {
        return RestoreTool().RestoreFile(words[1], words[2], words[3]) == 0;
    }
    if (stage == "hash" && words.size() == 2) {
        return !AppRestorer::GetFileSHA256(words[1]).empty();
    }
    return stage == "install" && words.size() == 2 && Install(words[1]);
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        return 2;
    }
    std::string error;
    const auto root = TavomendHost::DeviceRoot::Enter(argv[1], error);
    if (root == nullptr) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 2;
    }
    return Play({argv + 2, argv + argc}) ? 0 : 1;
}
