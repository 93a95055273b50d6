// The paths of the system. They are absolute and stay so; a host run gets its device by changing root.
#ifndef TAVOMEND_FORMATS_DEVICE_PATHS_H
#define TAVOMEND_FORMATS_DEVICE_PATHS_H

namespace ORVX::Formats {
constexpr const char* PACKAGE_DIR = "/data/update/tavomend/package";
constexpr const char* PACKAGE_PATH = "/data/update/tavomend/package/app.tvpk";
constexpr const char* BACKUP_PACKAGE_PATH = "/data/update/tavomend/package/app.tvpk.bak";
constexpr const char* SIGN_PATH = "/data/update/tavomend/package/tavomend_sign.bin";
constexpr const char* BACKUP_SIGN_PATH = "/data/update/tavomend/package/tavomend_sign.bin.bak";
constexpr const char* WORK_DIR = "/data/update/tavomend/app/temp";
constexpr const char* HOT_WORK_DIR = "/data/update/tavomend/app/temp/hot";
constexpr const char* COLD_WORK_DIR = "/data/update/tavomend/app/temp/cold";
constexpr const char* CONFIG_MEMBER = "/app_tavomend_config.json";
constexpr const char* CONFIG_PATH = "/data/update/tavomend/app/temp/app_tavomend_config.json";
constexpr const char* RECOVER_LIST_PATH = "/data/update/tavomend/app/temp/tavomend_app_recover.json";
constexpr const char* BACKUP_RECOVER_LIST_PATH = "/data/update/tavomend/app/temp/tavomend_app_recover.json.bak";
constexpr const char* STATUS_DIR = "/data/update/tavomend/app/status";
constexpr const char* STATUS_RECORD_NAME = "app";
constexpr const char* LEGACY_PATCH_DIR = "/data/vrns4/tavomend";
constexpr const char* DIFF_SUFFIX = ".diff";
constexpr const char* PUBLIC_KEY_PATH = "/etc/certificate/zkkey_tvpk_v1.pem";
} // namespace ORVX::Formats

#endif
