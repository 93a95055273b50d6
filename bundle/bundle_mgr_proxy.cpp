#include "bundle/bundle_mgr_proxy.h"

#include <mutex>
#include <new>

#include "bundle/bundle_death_recipient.h"
#include "bundle/installer_callback.h"
#include "common/log.h"
#include "common/results.h"
#include "platform/api/system_ability_manager.h"
#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t INSTALL_WAIT_SECONDS = 600;
// The variant of dependent information that shared service bundles have.
constexpr int32_t DEPENDENT_INFO_SERVICE_FWK = 1;

// Keeps the first service that was found. It is not looked up again when it dies: what a platform's register hands out
// finds the service's next life by itself.
class BundleMgrCache {
public:
    sptr<IBundleMgr> Get()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (bundleMgr_ == nullptr) {
            bundleMgr_ = LookUp();
        }
        return bundleMgr_;
    }

private:
    static sptr<IBundleMgr> LookUp();

    std::mutex mutex_;
    sptr<IBundleMgr> bundleMgr_;
};

sptr<IBundleMgr> BundleMgrCache::LookUp()
{
    const auto abilityManager = SystemAbilityManagerClient::GetInstance().GetSystemAbilityManager();
    if (abilityManager == nullptr) {
        TAVOMEND_LOG_E("get systemAbilityManager is null");
        return nullptr;
    }
    const auto ability = abilityManager->GetSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID);
    if (ability == nullptr) {
        TAVOMEND_LOG_E("get systemAbility is null");
        return nullptr;
    }
    auto bundleMgr = iface_cast<IBundleMgr>(ability);
    if (bundleMgr == nullptr) {
        TAVOMEND_LOG_E("iface_cast get null");
    }
    return bundleMgr;
}
} // namespace

sptr<IBundleMgr> GetBundleMgr()
{
    return DelayedSingleton<BundleMgrCache>::GetInstance()->Get();
}

bool BundleMgrProxy::InstallApp(const std::vector<std::string>& bundleFilePaths, int32_t userId, int32_t& errorCode)
{
    if (bundleFilePaths.empty()) {
        TAVOMEND_LOG_E("bundleFilePaths is empty");
        errorCode = INSTALL_ERROR_NO_FILES;
        return false;
    }
    if (userId < 0) {
        TAVOMEND_LOG_E("userId is failed");
        errorCode = INSTALL_ERROR_USER_ID;
        return false;
    }
    InstallParam installParam;
    installParam.installFlag = InstallFlag::REPLACE_EXISTING;
    installParam.userId = userId;
    if (!InnerInstallApp(bundleFilePaths, installParam, errorCode)) {
        TAVOMEND_LOG_E("inner install app is failed");
        return false;
    }
    TAVOMEND_LOG_I("install app success");
    return true;
}

bool BundleMgrProxy::InnerInstallApp(const std::vector<std::string>& bundleFilePaths, const InstallParam& installParam,
                                     int32_t& errorCode)
{
    const auto bundleMgr = GetBundleMgr();
    if (bundleMgr == nullptr) {
        TAVOMEND_LOG_E("can not get iBundleMgr");
        errorCode = INSTALL_ERROR_NO_SERVICE;
        return false;
    }
    const auto installer = bundleMgr->GetBundleInstaller();
    const auto remote = installer == nullptr ? nullptr : installer->AsObject();
    if (remote == nullptr) {
        TAVOMEND_LOG_E("can not get iBundleInstaller");
        errorCode = INSTALL_ERROR_NO_INSTALLER;
        return false;
    }
    const sptr<InstallerCallback> callback = new (std::nothrow) InstallerCallback(INSTALL_WAIT_SECONDS);
    if (callback == nullptr) {
        TAVOMEND_LOG_E("callback nullptr");
        errorCode = INSTALL_ERROR_NO_CALLBACK;
        return false;
    }
    // Never removed: it goes with the installer, and a death after the verdict changes nothing.
    remote->AddDeathRecipient(MakeSptr<BundleDeathRecipient>(callback));
    const int32_t refusal = installer->Install(bundleFilePaths, installParam, callback);
    if (refusal != 0) {
        TAVOMEND_LOG_E("invoke install failed");
        errorCode = refusal;
        return false;
    }
    const int32_t resultCode = callback->GetResultCode();
    if (resultCode == 0) {
        return true;
    }
    const std::string message = callback->GetResultMsg();
    TAVOMEND_LOG_E("install failed, result: %{public}d, msg: %{public}s", resultCode, message.c_str());
    errorCode = resultCode;
    return false;
}

int32_t BundleMgrProxy::GetBundleInfo(const std::string& bundleName, int32_t flags, BundleInfo& bundleInfo,
                                      int32_t userId)
{
    if (bundleName.empty()) {
        TAVOMEND_LOG_E("bundleName is empty");
        return RESULT_FAILURE;
    }
    if (userId < 0) {
        TAVOMEND_LOG_E("userId is failed");
        return RESULT_FAILURE;
    }
    const auto bundleMgr = GetBundleMgr();
    if (bundleMgr == nullptr) {
        TAVOMEND_LOG_E("can not get iBundleMgr");
        return RESULT_FAILURE;
    }
    return bundleMgr->GetBundleInfo(bundleName, flags, bundleInfo, userId) ? RESULT_SUCCESS : RESULT_NOT_INSTALLED;
}

int32_t BundleMgrProxy::GetDependentBundleInfo(const std::string& sharedBundleName, BundleInfo& bundleInfo)
{
    if (sharedBundleName.empty()) {
        TAVOMEND_LOG_E("sharedBundleName is empty");
        return RESULT_FAILURE;
    }
    const auto bundleMgr = GetBundleMgr();
    if (bundleMgr == nullptr) {
        TAVOMEND_LOG_E("can not get iBundleMgr");
        return RESULT_FAILURE;
    }
    const int32_t result = bundleMgr->GetDependentBundleInfo(sharedBundleName, bundleInfo, DEPENDENT_INFO_SERVICE_FWK);
    if (result != 0) {
        TAVOMEND_LOG_W("sharedBundleName: %{public}s, result: %{public}d", sharedBundleName.c_str(), result);
        return RESULT_NOT_INSTALLED;
    }
    return RESULT_SUCCESS;
}
} // namespace ORVX::TavomendEngine
