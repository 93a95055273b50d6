#include "package/app_restorer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <strings.h>
#include <vector>

#include "common/app_constants.h"
#include "common/log.h"
#include "formats/device_paths.h"
#include "handles/file.h"
#include "handles/sha256.h"
#include "package/restore_paths.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t ERROR_EXACT_WRONG_STATE = 420;
constexpr int32_t ERROR_COLD_FILES_MISSING = 430;
constexpr int32_t ERROR_FILE_MISSING = 431;
constexpr int32_t ERROR_EXACT_FAILED = 440;
constexpr int32_t ERROR_RESTORE_FAILED = 611;
constexpr int32_t ERROR_RESTORE_FILE_FAILED = 612;
constexpr int32_t ERROR_RESTORE_CLEAN_FAILED = 613;
constexpr int32_t ERROR_RESTORE_NO_PRODUCTS = 620;
constexpr int32_t ERROR_HASH_MISMATCH = 640;

constexpr size_t HASH_CHUNK_SIZE = 1024;
constexpr size_t READ_SIZE = 128 * HASH_CHUNK_SIZE; // at once, which spares calls of the system

size_t FileCountOf(const AppRestoreRecord& record)
{
    return static_cast<size_t>(std::max(record.fileNum, 0));
}

bool DigestFile(FILE* file, Handles::Sha256Digest& digest)
{
    Handles::Sha256 hash;
    std::vector<char> room(READ_SIZE);
    size_t count = 0;
    while ((count = fread(room.data(), 1, room.size(), file)) > 0) {
        for (size_t at = 0; at < count; at += HASH_CHUNK_SIZE) {
            hash.Add(room.data() + at, std::min(HASH_CHUNK_SIZE, count - at));
        }
    }
    return ferror(file) == 0 && hash.Finish(digest);
}
} // namespace

AppRestorer::AppRestorer(sptr<ParseZipTool> zipTool, sptr<RestoreTool> restoreTool, RecordError recordError)
    : zipTool_(std::move(zipTool)), restoreTool_(std::move(restoreTool)), recordError_(std::move(recordError))
{
}

bool AppRestorer::Exact(AppRestoreRecord& record)
{
    if (record.state == APP_FIXED) {
        TAVOMEND_LOG_I("app is fix, skip");
        return true;
    }
    if (record.state != APP_MUST_PATCH) {
        TAVOMEND_LOG_E("ExactAPatch end: %d", record.state);
        if (record.state != APP_EXACTED) {
            recordError_(record.bundleName, ERROR_EXACT_WRONG_STATE);
        }
        return record.state == APP_EXACTED;
    }
    const bool isCold = record.appPatchType == PATCH_TYPE_COLD;
    const bool isExacted = isCold ? CheckFiles(record) : ExactHotFiles(record);
    if (!isExacted) {
        recordError_(record.bundleName, isCold ? ERROR_COLD_FILES_MISSING : ERROR_EXACT_FAILED);
    }
    record.state = isExacted ? APP_EXACTED : APP_EXACT_FAILED;
    return isExacted;
}

bool AppRestorer::ExactHotFiles(const AppRestoreRecord& record)
{
    std::vector<ParseZipTool::UnZipTargetInfo> targets;
    for (size_t i = 0; i < FileCountOf(record); ++i) {
        targets.push_back({record.targetFiles[i], record.diffPaths[i]});
    }
    const bool isExacted = zipTool_->UnZipTargetFiles(targets);
    TAVOMEND_LOG_W("exact aPatch result: %{public}d, bundleName: %{public}s", static_cast<int>(isExacted),
                   record.bundleName.c_str());
    return isExacted;
}

bool AppRestorer::CheckFiles(const AppRestoreRecord& record)
{
    for (size_t i = 0; i < FileCountOf(record); ++i) {
        if (!FileUtils::FileIsExist(record.diffPaths[i])) {
            TAVOMEND_LOG_E("file is not exist, bundleName: %{public}s", record.bundleName.c_str());
            recordError_(record.bundleName, ERROR_FILE_MISSING);
            return false;
        }
        ResetPathGidAndUid(record.diffPaths[i]);
    }
    TAVOMEND_LOG_I("check exact aPatch success, bundleName: %{public}s", record.bundleName.c_str());
    return true;
}

void AppRestorer::ResetPathGidAndUid(const std::string& path)
{
    std::string current = path;
    size_t slash = 0;
    while (current != Formats::WORK_DIR && slash != std::string::npos) {
        FileUtils::SetGidAndUidToTavomend(current);
        slash = current.rfind('/');
        current = current.substr(0, slash);
    }
}

bool AppRestorer::Restore(AppRestoreRecord& record)
{
    if (record.state == APP_FIXED) {
        TAVOMEND_LOG_I("app is install state, skip");
    } else if (record.state == APP_EXACTED) {
        record.state = RestoreExacted(record);
    }
    TAVOMEND_LOG_W("restore aPatch end, app state: %d", record.state);
    return record.state == APP_RESTORED || record.state == APP_FIXED;
}

AppRestoreState AppRestorer::RestoreExacted(const AppRestoreRecord& record)
{
    if (record.restoreProductPaths.empty()) {
        TAVOMEND_LOG_I("restore failed, restoreProductPaths is empty");
        recordError_(record.bundleName, ERROR_RESTORE_NO_PRODUCTS);
        return APP_EXACTED;
    }
    if (RebuildFiles(record)) {
        return APP_RESTORED;
    }
    recordError_(record.bundleName, ERROR_RESTORE_FAILED);
    const std::string dirPath = RestorePaths::DirPartOf(record.restoreProductPaths.front());
    TAVOMEND_LOG_I("dirPath: %{public}s", dirPath.c_str());
    if (!FileUtils::CleanDir(dirPath, true)) {
        TAVOMEND_LOG_E("remove dir failed, dirPath: %{public}s", dirPath.c_str());
        recordError_(record.bundleName, ERROR_RESTORE_CLEAN_FAILED);
    }
    return APP_RESTORE_FAILED;
}

bool AppRestorer::RebuildFiles(const AppRestoreRecord& record)
{
    for (size_t i = 0; i < FileCountOf(record); ++i) {
        const std::string& diff = record.diffPaths[i];
        const std::string& product = record.restoreProductPaths[i];
        if (RestorePaths::IsDifference(diff)) {
            if (restoreTool_->RestoreFile(diff, record.basePaths[i], product) != 0) {
                TAVOMEND_LOG_E("restore app failed, bundleName: %{public}s", record.bundleName.c_str());
                recordError_(record.bundleName, ERROR_RESTORE_FILE_FAILED);
                return false;
            }
            if (!FileUtils::Remove(diff)) {
                TAVOMEND_LOG_E("remove file failed, filePath: %{public}s", diff.c_str());
            }
        }
        if (!CheckFileHash(product, record.appsHashs[i])) {
            TAVOMEND_LOG_E("check app hash failed, bundleName: %{public}s", record.bundleName.c_str());
            recordError_(record.bundleName, ERROR_HASH_MISMATCH);
            return false;
        }
    }
    TAVOMEND_LOG_I("restore bundleName: %{public}s success", record.bundleName.c_str());
    return true;
}

bool AppRestorer::CheckProducts(const AppRestoreRecord& record)
{
    for (size_t i = 0; i < FileCountOf(record); ++i) {
        const std::string& product = record.restoreProductPaths[i];
        if (FileUtils::FileIsExist(product) && !CheckFileHash(product, record.appsHashs[i])) {
            TAVOMEND_LOG_E("check app hash failed, bundleName: %{public}s", record.bundleName.c_str());
            recordError_(record.bundleName, ERROR_HASH_MISMATCH);
            return false;
        }
    }
    return true;
}

bool AppRestorer::CheckFileHash(const std::string& path, const std::string& hash)
{
    const std::string currentHash = GetFileSHA256(path);
    TAVOMEND_LOG_I("currentHash: %{public}s, hash: %{public}s", currentHash.c_str(), hash.c_str());
    if (strcasecmp(currentHash.c_str(), hash.c_str()) != 0) {
        return false;
    }
    TAVOMEND_LOG_I("check file hash success");
    return true;
}

std::string AppRestorer::GetFileSHA256(const std::string& path)
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
    return DigestFile(file.get(), digest) ? Handles::Sha256Text(digest) : "";
}
} // namespace ORVX::TavomendEngine
