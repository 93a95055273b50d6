#include "hosting/delivery.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "formats/device_paths.h"
#include "formats/patch_paths.h"
#include "formats/recover_list.h"
#include "formats/signature.h"
#include "formats/status_words.h"
#include "formats/zip_archive.h"
#include "hosting/device_view.h"
#include "hosting/difference_check.h"
#include "hosting/kept_packages.h"
#include "hosting/package_view.h"
#include "hosting/revoke_request.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendHosting {
using Formats::AppInfo;
using Formats::PackageInfo;
using Formats::RecoverList;
using Formats::ZipArchive;
using TavomendEngine::FileUtils;
using TavomendEngine::SysUtils;

namespace {
// Files of a package that is being judged.
constexpr const char* INCOMING_FILES = "/data/update/tavomend/package/incoming.files";

// A whole bundle file is taken in by the next scan as it is, so it must be the one that the configuration means.
bool LayOutFile(const ZipArchive& archive, const AppInfo& app, size_t index, const std::string& path,
                std::string& error)
{
    const std::string& target = app.diffPaths[index];
    const auto member = Formats::MemberNameOf(target);
    if (!member) {
        error = "the configuration names the member " + target + " without its \"/\"";
        return false;
    }
    if (!archive.ExtractMember(*member, path, error)) {
        return false;
    }
    if (!Formats::IsDifference(path) &&
        !Formats::IsSameHash(Formats::Sha256OfFile(path, error), app.appsHashs[index])) {
        std::remove(path.c_str());
        error = target + " does not have the stated hash";
        return false;
    }
    return true;
}

bool IsOfColdApp(const AppInfo& app)
{
    return app.appPatchType == Formats::PATCH_TYPE_COLD;
}

// Lays a file out where nobody looks for it.
bool CheckColdFile(const ZipArchive& archive, const AppInfo& app, size_t index, std::string& error)
{
    const std::string path = Formats::ExtractedPathOf(app, index);
    if (!FileUtils::IsValidPath(path)) {
        error = path + " is not a path below the work directory";
        return false;
    }
    const std::string apart = std::string(INCOMING_FILES) + "/file";
    return LayOutFile(archive, app, index, Formats::IsDifference(path) ? apart + Formats::DIFF_SUFFIX : apart, error);
}

bool CheckFiles(const PackageInfo& config, const IDevicePort& port, std::string& error)
{
    const auto archive = ZipArchive::Open(INCOMING_PACKAGE, error);
    bool isWhole = archive.has_value();
    for (const auto& app : config.appsList) {
        for (size_t i = 0; isWhole && IsOfColdApp(app) && i < app.diffPaths.size(); ++i) {
            isWhole = CheckColdFile(*archive, app, i, error);
            FileUtils::CleanDir(INCOMING_FILES, true);
        }
    }
    if (isWhole) {
        error = WhyNotApplicable(*archive, config, port);
    }
    return isWhole && error.empty();
}

bool LayOutColdFiles(const std::string& package, const PackageInfo& config, bool onlyMissing, std::string& error)
{
    const auto archive = ZipArchive::Open(package, error);
    if (!archive) {
        return false;
    }
    bool isWhole = true;
    for (const auto& app : config.appsList) {
        for (size_t i = 0; IsOfColdApp(app) && i < app.diffPaths.size(); ++i) {
            const std::string path = Formats::ExtractedPathOf(app, i);
            if (FileUtils::IsValidPath(path) && !(onlyMissing && FileUtils::FileIsExist(path))) {
                isWhole = LayOutFile(*archive, app, i, path, error) && isWhole;
            }
        }
    }
    return isWhole;
}

// What a recover list keeps without these bundles; nothing where it may stay as it is: none, one that has none of them,
// or a damaged one, which the scan tells of.
std::optional<std::vector<std::string>> KeptNames(const std::string& path, const std::vector<std::string>& bundleNames)
{
    const RecoverList list = Formats::ReadRecoverList(path);
    if (list.kind != RecoverList::Kind::WHOLE) {
        return std::nullopt;
    }
    std::vector<std::string> kept;
    std::copy_if(list.names.begin(), list.names.end(), std::back_inserter(kept), [&bundleNames](const auto& name) {
        return std::find(bundleNames.begin(), bundleNames.end(), name) == bundleNames.end();
    });
    return kept.empty() || kept != list.names ? std::optional(std::move(kept)) : std::nullopt;
}

bool PruneList(const std::string& path, const std::vector<std::string>& bundleNames)
{
    const auto kept = KeptNames(path, bundleNames);
    if (kept && kept->empty()) {
        // Flushed: a list that comes back would take the new patch off again at each scan.
        return std::remove(path.c_str()) == 0 && FileUtils::SyncDir(Formats::WORK_DIR);
    }
    return !kept || FileUtils::ReplaceFile(path, Formats::PrintRecoverList(*kept), 0644);
}

std::vector<std::string> NamesOf(const PackageInfo& config)
{
    std::vector<std::string> names;
    for (const auto& app : config.appsList) {
        names.push_back(app.bundleName);
    }
    return names;
}

// What a newer patch leaves of a request to revoke; a revoke package names no applications, and takes all of them back.
std::set<std::string> KeptRequest(const PackageInfo& config, const std::set<std::string>& asked)
{
    auto kept = config.action == Formats::ACTION_REVOKE ? std::set<std::string>{} : asked;
    for (const auto& app : config.appsList) {
        kept.erase(app.bundleName);
    }
    return kept;
}

// A newer patch ends an older revoke of the same applications, and the wish for one.
bool EndEarlierRevokes(const PackageInfo& config)
{
    const auto asked = ReadRevokeRequest();
    const auto kept = KeptRequest(config, asked);
    return PruneRecoverLists(NamesOf(config)) && (kept == asked || WriteRevokeRequest(kept));
}

bool IsColdFileMissing(const PackageInfo& config)
{
    return std::any_of(config.appsList.begin(), config.appsList.end(), [](const AppInfo& app) {
        bool isMissing = false;
        for (size_t i = 0; IsOfColdApp(app) && !isMissing && i < app.diffPaths.size(); ++i) {
            const std::string path = Formats::ExtractedPathOf(app, i);
            isMissing = FileUtils::IsValidPath(path) && !FileUtils::FileIsExist(path);
        }
        return isMissing;
    });
}

// As far as the configuration tells, which nobody has vouched for yet.
bool IsSomethingLeftToDo(const PackageInfo& config)
{
    const auto names = NamesOf(config);
    const auto asked = ReadRevokeRequest();
    return IsColdFileMissing(config) || KeptNames(Formats::RECOVER_LIST_PATH, names) ||
           KeptNames(Formats::BACKUP_RECOVER_LIST_PATH, names) || KeptRequest(config, asked) != asked;
}

void MoveToBackup()
{
    FileUtils::RenameFile(Formats::PACKAGE_PATH, Formats::BACKUP_PACKAGE_PATH);
    FileUtils::RenameFile(Formats::SIGN_PATH, Formats::BACKUP_SIGN_PATH);
}

void MoveToDelivered()
{
    FileUtils::RenameFile(Formats::BACKUP_PACKAGE_PATH, Formats::PACKAGE_PATH);
    FileUtils::RenameFile(Formats::BACKUP_SIGN_PATH, Formats::SIGN_PATH);
}

void RemoveFiles(const char* package, const char* signature)
{
    FileUtils::CleanDir(package, true);
    FileUtils::CleanDir(signature, true);
}

bool IsPartOfBackupThere()
{
    return FileUtils::FileIsExist(Formats::BACKUP_PACKAGE_PATH) || FileUtils::FileIsExist(Formats::BACKUP_SIGN_PATH);
}

// Package under one of its names, signature under the other one, and nothing else.
bool IsOnePackageOnItsWay()
{
    const bool isPackageDelivered = FileUtils::FileIsExist(Formats::PACKAGE_PATH);
    const bool isSignDelivered = FileUtils::FileIsExist(Formats::SIGN_PATH);
    return isPackageDelivered != isSignDelivered &&
           FileUtils::FileIsExist(Formats::BACKUP_PACKAGE_PATH) == isSignDelivered &&
           FileUtils::FileIsExist(Formats::BACKUP_SIGN_PATH) == isPackageDelivered;
}
} // namespace

std::optional<PackageInfo> JudgePackage(const std::string& package, const std::string& signature, std::string& reason)
{
    if (!Formats::VerifyFile(package, signature, Formats::PUBLIC_KEY_PATH, reason)) {
        return std::nullopt;
    }
    auto config = ReadConfig(package, reason);
    if (!config) {
        return std::nullopt;
    }
    if (reason = Formats::WhyNeverApplied(*config); !reason.empty()) {
        return std::nullopt;
    }
    const auto& versions = config->productVersion;
    const std::string baseVersion = SysUtils::GetBaseVersion();
    if (std::find(versions.begin(), versions.end(), baseVersion) == versions.end()) {
        reason = baseVersion.empty()
                     ? std::string("the device's base version cannot be read from ") + TavomendEngine::OS_RELEASE_PATH
                     : "it is not made for base version " + baseVersion;
        return std::nullopt;
    }
    return config;
}

bool Deliver(const IDevicePort& port, Refused refused, std::string& refusal, std::string& error)
{
    auto config = JudgePackage(INCOMING_PACKAGE, INCOMING_SIGNATURE, refusal);
    if (config && !CheckFiles(*config, port, refusal)) {
        config.reset();
    }
    if (!config && refused == Refused::IS_SENT_BACK) {
        RemoveFiles(INCOMING_PACKAGE, INCOMING_SIGNATURE);
        return false;
    }
    if (!PutKeptPackagesBack()) {
        error = "cannot finish what an earlier run has left";
        return false;
    }
    if (!IsBackupThere()) {
        RepairPackagePlaces(); // half of the patch in force may be under the names that are cleared now
    }
    // From here on there is no delivered package until the last rename below.
    for (const char* path : {Formats::SIGN_PATH, Formats::PACKAGE_PATH, Formats::CONFIG_PATH, Formats::HOT_WORK_DIR,
                             Formats::COLD_WORK_DIR}) {
        if (!FileUtils::CleanDir(path, true)) {
            error = std::string("cannot remove ") + path;
            return false;
        }
    }
    // Bundle files of an older package that came back with a power cut would be taken in by a scan.
    if (!FileUtils::SyncDir(Formats::WORK_DIR)) {
        error = std::string("cannot flush ") + Formats::WORK_DIR;
        return false;
    }
    if (config) {
        std::string passing; // it was judged: what is missing now is laid out by the next boot
        static_cast<void>(LayOutColdFiles(INCOMING_PACKAGE, *config, false, passing));
    }
    if (std::rename(INCOMING_PACKAGE, Formats::PACKAGE_PATH) != 0 || !FileUtils::SyncDir(Formats::PACKAGE_DIR) ||
        std::rename(INCOMING_SIGNATURE, Formats::SIGN_PATH) != 0 || !FileUtils::SyncDir(Formats::PACKAGE_DIR)) {
        error = std::string("cannot put the package in place: ") + strerror(errno);
        return false;
    }
    if (config && !EndEarlierRevokes(*config)) {
        error = "cannot rewrite the recover list";
        return false;
    }
    return true;
}

void FinishDelivery()
{
    std::string ignored;
    if (!IsPackageDelivered()) {
        return;
    }
    // A package is large, and its signature is the engine's to check where there is nothing to do here.
    const auto stated = ReadConfig(Formats::PACKAGE_PATH, ignored);
    if (!stated || !IsSomethingLeftToDo(*stated)) {
        return;
    }
    if (const auto config = JudgePackage(Formats::PACKAGE_PATH, Formats::SIGN_PATH, ignored)) {
        static_cast<void>(
            LayOutColdFiles(Formats::PACKAGE_PATH, *config, true, ignored)); // the engine names what is missing
        static_cast<void>(EndEarlierRevokes(*config));
    }
}

void RepairPackagePlaces()
{
    PutKeptPackagesBack();
    std::string version;
    const std::string status = ReadStatusWord(version);
    const bool wasReady = status == Formats::STATUS_READY || status == Formats::STATUS_READY_FAILED;
    const bool isInForce = status == Formats::STATUS_ACTIVITES || status == Formats::STATUS_ACTIVITES_FAILED;
    const bool hasBackup = IsBackupThere();
    if (IsPackageDelivered()) {
        const bool isBorrowed = !IsPartOfBackupThere() && status == Formats::STATUS_ACTIVITES && !version.empty() &&
                                ReadPackageFacts().version == version;
        if (isBorrowed) {
            MoveToBackup();
        } else if (!hasBackup) {
            RemoveFiles(Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH);
        }
    } else if (IsOnePackageOnItsWay()) {
        if (wasReady) {
            MoveToDelivered();
        } else if (isInForce) {
            MoveToBackup();
        }
    } else {
        RemoveFiles(Formats::PACKAGE_PATH, Formats::SIGN_PATH);
        if (!hasBackup || status == Formats::STATUS_IDLE) { // idle: it has been cleared, and came back
            RemoveFiles(Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH);
        } else if (wasReady) {
            MoveToDelivered();
        }
    }
}

void RemoveLeftovers()
{
    // Hot files are extracted again and trusted for their size then, but never flushed: none may outlive a power cut.
    for (const char* path :
         {INCOMING_PACKAGE, INCOMING_SIGNATURE, INCOMING_FILES, Formats::CONFIG_PATH, Formats::HOT_WORK_DIR}) {
        FileUtils::CleanDir(path, true);
        FileUtils::CleanDir(std::string(path) + ".new", true);
    }
    const bool isCleared = ReadStatusWord() == Formats::STATUS_IDLE;
    for (const char* path : {Formats::RECOVER_LIST_PATH, Formats::BACKUP_RECOVER_LIST_PATH, REVOKE_REQUEST}) {
        if (isCleared || Formats::ReadRecoverList(path).kind != RecoverList::Kind::WHOLE) {
            FileUtils::CleanDir(path, true);
        }
        FileUtils::CleanDir(std::string(path) + ".new", true);
    }
}

bool PruneRecoverLists(const std::vector<std::string>& bundleNames)
{
    const bool isPruned = PruneList(Formats::RECOVER_LIST_PATH, bundleNames);
    return PruneList(Formats::BACKUP_RECOVER_LIST_PATH, bundleNames) && isPruned;
}
} // namespace ORVX::TavomendHosting
