// A bundle service for tests that can be told to misbehave.
#ifndef TAVOMEND_TESTS_SUPPORT_FAKE_BUNDLE_MGR_H
#define TAVOMEND_TESTS_SUPPORT_FAKE_BUNDLE_MGR_H

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/api/bundle_mgr.h"
#include "platform/api/system_ability_manager.h"

namespace ORVX::TavomendTest {
// Answers from a map of bundles per user. An install becomes what `onInstall` makes of it: it gets the number of the
// install, counted from 1, and the receiver.
class FakeBundleMgr : public IRemoteStub<IBundleMgr> {
public:
    class Installer : public IRemoteStub<IBundleInstaller> {
    public:
        explicit Installer(FakeBundleMgr& owner) : owner_(owner) {}
        int32_t Install(const std::vector<std::string>& paths, const InstallParam& param,
                        const sptr<IStatusReceiver>& receiver) override
        {
            EXPECT_EQ(param.installFlag, InstallFlag::REPLACE_EXISTING);
            if (paths.empty() || receiver == nullptr) {
                return -1;
            }
            owner_.installs.emplace_back(paths, param.userId);
            return owner_.onInstall(static_cast<int>(owner_.installs.size()), receiver);
        }

    private:
        FakeBundleMgr& owner_;
    };

    // What an install may come to.
    static int32_t Verdict(const sptr<IStatusReceiver>& receiver, int32_t code, const std::string& message)
    {
        std::thread([receiver, code, message] { receiver->OnFinished(code, message); }).detach();
        return 0;
    }

    FakeBundleMgr() : installer(MakeSptr<Installer>(*this)) {}
    bool GetBundleInfo(const std::string& name, int32_t flags, BundleInfo& info, int32_t userId) override
    {
        EXPECT_EQ(flags, 0);
        const auto found = bundles.find({name, userId});
        if (found != bundles.end()) {
            info = found->second;
        }
        return found != bundles.end();
    }
    int32_t GetDependentBundleInfo(const std::string& name, BundleInfo& info, int32_t flag) override
    {
        EXPECT_EQ(flag, 1);
        const auto found = dependent.find(name);
        if (found == dependent.end()) {
            return 1;
        }
        info = found->second;
        return 0;
    }
    sptr<IBundleInstaller> GetBundleInstaller() override { return installer; }

    void Add(const std::string& name, uint32_t version, int32_t userId = 100)
    {
        bundles[{name, userId}].name = name;
        bundles[{name, userId}].versionCode = version;
    }

    std::map<std::pair<std::string, int32_t>, BundleInfo> bundles;
    std::map<std::string, BundleInfo> dependent;
    std::vector<std::pair<std::vector<std::string>, int32_t>> installs; // paths and user
    std::function<int32_t(int, const sptr<IStatusReceiver>&)> onInstall = [](int, const auto& receiver) {
        return Verdict(receiver, 0, "");
    };
    sptr<Installer> installer;
};

inline void RegisterBundleMgr(const sptr<IRemoteObject>& service)
{
    SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager()->AddSystemAbility(
        BUNDLE_MGR_SERVICE_SYS_ABILITY_ID, service);
}
} // namespace ORVX::TavomendTest

#endif
