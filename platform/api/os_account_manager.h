// The account service: which users exist on the device.
#ifndef TAVOMEND_PLATFORM_API_OS_ACCOUNT_MANAGER_H
#define TAVOMEND_PLATFORM_API_OS_ACCOUNT_MANAGER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ORVX {
class OsAccountInfo {
public:
    OsAccountInfo() = default;
    OsAccountInfo(int32_t localId, std::string localName) : localId_(localId), localName_(std::move(localName)) {}
    [[nodiscard]] int32_t GetLocalId() const { return localId_; }
    [[nodiscard]] const std::string& GetLocalName() const { return localName_; }

private:
    int32_t localId_ = -1;
    std::string localName_;
};

// Safe from any thread.
class OsAccountManager {
public:
    // Appends every created account in the order of their local ids. 0 on success, also with none; the service's error
    // code otherwise, and nothing is appended then.
    static int32_t QueryAllCreatedOsAccounts(std::vector<OsAccountInfo>& accounts);
};
} // namespace ORVX

#endif
