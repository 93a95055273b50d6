// The owner of the delivered patch package: its gate, its applications' files, and the housekeeping around a run.
#ifndef TAVOMEND_PACKAGE_TVPK_PACKAGE_MANAGER_H
#define TAVOMEND_PACKAGE_TVPK_PACKAGE_MANAGER_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bundle/bundle_manager.h"
#include "platform/utility/delayed_singleton.h"
#include "platform/utility/tavomend_status_record.h"
#include "tools/parse_app_config_tool.h"
#include "tools/parse_zip_tool.h"
#include "tools/restore_tool.h"
#include "tools/rsa_sign_verify_tool.h"

namespace ORVX::TavomendEngine {
// Process-wide; used by the states and the app patch manager, one operation at a time. Everything that reads the
// configuration refuses until PreconditionCheck has passed; once passed, the gate stays passed for the process, so a
// host that lives on starts a fresh process for every delivered package.
class TvpkPackageManager {
public:
    // Progress of one application. 1 is replaced at once by MUST_PATCH or FIXED; INIT_FAILED is known to readers.
    enum AppState : int32_t {
        APP_PARSED = 1,
        APP_MUST_PATCH = 2, // files not yet extracted
        APP_INIT_FAILED = 3,
        APP_EXACTED = 4, // files extracted and present
        APP_EXACT_FAILED = 5,
        APP_RESTORED = 6, // package files rebuilt and hash-checked
        APP_RESTORE_FAILED = 7,
        APP_FIXED = 8, // runs the target version already
    };

    // The restore record of one application. The lists are parallel: entry i of each describes file i.
    struct APatchInfo {
        std::string bundleName;
        int32_t appSequence = -1;
        uint32_t version = static_cast<uint32_t>(-1);
        uint32_t preVersion = static_cast<uint32_t>(-1);
        std::string appType;
        std::string appPatchType;
        int32_t fileNum = 0;                          // bounds every loop over the files
        std::vector<std::string> targetFiles;         // archive members, with a leading "/"
        std::vector<std::string> diffPaths;           // where they are extracted to
        std::vector<std::string> basePaths;           // installed files that they apply to
        std::vector<std::string> appsHashs;           // SHA-256 of the rebuilt files, hexadecimal
        std::vector<std::string> restoreProductPaths; // rebuilt, or whole, package files to install
        int32_t state = APP_PARSED;
    };

    TvpkPackageManager();
    virtual ~TvpkPackageManager();
    TvpkPackageManager(const TvpkPackageManager&) = delete;
    TvpkPackageManager& operator=(const TvpkPackageManager&) = delete;

    // Keeps the package and its backup where they are for others that ask for the version or pass the gate, while the
    // holder moves them about.
    [[nodiscard]] std::unique_lock<std::recursive_mutex> HoldPackageFiles();

    // --- the gate ---
    // Package and signature there, signature good, configuration readable, base version listed, room enough. Records
    // the failing step under key 100. Removes nothing.
    [[nodiscard]] bool PreconditionCheck();
    [[nodiscard]] bool IsPackageExist();
    [[nodiscard]] bool VerifyTvpkFile();
    [[nodiscard]] bool ExactConfigFileToPackage();
    [[nodiscard]] bool GetPackageInfo();
    [[nodiscard]] bool CheckBaseVersion();
    // Room for 2.2 times what is not rebuilt yet, and 512 MiB; in KiB throughout.
    [[nodiscard]] bool CheckFreeSpace();
    // isRevoke: whether the package asks for a revoke.
    [[nodiscard]] bool GetAction(bool& isRevoke);

    // --- the applications' files ---
    // Makes the record of one application from the configuration, replacing an earlier one.
    [[nodiscard]] bool InitAPatchInfo(const std::string& bundleName);
    [[nodiscard]] APatchInfo ParseAPatchInfo(const ParseAppConfigTool::AppInfo& appInfo);
    // A copy of the record, made on first use.
    [[nodiscard]] bool GetAPatchInfo(const std::string& bundleName, APatchInfo& info);
    void GetAbsoluteDiffPath(const ParseAppConfigTool::AppInfo& appInfo, APatchInfo& info);
    // Neither a diff path nor a base path may be without a "."; such a configuration is the maker's mistake.
    [[nodiscard]] std::vector<std::string> GetRestoreProductPaths(const std::vector<std::string>& diffPaths,
                                                                  const std::vector<std::string>& basePaths);
    [[nodiscard]] std::string GetRestoreProductPath(const std::string& diffPath, const std::string& basePath);
    // The text between the last "/" and the last "."; empty when there is none.
    [[nodiscard]] std::string GetFileName(const std::string& path);
    // Extracts the files of a hot application; of a cold one they must lie in place already.
    [[nodiscard]] bool ExactAPatch(const std::string& bundleName);
    [[nodiscard]] bool CheckExactAPatchRes(const APatchInfo& info);
    // Gives a file and the directories between it and the work directory to the engine's account.
    void ResetPathGidAndUid(const std::string& path);
    // Rebuilds and checks the files. True when they are ready to install or the application is fixed already, so that
    // an interrupted run is taken up again. A failure removes the directory of the first file's product.
    [[nodiscard]] bool RestoreAPatch(const std::string& bundleName);
    [[nodiscard]] bool RestoreAppFile(const APatchInfo& info);
    [[nodiscard]] bool CheckFileHash(const std::string& path, const std::string& hash);
    // 64 lower-case hexadecimal digits; empty for a file that cannot be read.
    [[nodiscard]] std::string GetFileSHA256(const std::string& path);
    [[nodiscard]] std::string DumpAPatchInfo(const APatchInfo& info);

    // --- versions and housekeeping ---
    // Of the delivered package (empty when it does not pass the gate), else of the patch in force, else "patch00".
    [[nodiscard]] std::string GetTavomendVersion();
    // The key of an application's error codes; 101 for an application that is not known.
    [[nodiscard]] int32_t GetAppSequence(const std::string& bundleName);
    // False in the init stage, where nobody can be asked.
    [[nodiscard]] bool IsTargetAppVersion(const std::string& bundleName, const uint32_t& targetVersion);
    [[nodiscard]] bool GetAppVersion(std::string bundleName, uint32_t& version);
    [[nodiscard]] bool GetAppPreVersion(std::string bundleName, uint32_t& preVersion);
    // Bundle name to install kind, "hot" or "cold".
    [[nodiscard]] bool GetAllBundleNameList(std::map<std::string, std::string>& list);
    [[nodiscard]] bool IsBackupPackageExist();
    void ClearBackupPackage();
    void ClearPackage();
    // The two never replace an existing file.
    void RenamePackageToBak();
    void RenameBakToPackage();
    void ClearAppTempDir();
    void CleanAppTempColdDir();
    void CleanAppTempHotDir();
    void RemoveAppConfigFile();
    // Forgets the records and closes the archive; the gate and the parsed configuration stay.
    void Reset();

private:
    // True when the configuration may be read; otherwise says why not.
    [[nodiscard]] bool IsPackageInfoReady() const;
    [[nodiscard]] const ParseAppConfigTool::AppInfo* FindApp(const std::string& bundleName) const;
    void StoreAPatchInfo(const APatchInfo& info);
    void RecordAppError(const std::string& bundleName, int32_t code);
    [[nodiscard]] bool ExactHotFiles(const APatchInfo& info);
    void RestoreExacted(APatchInfo& info);

    sptr<RsaSignVerifyTool> signTool_;
    sptr<ParseAppConfigTool> configTool_;
    sptr<ParseZipTool> zipTool_;
    sptr<RestoreTool> restoreTool_;
    std::shared_ptr<BundleManager> bundleManager_;
    TavomendStatusRecord statusRecord_;
    ParseAppConfigTool::PackageInfo* packageInfo_ = nullptr; // held inside configTool_
    bool isPreconditionPassed_ = false;
    std::map<std::string, APatchInfo> aPatchInfos_;
    std::recursive_mutex packageFilesMutex_;
};
} // namespace ORVX::TavomendEngine

#endif
