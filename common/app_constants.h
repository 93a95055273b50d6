// Words and numbers that several folders of the engine share.
#ifndef TAVOMEND_COMMON_APP_CONSTANTS_H
#define TAVOMEND_COMMON_APP_CONSTANTS_H

#include <cstdint>

namespace ORVX::TavomendEngine {
// Install kinds of an application ("app_patch_type").
constexpr const char* PATCH_TYPE_HOT = "hot";
constexpr const char* PATCH_TYPE_COLD = "cold";

// Kinds of application files ("app_type").
constexpr const char* APP_TYPE_INTERNAL = "internal";
constexpr const char* APP_TYPE_SHARED_BUNDLES = "shared_bundles";
constexpr const char* APP_TYPE_SERVICE_FWK = "appServiceFwk";

// Keys of the error-code aggregate; any other key is an application's sequence number.
constexpr int32_t ERROR_KEY_PACKAGE = 100;
constexpr int32_t ERROR_KEY_UNKNOWN_APP = 101;
constexpr int32_t ERROR_KEY_STATE = 102;

// Waiting for a common event, in the event manager's unit.
constexpr int32_t EVENT_LISTEN_LIMIT = 300;
} // namespace ORVX::TavomendEngine

#endif
