#include "hosting/device_view.h"

#include "formats/device_paths.h"
#include "formats/patch_config.h"
#include "formats/zip_archive.h"
#include "hosting/error_text.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/tavomend_status_record.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::FileUtils;
using TavomendEngine::TavomendStatusRecord;

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
    const auto archive = Formats::ZipArchive::Open(path, error);
    const auto text =
        archive ? archive->ReadMember(Formats::CONFIG_MEMBER_NAME, Formats::MAX_CONFIG_SIZE, error) : std::nullopt;
    std::vector<std::string> problems;
    const auto config = text ? Formats::ParsePatchConfig(*text, problems) : std::nullopt;
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
    view.explanation = ExplainDetail(port, view.detail, bundleNames);
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
