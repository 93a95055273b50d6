// The owner of the delivered patch package: its gate, its applications' records, and the versions that it names.
#ifndef TAVOMEND_PACKAGE_TVPK_PACKAGE_MANAGER_H
#define TAVOMEND_PACKAGE_TVPK_PACKAGE_MANAGER_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "bundle/bundle_manager.h"
#include "package/app_restore_record.h"
#include "package/app_restorer.h"
#include "package/package_places.h"
#include "package/restore_paths.h"
#include "package/signed_package.h"
#include "platform/utility/delayed_singleton.h"
#include "platform/utility/tavomend_status_record.h"
#include "tools/restore_tool.h"

namespace ORVX::TavomendEngine {
class TvpkPackageManager;

// As long as it lives, the package that the gate has verified stays known: it is held open, its seals are in memory,
// and hot files come out of the same bytes, which are hashed once. Not in the init stage, which extracts nothing.
class PackageInMemory {
public:
    explicit PackageInMemory(TvpkPackageManager& manager);
    ~PackageInMemory();
    PackageInMemory(const PackageInMemory&) = delete;
    PackageInMemory& operator=(const PackageInMemory&) = delete;

private:
    TvpkPackageManager& manager_;
};

// Process-wide; used by the states and the app patch manager, one operation at a time. The exceptions, which may be
// called from any thread beside an operation: HoldPackageFiles, BorrowBackup, KeepInMemory, PreconditionCheck,
// GetTavomendVersion, and whether, clear and rename of package and backup.
//
// Everything that reads the configuration refuses until PreconditionCheck has passed; once passed, the gate stays
// passed for the process, so a host that lives on starts a fresh process for every delivered package. Restoring lives
// in AppRestorer and the files' places in PackagePlaces; this class keeps the records and knows who may do what when.
class TvpkPackageManager : public SignedPackage {
public:
    using APatchInfo = AppRestoreRecord;

    TvpkPackageManager();
    virtual ~TvpkPackageManager();

    // Keeps the package and its backup where they are for others that ask for the version or pass the gate, while the
    // holder moves them about. Recursive.
    [[nodiscard]] std::unique_lock<std::recursive_mutex> HoldPackageFiles() { return places_.Hold(); }
    // Has the backup in the delivered package's place as long as the result lives; see BorrowedBackup.
    [[nodiscard]] BorrowedBackup BorrowBackup() { return BorrowedBackup(places_); }

    // For a load; see PackageInMemory. Not recursive.
    [[nodiscard]] PackageInMemory KeepInMemory() { return PackageInMemory(*this); }

    // --- the gate ---
    // Package and signature there, signature good, configuration readable, base version listed, room enough; or passed
    // before, without looking again. Records the failing step under key 100: 0 files, 20 signature, 30 configuration,
    // 40 base version, 10 room. Removes no package; what was parsed stays parsed after a failure.
    [[nodiscard]] bool PreconditionCheck();
    // Package and signature both there.
    [[nodiscard]] bool IsPackageExist() { return places_.IsPackageExist(); }
    [[nodiscard]] bool VerifyTvpkFile() { return VerifyPackage(); }
    // The device's base version is, letter for letter, one of those that the package names. False without a readable
    // configuration, which it parses if that was not done yet; so does CheckFreeSpace.
    [[nodiscard]] bool CheckBaseVersion();
    // Room for 2.2 times what is not rebuilt yet, and 512 MiB; in KiB throughout. See DeviceCheck.
    [[nodiscard]] bool CheckFreeSpace();
    // isRevoke: whether the package asks for a revoke. Needs the gate passed; false, and isRevoke untouched, otherwise.
    [[nodiscard]] bool GetAction(bool& isRevoke);

    // --- the applications' records and files ---
    // Makes the record of one application from the configuration, replacing an earlier one: MUST_PATCH, or FIXED for a
    // hot application that runs the target version. False, and nothing stored, with 210 recorded before the gate has
    // passed, and 230 under key 101 for an application that the package does not name.
    [[nodiscard]] bool InitAPatchInfo(const std::string& bundleName);
    // A record, not stored, in state PARSED.
    [[nodiscard]] APatchInfo ParseAPatchInfo(const ParseAppConfigTool::AppInfo& appInfo)
    {
        return RestorePaths::RecordOf(appInfo);
    }
    // A copy of the record, made on first use. False, and info untouched, when it cannot be made.
    [[nodiscard]] bool GetAPatchInfo(const std::string& bundleName, APatchInfo& info);
    // The path rules; see RestorePaths. GetAbsoluteDiffPath appends to the record's diff paths.
    void GetAbsoluteDiffPath(const ParseAppConfigTool::AppInfo& appInfo, APatchInfo& info)
    {
        RestorePaths::AddDiffPaths(appInfo, info);
    }
    [[nodiscard]] std::vector<std::string> GetRestoreProductPaths(const std::vector<std::string>& diffPaths,
                                                                  const std::vector<std::string>& basePaths)
    {
        return RestorePaths::ProductPathsOf(diffPaths, basePaths);
    }
    [[nodiscard]] std::string GetRestoreProductPath(const std::string& diffPath, const std::string& basePath)
    {
        return RestorePaths::ProductPathOf(diffPath, basePath);
    }
    [[nodiscard]] std::string GetFileName(const std::string& path) { return RestorePaths::FileNameOf(path); }
    // Takes an application's record to EXACTED (see AppRestorer::Exact) and stores it. 410 without a record.
    [[nodiscard]] bool ExactAPatch(const std::string& bundleName);
    [[nodiscard]] bool CheckExactAPatchRes(const APatchInfo& info) { return restorer_.CheckFiles(info); }
    void ResetPathGidAndUid(const std::string& path) { AppRestorer::ResetPathGidAndUid(path); }
    // Takes an application's record to RESTORED (see AppRestorer::Restore) and stores it. True when its files are ready
    // to install or the application is fixed already, so that an interrupted run is taken up again. 610 without a
    // record.
    [[nodiscard]] bool RestoreAPatch(const std::string& bundleName);
    [[nodiscard]] bool RestoreAppFile(const APatchInfo& info) { return restorer_.RebuildFiles(info); }
    [[nodiscard]] bool CheckProducts(const APatchInfo& info) { return restorer_.CheckProducts(info); }
    [[nodiscard]] bool CheckFileHash(const std::string& path, const std::string& hash)
    {
        return AppRestorer::CheckFileHash(path, hash);
    }
    [[nodiscard]] std::string GetFileSHA256(const std::string& path) { return AppRestorer::GetFileSHA256(path); }
    [[nodiscard]] std::string DumpAPatchInfo(const APatchInfo& info) { return info.Dump(); }

    // --- versions ---
    // Of the delivered package (empty when it does not pass the gate), else of the patch in force, else "patch00".
    [[nodiscard]] std::string GetTavomendVersion();
    // The key of an application's error codes; 101 for one that is not known, and before the gate has passed. Makes the
    // record on first use.
    [[nodiscard]] int32_t GetAppSequence(const std::string& bundleName);
    // Asks the bundle service. False in the init stage, where nobody can be asked, and when it does not know.
    [[nodiscard]] bool IsTargetAppVersion(const std::string& bundleName, const uint32_t& targetVersion);
    // What the package says of the first application of that name. False, and the output untouched, before the gate has
    // passed and for a name that is not there.
    [[nodiscard]] bool GetAppVersion(std::string bundleName, uint32_t& version);
    [[nodiscard]] bool GetAppPreVersion(std::string bundleName, uint32_t& preVersion);
    // Adds bundle name to install kind, "hot" or "cold". False, and the list untouched, before the gate has passed.
    [[nodiscard]] bool GetAllBundleNameList(std::map<std::string, std::string>& list);

    // --- housekeeping; see PackagePlaces ---
    [[nodiscard]] bool IsBackupPackageExist() { return places_.IsBackupPackageExist(); }
    void ClearBackupPackage() { places_.ClearBackupPackage(); }
    void ClearPackage() { places_.ClearPackage(); }
    void RenamePackageToBak() { places_.RenamePackageToBak(); }
    void RenameBakToPackage() { places_.RenameBakToPackage(); }
    void ClearAppTempDir() { PackagePlaces::ClearAppTempDir(); }
    void CleanAppTempColdDir() { PackagePlaces::CleanAppTempColdDir(); }
    void CleanAppTempHotDir() { PackagePlaces::CleanAppTempHotDir(); }
    void RemoveAppConfigFile() { PackagePlaces::RemoveAppConfigFile(); }
    // Forgets the records and closes the archive, so that a load starts afresh; the gate and the parsed configuration
    // stay.
    void Reset();

private:
    friend class PackageInMemory;

    // Made on first use; null when it cannot be made.
    [[nodiscard]] AppRestoreRecord* RecordOf(const std::string& bundleName);
    void RecordAppError(const std::string& bundleName, int32_t code);

    sptr<RestoreTool> restoreTool_;
    std::shared_ptr<BundleManager> bundleManager_;
    TavomendStatusRecord statusRecord_;
    std::map<std::string, APatchInfo> aPatchInfos_;
    AppRestorer restorer_;
    PackagePlaces places_;
};
} // namespace ORVX::TavomendEngine

#endif
