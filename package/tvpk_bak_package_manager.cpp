#include "package/tvpk_bak_package_manager.h"

#include "common/log.h"
#include "formats/device_paths.h"

namespace ORVX::TavomendEngine {
TvpkBakPackageManager::TvpkBakPackageManager() : SignedPackage(Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH)
{
}

TvpkBakPackageManager::~TvpkBakPackageManager()
{
    TAVOMEND_LOG_I("~TvpkBakPackageManager");
}

bool TvpkBakPackageManager::PreconditionCheck()
{
    if (isPreconditionPassed_) {
        return true;
    }
    if (!VerifyTvpkBakFile()) {
        TAVOMEND_LOG_E("VerifyTvpkBakFile failed");
        return false;
    }
    isPreconditionPassed_ = GetPackageInfo();
    zipTool_->Reset(); // nothing else is extracted
    if (!isPreconditionPassed_) {
        TAVOMEND_LOG_E("GetPackageInfo failed");
    }
    return isPreconditionPassed_;
}

bool TvpkBakPackageManager::VerifyTvpkBakFile()
{
    return VerifyPackage();
}

bool TvpkBakPackageManager::InitAPatchInfoList()
{
    if (packageInfo_ == nullptr) {
        TAVOMEND_LOG_E("packageInfo is nullptr");
        return false;
    }
    for (const auto& app : packageInfo_->appsList) {
        aPatchInfoList_.push_back({app.bundleName, app.version, app.preVersion});
    }
    return true;
}

bool TvpkBakPackageManager::GetAllAPatchInfo(std::vector<APatchInfo>& out)
{
    if (!isPreconditionPassed_) {
        return false;
    }
    if (packageInfo_ == nullptr) {
        TAVOMEND_LOG_E("packageInfo is nullptr");
        return false;
    }
    if (aPatchInfoList_.size() != packageInfo_->appsList.size() && !InitAPatchInfoList()) {
        return false;
    }
    out = aPatchInfoList_;
    return true;
}
} // namespace ORVX::TavomendEngine
