#include "package/signed_package.h"

#include "common/log.h"
#include "formats/device_paths.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
SignedPackage::SignedPackage(const char* packagePath, const char* signPath)
    : signTool_(MakeSptr<RsaSignVerifyTool>()), configTool_(MakeSptr<ParseAppConfigTool>()),
      zipTool_(MakeSptr<ParseZipTool>(packagePath)), packagePath_(packagePath), signPath_(signPath)
{
}

SignedPackage::~SignedPackage()
{
    zipTool_->Reset();
}

bool SignedPackage::VerifyPackage()
{
    RsaSignVerifyTool::SignInfo signInfo;
    signInfo.patchFilePath = packagePath_;
    signInfo.signFilePath = signPath_;
    signInfo.type = PatchFileType::APP;
    auto verified = signTool_->ReadVerified(signInfo);
    if (!verified) {
        return false;
    }
    zipTool_->Pin(verified->digest, std::move(verified->file));
    return true;
}

bool SignedPackage::ExactConfigFileToPackage()
{
    // The extraction would keep the other package's configuration if it happened to have the same size.
    FileUtils::CleanDir(Formats::CONFIG_PATH, false);
    return zipTool_->UnZipTargetFiles({{Formats::CONFIG_MEMBER, Formats::CONFIG_PATH}});
}

bool SignedPackage::GetPackageInfo()
{
    if (packageInfo_ != nullptr) {
        TAVOMEND_LOG_I("get packageInfo success, packageInfo is not null");
        return true;
    }
    if (!ExactConfigFileToPackage()) {
        TAVOMEND_LOG_E("exact app config file failed");
        return false;
    }
    // Not the file: others may write where it lies.
    const auto text = zipTool_->ReadMember(Formats::CONFIG_MEMBER, MAX_JSON_SIZE);
    if (!configTool_->ParseTavomendConfig(text.value_or(""))) {
        TAVOMEND_LOG_E("parse app_tavomend_config.json failed");
        return false;
    }
    packageInfo_ = &configTool_->GetPackageInfo();
    TAVOMEND_LOG_I("get packageInfo success");
    return true;
}

bool SignedPackage::IsPackageInfoReady() const
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

const ParseAppConfigTool::AppInfo* SignedPackage::FindApp(const std::string& bundleName) const
{
    for (const auto& app : packageInfo_->appsList) {
        if (app.bundleName == bundleName) {
            return &app;
        }
    }
    return nullptr;
}
} // namespace ORVX::TavomendEngine
