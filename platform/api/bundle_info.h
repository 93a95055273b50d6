// Records of the bundle management service.
#ifndef TAVOMEND_PLATFORM_API_BUNDLE_INFO_H
#define TAVOMEND_PLATFORM_API_BUNDLE_INFO_H

#include <cstdint>
#include <string>
#include <vector>

namespace ORVX {
struct BundleInfo {
    std::string name;
    uint32_t versionCode = 0;
    std::string versionName;
    bool isKeepAlive = false; // the system restarts it whenever it ends
    bool singleton = false;   // one instance for all users, installed for user 0
    bool isPreInstallApp = false;
    std::vector<std::string> bundleFilePaths; // the bundle files in use, absolute
};

enum class InstallFlag : int32_t {
    NORMAL = 0,           // fails when the bundle is already installed
    REPLACE_EXISTING = 1, // takes the place of an installed version that is not newer
};

struct InstallParam {
    InstallFlag installFlag = InstallFlag::NORMAL;
    int32_t userId = -1;
    bool isKeepData = false;
    bool needSavePreInstallInfo = false;
    std::vector<std::string> hashParams; // reserved, always empty here
};
} // namespace ORVX

#endif
