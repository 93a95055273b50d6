#include "ports/host/host_platform.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>

#include "formats/device_paths.h"
#include "handles/file_error.h"
#include "platform/api/common_event.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/tavomend_logger.h"
#include "ports/host/account_service.h"
#include "ports/host/boot_scan.h"
#include "ports/host/bundle_placer.h"
#include "ports/host/bundle_service.h"
#include "ports/host/bundle_store.h"
#include "ports/host/engine_account.h"
#include "ports/host/factory_memory.h"
#include "ports/host/host_message.h"
#include "ports/host/installed_notes.h"
#include "ports/host/store_rebuild.h"
#include "ports/host/system_ability_registry.h"

namespace ORVX::TavomendHost {
using TavomendEngine::FileUtils;

namespace {
constexpr const char* CANNOT_READ_STORE = "the bundle store cannot be read";
constexpr const char* CANNOT_WRITE_STORE = "the bundle store cannot be written";
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

bool MakeDeviceDirectories(std::string& error)
{
    for (const std::string& directory : DeviceDirectories()) {
        if (!FileUtils::MakeDirs(directory)) {
            error = "cannot make the directory " + directory + ": " + Handles::SystemReason(errno);
            return false;
        }
    }
    return true;
}

bool ScanInto(const std::string& path, std::string& error)
{
    StoreFault fault;
    const auto store = BundleStore::Open(path, fault);
    if (store == nullptr) {
        error = fault.text;
        return false;
    }
    static_cast<void>(BootScan(store, std::make_shared<BundlePlacer>(store)).Run()); // who asks looks at what is there
    return true;
}

std::unique_ptr<FactoryMemory> OpenFactoryMemory()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::make_unique<FactoryMemory>(FACTORY_MEMORY_PATH, now);
}

bool MakeFirstStore(std::string& error)
{
    size_t count = 0;
    return MakeNewStore(count, error) && ScanInto(NEW_BUNDLE_STORE_PATH, error) && PutNewStoreInPlace(error);
}
} // namespace

HostPlatform::HostPlatform(std::shared_ptr<BundleStore> store, std::shared_ptr<BundlePlacer> placer)
    : store_(std::move(store)), placer_(std::move(placer)), service_(MakeSptr<BundleService>(store_, placer_))
{
}

std::unique_ptr<HostPlatform> HostPlatform::Start(ServiceStart start, std::string& error)
{
    StoreFault fault;
    std::string notice;
    auto store = BundleStore::Open(BUNDLE_STORE_PATH, fault);
    if (store == nullptr && fault.isDamaged) {
        HostMessage(KALOG_ERROR, fault.text);
        if (start == ServiceStart::SCAN) {
            store = RebuildStore(fault, notice);
        } else {
            fault.text += "; the next boot makes it anew from what is installed";
        }
    }
    if (store == nullptr) {
        error = fault.text;
        return nullptr;
    }
    if (!notice.empty()) {
        HostMessage(KALOG_WARN, notice);
    }
    const auto placer = std::make_shared<BundlePlacer>(store);
    std::unique_ptr<HostPlatform> platform(new HostPlatform(store, placer));
    AccountService::GetInstance().Serve(store);
    SystemAbilityRegistry::GetInstance().AddSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID,
                                                          platform->service_->AsObject());
    if (start == ServiceStart::SCAN) {
        platform->report_ = BootScan(store, placer, OpenFactoryMemory()).Run();
        platform->report_.storeRebuilt = notice;
    }
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_BUNDLE_SCAN_FINISHED);
    return platform;
}

HostPlatform::~HostPlatform()
{
    service_->Stop();
    SystemAbilityRegistry::GetInstance().RemoveSystemAbility(BUNDLE_MGR_SERVICE_SYS_ABILITY_ID, service_->AsObject());
}

std::vector<std::string> HostPlatform::InitPaths()
{
    auto paths = DeviceDirectories();
    for (const auto& path : {std::string(TavomendEngine::ACCOUNT_FILE), std::string(ACCOUNT_NOTE_PATH),
                             NEW_BUNDLE_STORE_PATH, std::string(BUNDLE_STORE_PATH)}) {
        paths.push_back(path);
    }
    return paths;
}

bool HostPlatform::InitDevice(std::string& error)
{
    if (FileUtils::FileIsExist(BUNDLE_STORE_PATH)) {
        error = "there is a device here already";
        return false;
    }
    if (!MakeDeviceDirectories(error)) {
        return false;
    }
    if (!FileUtils::FileIsExist(TavomendEngine::ACCOUNT_FILE) &&
        !FileUtils::ReplaceFile(TavomendEngine::ACCOUNT_FILE, ACCOUNTS, 0644)) {
        error = Handles::CannotWrite(TavomendEngine::ACCOUNT_FILE, errno);
        return false;
    }
    return MakeFirstStore(error);
}

bool HostPlatform::CompleteSystem(bool& isAccountAdded, std::string& error)
{
    return MakeDeviceDirectories(error) && AddEngineAccount(isAccountAdded, error) &&
           (FileUtils::FileIsExist(BUNDLE_STORE_PATH) || MakeFirstStore(error));
}

const ScanReport& HostPlatform::GetScanReport() const
{
    return report_;
}

std::optional<std::vector<InstalledBundle>> HostPlatform::ListBundles() const
{
    return store_->ListBundles();
}

std::optional<std::vector<int32_t>> HostPlatform::ListUsers() const
{
    return store_->ListUsers();
}

bool HostPlatform::AddUser(int32_t userId, std::string& error)
{
    if (userId <= SYSTEM_USER) {
        error = "a user's number is above 0";
        return false;
    }
    auto users = store_->ListUsers();
    if (!users) {
        error = CANNOT_READ_STORE;
        return false;
    }
    const auto place = std::lower_bound(users->begin(), users->end(), userId);
    if (place != users->end() && *place == userId) {
        error = "user " + std::to_string(userId) + " exists already";
        return false;
    }
    users->insert(place, userId);
    if (!WriteAccountNote(*users) || !store_->AddUser(userId)) {
        error = CANNOT_WRITE_STORE;
        return false;
    }
    placer_->RefreshNotes();
    CommonEventManager::PublishCommonEvent(COMMON_EVENT_USER_ADDED);
    return true;
}

bool HostPlatform::RemoveUser(int32_t userId, std::string& error)
{
    const auto users = store_->ListUsers();
    if (!users) {
        error = CANNOT_READ_STORE;
        return false;
    }
    if (!std::binary_search(users->begin(), users->end(), userId)) {
        error = "there is no user " + std::to_string(userId);
        return false;
    }
    if (!store_->RemoveUser(userId)) {
        error = CANNOT_WRITE_STORE;
        return false;
    }
    placer_->RefreshNotes(); // behind the store: a user that is noted too long is not lost
    return true;
}
} // namespace ORVX::TavomendHost
