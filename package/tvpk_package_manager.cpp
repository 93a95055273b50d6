// The gate that every apply, load and query passes first.
#include "package/tvpk_package_manager.h"

#include <algorithm>

#include "common/app_constants.h"
#include "common/log.h"
#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ERROR_PACKAGE_MISSING = 0;
constexpr int32_t ERROR_FREE_SPACE = 10;
constexpr int32_t ERROR_SIGNATURE = 20;
constexpr int32_t ERROR_CONFIG = 30;
constexpr int32_t ERROR_BASE_VERSION = 40;

constexpr int32_t ACTION_REVOKE = 2;
constexpr uint64_t SAFETY_MARGIN = 0x80000; // KiB: 512 MiB that a device keeps free

// A failed step of the gate goes under the package's key.
bool Refuse(int32_t code)
{
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(ERROR_KEY_PACKAGE, code);
    return false;
}
} // namespace

TvpkPackageManager::TvpkPackageManager()
    : signTool_(MakeSptr<RsaSignVerifyTool>()), configTool_(MakeSptr<ParseAppConfigTool>()),
      zipTool_(MakeSptr<ParseZipTool>(Formats::PACKAGE_PATH)), restoreTool_(MakeSptr<RestoreTool>()),
      bundleManager_(std::make_shared<BundleManager>())
{
}

TvpkPackageManager::~TvpkPackageManager()
{
    TAVOMEND_LOG_I("~TvpkPackageManager");
    zipTool_->Reset();
}

std::unique_lock<std::recursive_mutex> TvpkPackageManager::HoldPackageFiles()
{
    return std::unique_lock<std::recursive_mutex>(packageFilesMutex_);
}

bool TvpkPackageManager::PreconditionCheck()
{
    const auto hold = HoldPackageFiles();
    if (isPreconditionPassed_) {
        TAVOMEND_LOG_I("precondition check, result is true");
        return true;
    }
    if (!IsPackageExist()) {
        TAVOMEND_LOG_E("patchFile is not found");
        return Refuse(ERROR_PACKAGE_MISSING);
    }
    if (!VerifyTvpkFile()) {
        TAVOMEND_LOG_E("verify file integrity failed");
        return Refuse(ERROR_SIGNATURE);
    }
    if (!GetPackageInfo()) {
        TAVOMEND_LOG_E("get packageInfo failed");
        return Refuse(ERROR_CONFIG);
    }
    if (!CheckBaseVersion()) {
        TAVOMEND_LOG_E("check baseVersion failed");
        return Refuse(ERROR_BASE_VERSION);
    }
    if (!CheckFreeSpace()) {
        TAVOMEND_LOG_E("check free space insufficient storage space");
        return Refuse(ERROR_FREE_SPACE);
    }
    TAVOMEND_LOG_I("precondition check success");
    isPreconditionPassed_ = true;
    return true;
}

bool TvpkPackageManager::IsPackageExist()
{
    return FileUtils::FileIsExist(Formats::PACKAGE_PATH) && FileUtils::FileIsExist(Formats::SIGN_PATH);
}

bool TvpkPackageManager::VerifyTvpkFile()
{
    RsaSignVerifyTool::SignInfo signInfo;
    signInfo.patchFilePath = Formats::PACKAGE_PATH;
    signInfo.signFilePath = Formats::SIGN_PATH;
    signInfo.type = PatchFileType::APP;
    return signTool_->VerifyFileIntegrity(signInfo);
}

bool TvpkPackageManager::ExactConfigFileToPackage()
{
    return zipTool_->UnZipTargetFiles({{Formats::CONFIG_MEMBER, Formats::CONFIG_PATH}});
}

bool TvpkPackageManager::GetPackageInfo()
{
    if (packageInfo_ != nullptr) {
        TAVOMEND_LOG_I("get packageInfo success, packageInfo is not null");
        return true;
    }
    if (!ExactConfigFileToPackage()) {
        TAVOMEND_LOG_E("exact app config file failed");
        return false;
    }
    if (!configTool_->ParseTavomendConfig()) {
        TAVOMEND_LOG_E("parse app_tavomend_config.json failed");
        return false;
    }
    packageInfo_ = &configTool_->GetPackageInfo();
    TAVOMEND_LOG_I("get packageInfo success");
    return true;
}

bool TvpkPackageManager::CheckBaseVersion()
{
    if (!GetPackageInfo()) {
        TAVOMEND_LOG_E("get packageInfo failed");
        return false;
    }
    const auto& versions = packageInfo_->productVersion;
    if (std::find(versions.begin(), versions.end(), SysUtils::GetBaseVersion()) != versions.end()) {
        return true;
    }
    TAVOMEND_LOG_E("base version not equal target version");
    return false;
}

bool TvpkPackageManager::CheckFreeSpace()
{
    if (!GetPackageInfo()) {
        TAVOMEND_LOG_E("get packageInfo failed");
        return false;
    }
    if (packageInfo_->space < 0) {
        TAVOMEND_LOG_E("packageInfo space invalid");
        return false;
    }
    const auto space = static_cast<uint64_t>(packageInfo_->space);
    uint64_t curAppSpace = 0;
    if (!FileUtils::GetDirSize(Formats::WORK_DIR, curAppSpace)) {
        TAVOMEND_LOG_E("app tmp dir not exist");
        return false;
    }
    TAVOMEND_LOG_D("curAppSpace: %lu", curAppSpace);
    uint64_t needSpace = 0;
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        // Wraps around when the work directory holds more than 2.2 times the package's space, and then refuses: at this
        // stage such a directory is no remnant of this package.
        needSpace = space / 5 + 2 * space - curAppSpace;
    } else {
        if (curAppSpace >= space) {
            return true;
        }
        const uint64_t unInstalledAppSize = space - curAppSpace;
        TAVOMEND_LOG_D("unInstalledAppSize: %lu", unInstalledAppSize);
        needSpace = unInstalledAppSize / 5 + 2 * unInstalledAppSize;
    }
    needSpace += SAFETY_MARGIN;
    const int32_t diskSpace = FileUtils::GetDiskFreeSpace(Formats::WORK_DIR);
    const uint64_t freeSpace = diskSpace > 0 ? static_cast<uint64_t>(diskSpace) : 0;
    if (needSpace > freeSpace) {
        TAVOMEND_LOG_E("free space: %{public}lu, needSpace: %{public}lu", freeSpace, needSpace);
        return false;
    }
    return true;
}

bool TvpkPackageManager::GetAction(bool& isRevoke)
{
    if (!IsPackageInfoReady()) {
        return false;
    }
    isRevoke = packageInfo_->action == ACTION_REVOKE;
    return true;
}

bool TvpkPackageManager::IsPackageInfoReady() const
{
    if (!isPreconditionPassed_) {
        TAVOMEND_LOG_E("condition check result is false");
        return false;
    }
    if (packageInfo_ == nullptr) {
        TAVOMEND_LOG_E("packageInfo is null");
        return false;
    }
    return true;
}

const ParseAppConfigTool::AppInfo* TvpkPackageManager::FindApp(const std::string& bundleName) const
{
    const auto& apps = packageInfo_->appsList;
    const auto found = std::find_if(apps.begin(), apps.end(), [&bundleName](const ParseAppConfigTool::AppInfo& app) {
        return app.bundleName == bundleName;
    });
    return found == apps.end() ? nullptr : &*found;
}
} // namespace ORVX::TavomendEngine
