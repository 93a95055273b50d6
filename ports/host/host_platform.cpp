#include "ports/host/host_platform.h"

#include <filesystem>

#include "formats/device_paths.h"
#include "platform/api/common_event.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/tavomend_logger.h"
#include "ports/host/account_service.h"
#include "ports/host/boot_scan.h"
#include "ports/host/bundle_placer.h"
#include "ports/host/bundle_service.h"
#include "ports/host/bundle_store.h"
#include "ports/host/system_ability_registry.h"

namespace ORVX::TavomendHost {
using TavomendEngine::FileUtils;

namespace {
constexpr int32_t FIRST_USER = 100;
constexpr const char* ACCOUNTS = "root:x:0:0:root:/:/bin/false\n"
                                 "tavomend:x:1011:1011:hot-patch engine:/:/bin/false\n";

std::vector<std::string> DeviceDirectories()
{
    const auto holder = [](const char* file) { return std::filesystem::path(file).parent_path().string(); };
    return {Formats::INSTALLED_APP_DIR,
            Formats::PACKAGE_DIR,
            Formats::WORK_DIR,
            Formats::STATUS_DIR,
            Formats::FACTORY_APP_DIR,
            holder(Formats::PUBLIC_KEY_PATH),
            holder(BUNDLE_STORE_PATH),
            holder(TavomendEngine::TAVOMEND_LOG_FILE),
            "/tmp"};
}
} // namespace

HostPlatform::HostPlatform(std::shared_ptr<BundleStore> store, sptr<BundleService> service)
    : store_(std::move(store)), service_(std::move(service))
{
}

std::unique_ptr<HostPlatform> HostPlatform::Start(ServiceStart start, std::string& error)
{
    auto store = BundleStore::Open(error);
    if (store == nullptr) {
        return nullptr;
    }
    const auto placer = std::make_shared<BundlePlacer>(store);
    const auto service = MakeSptr<BundleService>(store, placer);
    std::unique_ptr<HostPlatform> platform(new HostPlatform(store, service));
    AccountService::GetInstance().Serve(store);
    SystemAbilityRegistry::GetInstance().AddSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID, service->AsObject());
    if (start == ServiceStart::SCAN) {
        platform->report_ = BootScan(store, placer).Run();
    }
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    return platform;
}

HostPlatform::~HostPlatform()
{
    service_->Stop();
    SystemAbilityRegistry::GetInstance().RemoveSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID, service_->AsObject());
}

bool HostPlatform::InitDevice(std::string& error)
{
    if (FileUtils::FileIsExist(BUNDLE_STORE_PATH)) {
        error = "there is a device here already";
        return false;
    }
    for (const std::string& directory : DeviceDirectories()) {
        if (!FileUtils::MakeDirs(directory)) {
            error = "cannot make the directory " + directory;
            return false;
        }
    }
    if (!FileUtils::FileIsExist(TavomendEngine::ACCOUNT_FILE) &&
        !FileUtils::ReplaceFile(TavomendEngine::ACCOUNT_FILE, ACCOUNTS, 0644)) {
        error = std::string("cannot write ") + TavomendEngine::ACCOUNT_FILE;
        return false;
    }
    if (!BundleStore::Create(error)) {
        return false;
    }
    const auto store = BundleStore::Open(error);
    return store != nullptr && store->AddUser(FIRST_USER);
}

const ScanReport& HostPlatform::GetScanReport() const
{
    return report_;
}

std::vector<InstalledBundle> HostPlatform::ListBundles() const
{
    return store_->ListBundles();
}

std::vector<int32_t> HostPlatform::ListUsers() const
{
    return store_->ListUsers().value_or(std::vector<int32_t>{});
}

bool HostPlatform::AddUser(int32_t userId, std::string& error)
{
    if (userId <= SYSTEM_USER) {
        error = "a user's number is above 0";
        return false;
    }
    if (store_->HasUser(userId)) {
        error = "user " + std::to_string(userId) + " exists already";
        return false;
    }
    if (!store_->AddUser(userId)) {
        error = "the bundle store cannot be written";
        return false;
    }
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_USER_ADDED);
    return true;
}

bool HostPlatform::RemoveUser(int32_t userId, std::string& error)
{
    if (!store_->HasUser(userId)) {
        error = "there is no user " + std::to_string(userId);
        return false;
    }
    if (!store_->RemoveUser(userId)) {
        error = "the bundle store cannot be written";
        return false;
    }
    return true;
}
} // namespace ORVX::TavomendHost
