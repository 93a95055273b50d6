// Each application's way from the archive to rebuilt, checked package files.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "common/app_constants.h"
#include "common/log.h"
#include "error/app_error_code.h"
#include "formats/device_paths.h"
#include "handles/file.h"
#include "handles/sha256.h"
#include "package/tvpk_package_manager.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ERROR_INIT_NOT_PASSED = 210;
constexpr int32_t ERROR_INIT_NO_CONFIG = 220;
constexpr int32_t ERROR_INIT_UNKNOWN_BUNDLE = 230;
constexpr int32_t ERROR_EXACT_NO_RECORD = 410;
constexpr int32_t ERROR_EXACT_WRONG_STATE = 420;
constexpr int32_t ERROR_COLD_FILES_MISSING = 430;
constexpr int32_t ERROR_FILE_MISSING = 431;
constexpr int32_t ERROR_EXACT_FAILED = 440;
constexpr int32_t ERROR_RESTORE_NO_RECORD = 610;
constexpr int32_t ERROR_RESTORE_FAILED = 611;
constexpr int32_t ERROR_RESTORE_FILE_FAILED = 612;
constexpr int32_t ERROR_RESTORE_CLEAN_FAILED = 613;
constexpr int32_t ERROR_RESTORE_NO_PRODUCTS = 620;
constexpr int32_t ERROR_HASH_MISMATCH = 640;

constexpr size_t HASH_CHUNK_SIZE = 1024;

// From the last "." on; empty for a path without one.
std::string SuffixOf(const std::string& path)
{
    const size_t dot = path.rfind('.');
    return dot == std::string::npos ? "" : path.substr(dot);
}

// Up to and including the last "/".
std::string DirPartOf(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

bool DigestFile(FILE* file, Handles::Sha256Digest& digest)
{
    Handles::Sha256 hash;
    std::array<char, HASH_CHUNK_SIZE + 1> buffer{};
    size_t count = 0;
    do {
        buffer.fill('\0');
        count = fread(buffer.data(), 1, HASH_CHUNK_SIZE, file);
        hash.Add(buffer.data(), count);
    } while (count == HASH_CHUNK_SIZE);
    return ferror(file) == 0 && hash.Finish(digest);
}

std::string JoinEntries(const std::string& label, const std::vector<std::string>& entries)
{
    std::string text = label + ": {";
    for (const auto& entry : entries) {
        text += entry + ",";
    }
    return text + "}";
}
} // namespace

bool TvpkPackageManager::InitAPatchInfo(const std::string& bundleName)
{
    if (!isPreconditionPassed_) {
        TAVOMEND_LOG_E("condition check result is false");
        RecordAppError(bundleName, ERROR_INIT_NOT_PASSED);
        return false;
    }
    if (packageInfo_ == nullptr) {
        TAVOMEND_LOG_E("packageInfo is null");
        RecordAppError(bundleName, ERROR_INIT_NO_CONFIG);
        return false;
    }
    const auto* appInfo = FindApp(bundleName);
    if (appInfo == nullptr) {
        TAVOMEND_LOG_E("pacakgeInfo not found this bundleName");
        DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(ERROR_KEY_UNKNOWN_APP, ERROR_INIT_UNKNOWN_BUNDLE);
        return false;
    }
    APatchInfo info = ParseAPatchInfo(*appInfo);
    info.state = APP_MUST_PATCH;
    if (appInfo->appPatchType == PATCH_TYPE_HOT && IsTargetAppVersion(bundleName, appInfo->version)) {
        TAVOMEND_LOG_I("app is fix, skip");
        info.state = APP_FIXED;
    }
    TAVOMEND_LOG_I("init APatchInfo, %{public}s, state: %d", bundleName.c_str(), info.state);
    StoreAPatchInfo(info);
    return true;
}

TvpkPackageManager::APatchInfo TvpkPackageManager::ParseAPatchInfo(const ParseAppConfigTool::AppInfo& appInfo)
{
    APatchInfo info;
    info.bundleName = appInfo.bundleName;
    info.appSequence = appInfo.sequence;
    info.version = appInfo.version;
    info.preVersion = appInfo.preVersion;
    info.appType = appInfo.appType;
    info.appPatchType = appInfo.appPatchType;
    info.fileNum = appInfo.fileNum;
    GetAbsoluteDiffPath(appInfo, info);
    info.targetFiles = appInfo.diffPaths;
    info.basePaths = appInfo.basePaths;
    info.appsHashs = appInfo.appsHashs;
    info.restoreProductPaths = GetRestoreProductPaths(info.diffPaths, info.basePaths);
    info.state = APP_PARSED;
    return info;
}

bool TvpkPackageManager::GetAPatchInfo(const std::string& bundleName, APatchInfo& info)
{
    auto found = aPatchInfos_.find(bundleName);
    if (found == aPatchInfos_.end()) {
        if (!InitAPatchInfo(bundleName)) {
            TAVOMEND_LOG_E("get and Init failed, bundleName: %{public}s", bundleName.c_str());
            return false;
        }
        found = aPatchInfos_.find(bundleName);
    }
    if (found == aPatchInfos_.end()) {
        TAVOMEND_LOG_E("get aPatchInfo failed, bundleName: %{public}s", bundleName.c_str());
        return false;
    }
    info = found->second;
    return true;
}

void TvpkPackageManager::GetAbsoluteDiffPath(const ParseAppConfigTool::AppInfo& appInfo, APatchInfo& info)
{
    for (size_t i = 0; i < appInfo.diffPaths.size(); ++i) {
        std::string subDir = appInfo.appType;
        // A service framework's companion that lives among the ordinary applications.
        if (subDir == APP_TYPE_SERVICE_FWK && appInfo.basePaths[i].find(APP_TYPE_SERVICE_FWK) == std::string::npos) {
            subDir = APP_TYPE_INTERNAL;
        }
        info.diffPaths.push_back(std::string(Formats::WORK_DIR) + "/" + appInfo.appPatchType + "/" + subDir +
                                 appInfo.diffPaths[i]);
    }
}

std::vector<std::string> TvpkPackageManager::GetRestoreProductPaths(const std::vector<std::string>& diffPaths,
                                                                    const std::vector<std::string>& basePaths)
{
    TAVOMEND_LOG_I("restoreProductPaths begin");
    std::vector<std::string> products;
    for (size_t i = 0; i < diffPaths.size(); ++i) {
        const std::string suffix = SuffixOf(diffPaths[i]);
        TAVOMEND_LOG_I("diffPath: %{public}s, fileSuffix: %{public}s", diffPaths[i].c_str(), suffix.c_str());
        if (suffix != Formats::DIFF_SUFFIX) {
            products.push_back(diffPaths[i]);
            continue;
        }
        const std::string product = GetRestoreProductPath(diffPaths[i], basePaths[i]);
        TAVOMEND_LOG_I("restoreProductPath: %{public}s", product.c_str());
        products.push_back(product);
    }
    return products;
}

std::string TvpkPackageManager::GetRestoreProductPath(const std::string& diffPath, const std::string& basePath)
{
    return DirPartOf(diffPath) + GetFileName(basePath) + SuffixOf(basePath);
}

std::string TvpkPackageManager::GetFileName(const std::string& path)
{
    const size_t start = path.rfind('/') + 1; // a path without "/" counts from its start
    const size_t dot = path.rfind('.');       // without ".", all that is left is the name
    if (dot <= start) {
        TAVOMEND_LOG_E("get fileName failed");
        return "";
    }
    return path.substr(start, dot - start);
}

bool TvpkPackageManager::ExactAPatch(const std::string& bundleName)
{
    APatchInfo info;
    if (!GetAPatchInfo(bundleName, info)) {
        TAVOMEND_LOG_E("GetAPatchInfo failed, bundleName: %{public}s", bundleName.c_str());
        RecordAppError(bundleName, ERROR_EXACT_NO_RECORD);
        return false;
    }
    if (info.state == APP_FIXED) {
        TAVOMEND_LOG_I("app is fix, skip");
        return true;
    }
    if (info.state != APP_MUST_PATCH) {
        TAVOMEND_LOG_E("ExactAPatch end: %d", info.state);
        if (info.state == APP_EXACTED) {
            return true;
        }
        RecordAppError(bundleName, ERROR_EXACT_WRONG_STATE);
        return false;
    }
    bool isExacted = false;
    if (info.appPatchType == PATCH_TYPE_COLD) {
        isExacted = CheckExactAPatchRes(info);
        if (!isExacted) {
            RecordAppError(bundleName, ERROR_COLD_FILES_MISSING);
        }
    } else {
        isExacted = ExactHotFiles(info);
    }
    info.state = isExacted ? APP_EXACTED : APP_EXACT_FAILED;
    StoreAPatchInfo(info);
    return isExacted;
}

bool TvpkPackageManager::ExactHotFiles(const APatchInfo& info)
{
    std::vector<ParseZipTool::UnZipTargetInfo> targets;
    for (size_t i = 0; i < static_cast<size_t>(info.fileNum); ++i) {
        targets.push_back({info.targetFiles[i], info.diffPaths[i]});
    }
    const bool isExacted = zipTool_->UnZipTargetFiles(targets);
    if (!isExacted) {
        RecordAppError(info.bundleName, ERROR_EXACT_FAILED);
    }
    TAVOMEND_LOG_W("exact aPatch result: %{public}d, bundleName: %{public}s", static_cast<int>(isExacted),
                   info.bundleName.c_str());
    return isExacted;
}

bool TvpkPackageManager::CheckExactAPatchRes(const APatchInfo& info)
{
    for (size_t i = 0; i < static_cast<size_t>(info.fileNum); ++i) {
        if (!FileUtils::FileIsExist(info.diffPaths[i])) {
            TAVOMEND_LOG_E("file is not exist, bundleName: %{public}s", info.bundleName.c_str());
            RecordAppError(info.bundleName, ERROR_FILE_MISSING);
            return false;
        }
        ResetPathGidAndUid(info.diffPaths[i]);
    }
    TAVOMEND_LOG_I("check exact aPatch success, bundleName: %{public}s", info.bundleName.c_str());
    return true;
}

void TvpkPackageManager::ResetPathGidAndUid(const std::string& path)
{
    std::string current = path;
    while (current != Formats::WORK_DIR) {
        FileUtils::SetGidAndUidToTavomend(current);
        const size_t slash = current.rfind('/');
        if (slash == std::string::npos) {
            return;
        }
        current.resize(slash);
    }
}

bool TvpkPackageManager::RestoreAPatch(const std::string& bundleName)
{
    APatchInfo info;
    if (!GetAPatchInfo(bundleName, info)) {
        TAVOMEND_LOG_E("get aPatchInfo failed");
        RecordAppError(bundleName, ERROR_RESTORE_NO_RECORD);
        return false;
    }
    if (info.state == APP_FIXED) {
        TAVOMEND_LOG_I("app is install state, skip");
    } else if (info.state == APP_EXACTED) {
        RestoreExacted(info);
        StoreAPatchInfo(info);
    }
    TAVOMEND_LOG_W("restore aPatch end, app state: %d", info.state);
    return info.state == APP_RESTORED || info.state == APP_FIXED;
}

void TvpkPackageManager::RestoreExacted(APatchInfo& info)
{
    if (info.restoreProductPaths.empty()) {
        TAVOMEND_LOG_I("restore failed, restoreProductPaths is empty");
        RecordAppError(info.bundleName, ERROR_RESTORE_NO_PRODUCTS);
        return;
    }
    if (RestoreAppFile(info)) {
        info.state = APP_RESTORED;
        return;
    }
    RecordAppError(info.bundleName, ERROR_RESTORE_FAILED);
    const std::string dirPath = DirPartOf(info.restoreProductPaths.front());
    TAVOMEND_LOG_I("dirPath: %{public}s", dirPath.c_str());
    if (!FileUtils::CleanDir(dirPath, true)) {
        TAVOMEND_LOG_E("remove dir failed, dirPath: %{public}s", dirPath.c_str());
        RecordAppError(info.bundleName, ERROR_RESTORE_CLEAN_FAILED);
    }
    info.state = APP_RESTORE_FAILED;
}

bool TvpkPackageManager::RestoreAppFile(const APatchInfo& info)
{
    for (size_t i = 0; i < static_cast<size_t>(info.fileNum); ++i) {
        const std::string& product = info.restoreProductPaths[i];
        if (SuffixOf(info.diffPaths[i]) == Formats::DIFF_SUFFIX) {
            if (restoreTool_->RestoreFile(info.diffPaths[i], info.basePaths[i], product) != 0) {
                TAVOMEND_LOG_E("restore app failed, bundleName: %{public}s", info.bundleName.c_str());
                RecordAppError(info.bundleName, ERROR_RESTORE_FILE_FAILED);
                return false;
            }
            if (remove(info.diffPaths[i].c_str()) != 0) {
                TAVOMEND_LOG_E("remove file failed, filePath: %{public}s", info.diffPaths[i].c_str());
            }
        }
        if (!CheckFileHash(product, info.appsHashs[i])) {
            TAVOMEND_LOG_E("check app hash failed, bundleName: %{public}s", info.bundleName.c_str());
            RecordAppError(info.bundleName, ERROR_HASH_MISMATCH);
            return false;
        }
    }
    TAVOMEND_LOG_I("restore bundleName: %{public}s success", info.bundleName.c_str());
    return true;
}

bool TvpkPackageManager::CheckFileHash(const std::string& path, const std::string& hash)
{
    const std::string currentHash = GetFileSHA256(path);
    TAVOMEND_LOG_I("currentHash: %{public}s, hash: %{public}s", currentHash.c_str(), hash.c_str());
    if (strcasecmp(currentHash.c_str(), hash.c_str()) != 0) {
        return false;
    }
    TAVOMEND_LOG_I("check file hash success");
    return true;
}

std::string TvpkPackageManager::GetFileSHA256(const std::string& path)
{
    TAVOMEND_LOG_I("filePath: %{public}s", path.c_str());
    if (!FileUtils::IsValidPath(path)) {
        TAVOMEND_LOG_E("filePath: %{public}s is an invalid path", path.c_str());
        return "";
    }
    const Handles::File file(fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        TAVOMEND_LOG_E("filePath: %{public}s, errorMessage:%{public}s", path.c_str(), strerror(errno));
        return "";
    }
    Handles::Sha256Digest digest{};
    if (!DigestFile(file.get(), digest)) {
        return "";
    }
    std::string text;
    for (const unsigned char byte : digest) {
        std::array<char, 3> digits{};
        if (sprintf_s(digits.data(), digits.size(), "%02x", byte) < 0) {
            TAVOMEND_LOG_E("sprintf_s error");
            return "";
        }
        text += digits.data();
    }
    return text;
}

std::string TvpkPackageManager::DumpAPatchInfo(const APatchInfo& info)
{
    // The irregular blanks are part of the format.
    return "dump: [bundleName: " + info.bundleName + ",version:" + std::to_string(info.version) +
           ",preVersion: " + std::to_string(info.preVersion) + ",appType:" + info.appType +
           ",appPatchType: " + info.appPatchType + ",fileNum:" + std::to_string(info.fileNum) + "," +
           JoinEntries("targetFiles", info.targetFiles) + "," + JoinEntries("diffPaths", info.diffPaths) + "," +
           JoinEntries("basePaths", info.basePaths) + "," + JoinEntries("appsHashs", info.appsHashs) + "," +
           JoinEntries("restoreProductPaths", info.restoreProductPaths) + "]";
}

void TvpkPackageManager::StoreAPatchInfo(const APatchInfo& info)
{
    aPatchInfos_[info.bundleName] = info;
}

void TvpkPackageManager::RecordAppError(const std::string& bundleName, int32_t code)
{
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(GetAppSequence(bundleName), code);
}
} // namespace ORVX::TavomendEngine
