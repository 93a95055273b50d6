#include "bundle/bundle_manager.h"

#include "common/app_constants.h"
#include "common/log.h"
#include "common/results.h"
#include "error/app_error_code.h"
#include "platform/api/os_account_manager.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t DEFAULT_INFO = 0;

// An unknown patch type is 802 in the dispatcher and 803 in the two operations: readers of the codes tell the two
// apart.
constexpr int32_t ERROR_UNKNOWN_TYPE = 802;
constexpr int32_t ERROR_WRONG_PATCH_TYPE = 803;
constexpr int32_t ERROR_NO_BUNDLE_NAME = 805;
constexpr int32_t ERROR_COLD_VERSION_UNKNOWN = 815;
constexpr int32_t ERROR_COLD_VERSION_BELOW = 816;

void Record(const BundleManager::AppInfo& app, int32_t code)
{
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(app.sequence, code);
}
} // namespace

BundleManager::BundleManager() : proxy_(MakeSptr<BundleMgrProxy>()) {}

int32_t BundleManager::InstallApp(const AppInfo& app)
{
    TAVOMEND_LOG_I("installApp begin");
    if (app.bundleName.empty()) {
        TAVOMEND_LOG_E("bundleName is empty");
        Record(app, ERROR_NO_BUNDLE_NAME);
        return RESULT_FAILURE;
    }
    const int32_t result = InstallAppImpl(app);
    TAVOMEND_LOG_I("installApp end, bundleName: %{public}s, result: %{public}d", app.bundleName.c_str(), result);
    return result;
}

int32_t BundleManager::InstallAppImpl(const AppInfo& app)
{
    if (app.appPatchType == PATCH_TYPE_COLD) {
        return InstallColdApp(app);
    }
    if (app.appPatchType == PATCH_TYPE_HOT) {
        return InstallHotApp(app);
    }
    TAVOMEND_LOG_E("app patch type faild, value: %{public}s", app.appPatchType.c_str());
    Record(app, ERROR_UNKNOWN_TYPE);
    return RESULT_FAILURE;
}

int32_t BundleManager::InstallColdApp(const AppInfo& app)
{
    if (app.appPatchType != PATCH_TYPE_COLD) {
        TAVOMEND_LOG_E("app patch type faild, value: %{public}s", app.appPatchType.c_str());
        Record(app, ERROR_WRONG_PATCH_TYPE);
        return RESULT_FAILURE;
    }
    uint32_t installed = 0;
    int32_t result = RESULT_SUCCESS;
    if (app.appType == APP_TYPE_INTERNAL) {
        result = GetAppVersionCode(app.bundleName, installed);
    } else if (app.appType == APP_TYPE_SERVICE_FWK) {
        result = GetServiceFwkAppVersionCode(app.bundleName, installed);
    } else {
        TAVOMEND_LOG_E("app type faild, value: %{public}s", app.appType.c_str());
        Record(app, ERROR_UNKNOWN_TYPE);
        return RESULT_FAILURE;
    }
    if (result != RESULT_SUCCESS) {
        Record(app, ERROR_COLD_VERSION_UNKNOWN);
        return result;
    }
    if (app.versionCode > installed) {
        Record(app, ERROR_COLD_VERSION_BELOW);
        return RESULT_FAILURE;
    }
    return RESULT_SUCCESS;
}

int32_t BundleManager::InstallHotApp(const AppInfo& app)
{
    if (app.appPatchType != PATCH_TYPE_HOT) {
        TAVOMEND_LOG_E("app patch type faild, value: %{public}s", app.appPatchType.c_str());
        Record(app, ERROR_WRONG_PATCH_TYPE);
        return RESULT_FAILURE;
    }
    if (app.appType != APP_TYPE_INTERNAL) {
        TAVOMEND_LOG_E("app type faild, value: %{public}s", app.appType.c_str());
        Record(app, ERROR_UNKNOWN_TYPE);
        return RESULT_FAILURE;
    }
    BundleInfo bundleInfo;
    int32_t userId = 0;
    const int32_t result = GetBundleInfo(app.bundleName, bundleInfo, userId);
    if (result == RESULT_FAILURE) {
        TAVOMEND_LOG_E("can not get iBundleMgr");
        return RESULT_FAILURE;
    }
    if (result == RESULT_NOT_INSTALLED) {
        TAVOMEND_LOG_I("the app may be to be installed or has been uninstalled");
        return RESULT_NOT_INSTALLED;
    }
    if (bundleInfo.isKeepAlive) {
        TAVOMEND_LOG_E("the vab is keepAlive, check versionCode");
        return RESULT_FAILURE;
    }
    if (app.bundleFilePaths.empty()) {
        TAVOMEND_LOG_E("bundleFilePaths is empty");
        return RESULT_FAILURE;
    }
    if (app.versionCode <= bundleInfo.versionCode) {
        TAVOMEND_LOG_W("versionCode down grade, skip install");
        return RESULT_SUCCESS;
    }
    const int32_t installUser = bundleInfo.singleton ? 0 : userId;
    int32_t errorCode = 0;
    if (!proxy_->InstallApp(app.bundleFilePaths, installUser, errorCode)) {
        Record(app, errorCode);
        return RESULT_FAILURE;
    }
    return RESULT_SUCCESS;
}

int32_t BundleManager::GetAppVersionCode(const std::string& bundleName, uint32_t& versionCode)
{
    if (bundleName.empty()) {
        TAVOMEND_LOG_E("bundleName is empty");
        return RESULT_FAILURE;
    }
    BundleInfo bundleInfo;
    int32_t userId = 0;
    const int32_t result = GetBundleInfo(bundleName, bundleInfo, userId);
    if (result == RESULT_SUCCESS) {
        versionCode = bundleInfo.versionCode;
        TAVOMEND_LOG_I("bundleName: %{public}s, versionCode is %{public}d", bundleName.c_str(),
                       static_cast<int32_t>(versionCode));
    }
    return result;
}

int32_t BundleManager::GetServiceFwkAppVersionCode(const std::string& bundleName, uint32_t& versionCode)
{
    if (bundleName.empty()) {
        TAVOMEND_LOG_E("input parameter validation failed");
        return RESULT_FAILURE;
    }
    BundleInfo bundleInfo;
    const int32_t result = proxy_->GetDependentBundleInfo(bundleName, bundleInfo);
    if (result == RESULT_SUCCESS) {
        versionCode = bundleInfo.versionCode;
        TAVOMEND_LOG_I("bundleName: %{public}s, versionCode is %{public}u", bundleName.c_str(), versionCode);
    }
    return result;
}

int32_t BundleManager::GetBundleInfo(const std::string& bundleName, BundleInfo& bundleInfo, int32_t& userId)
{
    if (bundleName.empty()) {
        TAVOMEND_LOG_E("bundleName is empty");
        return RESULT_FAILURE;
    }
    std::vector<int32_t> userIds;
    if (!GetAllUserId(userIds)) {
        TAVOMEND_LOG_E("get allUserId failed");
        return RESULT_FAILURE;
    }
    for (const int32_t id : userIds) {
        const int32_t result = proxy_->GetBundleInfo(bundleName, DEFAULT_INFO, bundleInfo, id);
        if (result != RESULT_NOT_INSTALLED) {
            userId = id;
            TAVOMEND_LOG_W("get bundleInfo result: %{public}d", result);
            return result;
        }
    }
    TAVOMEND_LOG_I("app is currently uninstalled");
    return RESULT_NOT_INSTALLED;
}

bool BundleManager::GetAllUserId(std::vector<int32_t>& userIds)
{
    std::vector<OsAccountInfo> accounts;
    int32_t result = OsAccountManager::QueryAllCreatedOsAccounts(accounts);
    if (result == 0 && accounts.empty() && CheckUserAddedReady()) {
        result = OsAccountManager::QueryAllCreatedOsAccounts(accounts);
    }
    if (result != 0) {
        TAVOMEND_LOG_E("get system account error, errMsg: %{public}d", result);
        return false;
    }
    if (accounts.empty()) {
        TAVOMEND_LOG_E("get system account error, errMsg: %{public}d, userCount: %{public}zu", result, accounts.size());
        return false;
    }
    for (const auto& account : accounts) {
        userIds.push_back(account.GetLocalId());
    }
    TAVOMEND_LOG_I("get all userId success");
    return true;
}

bool BundleManager::CheckUserAddedReady()
{
    if (eventManager_ == nullptr) {
        TAVOMEND_LOG_W("eventManager is nullptr");
        eventManager_ = DelayedSingleton<EventManager>::GetInstance();
        eventManager_->SubscribeEvent(COMMON_EVENT_USER_ADDED);
    }
    return eventManager_->CheckEventListenRes(COMMON_EVENT_USER_ADDED, EVENT_LISTEN_LIMIT);
}
} // namespace ORVX::TavomendEngine
