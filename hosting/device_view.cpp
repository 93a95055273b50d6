#include "hosting/device_view.h"

#include <sys/stat.h>

#include "formats/device_paths.h"
#include "formats/patch_config.h"
#include "formats/status_words.h"
#include "hosting/error_text.h"
#include "hosting/kept_packages.h"
#include "hosting/revoke_request.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/tavomend_status_record.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::FileUtils;
using TavomendEngine::TavomendStatusRecord;

namespace {
struct Pair {
    const char* package;
    const char* signature;
};
constexpr Pair NO_PAIR = {"", ""};
constexpr Pair DELIVERED = {Formats::PACKAGE_PATH, Formats::SIGN_PATH};
constexpr Pair BACKUP = {Formats::BACKUP_PACKAGE_PATH, Formats::BACKUP_SIGN_PATH};

struct Places {
    Pair inForce = BACKUP;
    Pair pending = DELIVERED;
};

// A patch in force that a query has not given back yet: as the next operation will read it.
bool IsBorrowed()
{
    std::string version;
    const std::string status = ReadStatusWord(version);
    return IsPackageDelivered() && !FileUtils::FileIsExist(Formats::BACKUP_PACKAGE_PATH) &&
           !FileUtils::FileIsExist(Formats::BACKUP_SIGN_PATH) && status == Formats::STATUS_ACTIVITES &&
           !version.empty() && ReadPackageFacts().version == version;
}

Places FindPlaces()
{
    if (FileUtils::FileIsExist(KEPT_PACKAGE)) {
        return {{KEPT_BACKUP_PACKAGE, KEPT_BACKUP_SIGNATURE}, {KEPT_PACKAGE, KEPT_SIGNATURE}};
    }
    return IsBorrowed() ? Places{DELIVERED, NO_PAIR} : Places{};
}

std::time_t TimeOf(const char* path)
{
    struct stat info {};
    return stat(path, &info) == 0 ? info.st_mtime : 0;
}

NextStep NextStepOf(const DeviceView& view)
{
    if (view.pending.state == PackageState::KNOWN && view.pending.refusal.empty()) {
        return view.needsBoot ? NextStep::BOOT : NextStep::APPLY;
    }
    if (view.pending.state == PackageState::NONE && !view.revoking.empty()) {
        return NextStep::BOOT;
    }
    const bool isInForce = view.inForce.state == PackageState::KNOWN && view.isWhole;
    return view.pending.state == PackageState::NONE && isInForce && !LastOperationOf(view.record).isFailed
               ? NextStep::NOTHING
               : NextStep::DELIVER;
}
} // namespace

bool IsPackageDelivered()
{
    return FileUtils::FileIsExist(Formats::PACKAGE_PATH) && FileUtils::FileIsExist(Formats::SIGN_PATH);
}

bool IsBackupThere()
{
    return FileUtils::FileIsExist(Formats::BACKUP_PACKAGE_PATH) && FileUtils::FileIsExist(Formats::BACKUP_SIGN_PATH);
}

PackageFacts ReadPackageFacts()
{
    std::string error;
    const std::string path = IsPackageDelivered() ? Formats::PACKAGE_PATH : Formats::BACKUP_PACKAGE_PATH;
    const auto config = ReadConfig(path, error);
    PackageFacts facts;
    if (config) {
        facts.version = config->version;
        facts.needReboot = config->needReboot;
        facts.isRevoke = config->action == Formats::ACTION_REVOKE;
        facts.apps = config->appsList;
        for (const auto& app : config->appsList) {
            facts.bundleNames.push_back(app.bundleName);
        }
    }
    return facts;
}

std::string WhyBootIsNeeded()
{
    if (!IsPackageDelivered()) {
        return "";
    }
    const auto facts = ReadPackageFacts();
    if (facts.isRevoke) {
        return "the package takes the patch off, which happens in a boot: `tavomend boot`";
    }
    std::string names;
    for (const auto& app : facts.apps) {
        if (app.appPatchType == Formats::PATCH_TYPE_COLD) {
            names += (names.empty() ? "" : ", ") + app.bundleName;
        }
    }
    return names.empty() ? "" : "a boot takes cold applications in (" + names + "): `tavomend boot`";
}

StatusView ReadStatus(const IDevicePort& port, const std::vector<std::string>& bundleNames)
{
    TavomendStatusRecord record;
    record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    StatusView view;
    view.status = record.GetStatus(view.version);
    view.detail = record.GetStatusFromFile();
    view.explanation = ExplainDetail(port, view.detail, bundleNames, WhyNoPublicKey());
    return view;
}

LastOperation LastOperationOf(const StatusView& record)
{
    struct Word {
        const char* status;
        LastOperation last;
    };
    constexpr Word WORDS[] = {
        {Formats::STATUS_IDLE, {Operation::NONE, false}},
        {Formats::STATUS_IDLE_FAILED, {Operation::CLEAR, true}},
        {Formats::STATUS_READY, {Operation::LOAD, false}},
        {Formats::STATUS_READY_FAILED, {Operation::LOAD, true}},
        {Formats::STATUS_ACTIVITES, {Operation::APPLY, false}},
        {Formats::STATUS_ACTIVITES_FAILED, {Operation::APPLY, true}},
    };
    for (const auto& word : WORDS) {
        if (record.status == word.status) {
            return word.last;
        }
    }
    return {};
}

PackagesView ViewPackages()
{
    PackagesView view;
    const Places places = FindPlaces();
    view.inForce = ViewPackage(places.inForce.package, places.inForce.signature);
    view.pending = ViewPackage(places.pending.package, places.pending.signature);
    view.since = view.inForce.state == PackageState::NONE ? 0 : TimeOf(places.inForce.package);
    return view;
}

DeviceView ViewDevice(const IDevicePort& port)
{
    DeviceView view;
    static_cast<PackagesView&>(view) = ViewPackages();
    view.record = ReadStatus(port, ReadPackageFacts().bundleNames);
    view.isWhole = view.inForce.state != PackageState::KNOWN || view.record.version != view.inForce.version ||
                   view.record.status != Formats::STATUS_ACTIVITES_FAILED;
    view.needsBoot = NeedsBoot(view.pending);
    view.revoking = ReadRevokeRequest();
    for (const auto& name : TakenBack()) {
        if (FindApp(view.inForce, name) != nullptr) {
            view.takenBack.insert(name);
        }
    }
    view.next = NextStepOf(view);
    return view;
}

std::string ReadStatusWord()
{
    std::string version;
    return ReadStatusWord(version);
}

std::string ReadStatusWord(std::string& version)
{
    TavomendStatusRecord record;
    record.InitStatusRecord(Formats::STATUS_DIR, Formats::STATUS_RECORD_NAME);
    return record.GetStatus(version);
}
} // namespace ORVX::TavomendHosting
