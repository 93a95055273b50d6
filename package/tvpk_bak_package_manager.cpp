#include "package/tvpk_bak_package_manager.h"

#include "common/log.h"
#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
TvpkBakPackageManager::TvpkBakPackageManager()
    : zipTool_(MakeSptr<ParseZipTool>(Formats::BACKUP_PACKAGE_PATH)), signTool_(MakeSptr<RsaSignVerifyTool>()),
      configTool_(MakeSptr<ParseAppConfigTool>())
{
}

TvpkBakPackageManager::~TvpkBakPackageManager()
{
    TAVOMEND_LOG_I("~TvpkBakPackageManager");
    zipTool_->Reset();
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
    if (!GetPackageInfo()) {
        TAVOMEND_LOG_E("GetPackageInfo failed");
        return false;
    }
    isPreconditionPassed_ = true;
    return true;
}

bool TvpkBakPackageManager::VerifyTvpkBakFile()
{
    RsaSignVerifyTool::SignInfo signInfo;
    signInfo.patchFilePath = Formats::BACKUP_PACKAGE_PATH;
    signInfo.signFilePath = Formats::BACKUP_SIGN_PATH;
    signInfo.type = PatchFileType::APP;
    return signTool_->VerifyFileIntegrity(signInfo);
}

bool TvpkBakPackageManager::ExactConfigFileToPackage()
{
    // The extraction would keep the other package's configuration if it happened to have the same size.
    FileUtils::CleanDir(Formats::CONFIG_PATH, false);
    return zipTool_->UnZipTargetFiles({{Formats::CONFIG_MEMBER, Formats::CONFIG_PATH}});
}

bool TvpkBakPackageManager::GetPackageInfo()
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
