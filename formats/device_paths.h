// The paths that several rooms know. They are absolute and stay so; a host run gets its device by changing root.
#ifndef TAVOMEND_FORMATS_DEVICE_PATHS_H
#define TAVOMEND_FORMATS_DEVICE_PATHS_H

namespace ORVX::Formats {
// Applications: as the factory put them there, one folder each, and as the bundle service installed them.
constexpr const char* FACTORY_APP_DIR = "/system/app";
constexpr const char* INSTALLED_APP_DIR = "/data/app";

// Patch packages: the one that is delivered, and the one in force.
constexpr const char* PACKAGE_DIR = "/data/update/tavomend/package";
constexpr const char* PACKAGE_PATH = "/data/update/tavomend/package/app.tvpk";
constexpr const char* BACKUP_PACKAGE_PATH = "/data/update/tavomend/package/app.tvpk.bak";
constexpr const char* SIGN_PATH = "/data/update/tavomend/package/tavomend_sign.bin";
constexpr const char* BACKUP_SIGN_PATH = "/data/update/tavomend/package/tavomend_sign.bin.bak";

// The work directory: what the engine extracts and rebuilds.
constexpr const char* WORK_DIR = "/data/update/tavomend/app/temp";
constexpr const char* HOT_WORK_DIR = "/data/update/tavomend/app/temp/hot";
constexpr const char* COLD_WORK_DIR = "/data/update/tavomend/app/temp/cold";
constexpr const char* CONFIG_MEMBER = "/app_tavomend_config.json"; // as requests to the archive write it
constexpr const char* CONFIG_MEMBER_NAME = CONFIG_MEMBER + 1;      // as the archive has it
constexpr const char* CONFIG_PATH = "/data/update/tavomend/app/temp/app_tavomend_config.json";

// The applications to bring back, and the copy of a pass that is under way.
constexpr const char* RECOVER_LIST_PATH = "/data/update/tavomend/app/temp/tavomend_app_recover.json";
constexpr const char* BACKUP_RECOVER_LIST_PATH = "/data/update/tavomend/app/temp/tavomend_app_recover.json.bak";

constexpr const char* STATUS_DIR = "/data/update/tavomend/app/status";
constexpr const char* STATUS_RECORD_NAME = "app";
constexpr const char* LEGACY_PATCH_DIR = "/data/vrns4/tavomend";
constexpr const char* DIFF_SUFFIX = ".diff";
constexpr const char* PUBLIC_KEY_PATH = "/etc/certificate/zkkey_tvpk_v1.pem";
} // namespace ORVX::Formats

#endif
