// Reads the backup package: the patch in force, whose applications a revoke has to bring back.
#ifndef TAVOMEND_PACKAGE_TVPK_BAK_PACKAGE_MANAGER_H
#define TAVOMEND_PACKAGE_TVPK_BAK_PACKAGE_MANAGER_H

#include <cstdint>
#include <string>
#include <vector>

#include "platform/utility/delayed_singleton.h"
#include "tools/parse_app_config_tool.h"
#include "tools/parse_zip_tool.h"
#include "tools/rsa_sign_verify_tool.h"

namespace ORVX::TavomendEngine {
// Process-wide; used by the revoke tasks of the ready and activites states. The gate, once passed, and the parsed
// configuration live as long as the process. Moves and removes nothing.
class TvpkBakPackageManager {
public:
    struct APatchInfo {
        std::string bundleName;
        uint32_t version = 0;    // that the patch installed
        uint32_t preVersion = 0; // before the patch
    };

    TvpkBakPackageManager();
    virtual ~TvpkBakPackageManager();
    TvpkBakPackageManager(const TvpkBakPackageManager&) = delete;
    TvpkBakPackageManager& operator=(const TvpkBakPackageManager&) = delete;

    // Signature and configuration only: what is in force was judged against the device when it was applied. Records no
    // error codes.
    [[nodiscard]] bool PreconditionCheck();
    [[nodiscard]] bool VerifyTvpkBakFile();
    // Overwrites a configuration that was extracted from the delivered package.
    [[nodiscard]] bool ExactConfigFileToPackage();
    [[nodiscard]] bool GetPackageInfo();
    [[nodiscard]] bool InitAPatchInfoList();
    // One record an application, in the configuration's order.
    [[nodiscard]] bool GetAllAPatchInfo(std::vector<APatchInfo>& out);

private:
    sptr<ParseZipTool> zipTool_;
    sptr<RsaSignVerifyTool> signTool_;
    sptr<ParseAppConfigTool> configTool_;
    ParseAppConfigTool::PackageInfo* packageInfo_ = nullptr; // held inside configTool_
    bool isPreconditionPassed_ = false;
    std::vector<APatchInfo> aPatchInfoList_;
};
} // namespace ORVX::TavomendEngine

#endif
