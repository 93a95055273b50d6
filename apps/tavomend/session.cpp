#include "apps/tavomend/session.h"

#include "apps/common/package_archive.h"
#include "apps/common/patch_config.h"
#include "apps/tavomend/error_text.h"
#include "common/path_constants.h"
#include "platform/api/kalog.h"
#include "platform/host/bundle_store.h"
#include "platform/host/host_log.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/tavomend_kalog_wrapper.h"
#include "platform/utility/tavomend_status_record.h"

namespace ORVX::TavomendCli {
using TavomendEngine::FileUtils;

namespace {
int32_t StderrLevelOf(int verbosity)
{
    switch (verbosity) {
    case 0:
        return TavomendHost::HOST_LOG_NOTHING;
    case 1:
        return KALOG_WARN;
    case 2:
        return KALOG_INFO;
    default:
        return KALOG_DEBUG;
    }
}
} // namespace

bool Session::EnterRoot()
{
    TavomendHost::HostLog::OpenSyslog();
    TavomendHost::HostLog::SetStderrLevel(StderrLevelOf(options_.verbosity));
    if (options_.verbosity > 2) {
        TavomendEngine::TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_DEBUG);
    }
    if (options_.root == "/") {
        return true;
    }
    std::string error;
    root_ = TavomendHost::DeviceRoot::Enter(options_.root, error);
    if (root_ == nullptr) {
        console_.Fail(error);
    }
    return root_ != nullptr;
}

bool Session::CheckDevice() const
{
    if (!FileUtils::FileIsExist(options_.root + TavomendHost::BUNDLE_STORE_PATH)) {
        console_.Fail(options_.root + " is no device; `tavomend --root DIR device init` makes one in a folder");
        return false;
    }
    return true;
}

bool Session::EnterDevice()
{
    return CheckDevice() && EnterRoot();
}

std::unique_ptr<TavomendHost::HostPlatform> Session::StartPlatform(TavomendHost::ServiceStart start) const
{
    std::string error;
    auto platform = TavomendHost::HostPlatform::Start(start, error);
    if (platform == nullptr) {
        console_.Fail(error);
    }
    return platform;
}

bool IsPackageDelivered()
{
    return FileUtils::FileIsExist(TavomendEngine::PACKAGE_PATH) && FileUtils::FileIsExist(TavomendEngine::SIGN_PATH);
}

bool IsBackupThere()
{
    return FileUtils::FileIsExist(TavomendEngine::BACKUP_PACKAGE_PATH) &&
           FileUtils::FileIsExist(TavomendEngine::BACKUP_SIGN_PATH);
}

std::vector<std::string> ReadBundleNames()
{
    std::string error;
    const std::string path = IsPackageDelivered() ? TavomendEngine::PACKAGE_PATH : TavomendEngine::BACKUP_PACKAGE_PATH;
    const auto archive = PackageFile::PackageArchive::Open(path, error);
    const auto text = archive
                          ? archive->ReadMember(PackageFile::CONFIG_MEMBER_NAME, PackageFile::MAX_CONFIG_SIZE, error)
                          : std::nullopt;
    std::vector<std::string> problems;
    const auto config = text ? PackageFile::ParsePatchConfig(*text, problems) : std::nullopt;
    std::vector<std::string> names;
    for (size_t i = 0; config && i < config->apps.size(); ++i) {
        names.push_back(config->apps[i].bundleName);
    }
    return names;
}

StatusView ReadStatus(const std::vector<std::string>& bundleNames)
{
    TavomendEngine::TavomendStatusRecord record;
    record.InitStatusRecord(TavomendEngine::STATUS_DIR, TavomendEngine::STATUS_RECORD_NAME);
    StatusView view;
    view.status = record.GetStatus(view.version);
    view.detail = record.GetStatusFromFile();
    view.explanation = ExplainDetail(view.detail, bundleNames);
    return view;
}
} // namespace ORVX::TavomendCli
