// Words and numbers that several folders of the engine share.
#ifndef TAVOMEND_COMMON_APP_CONSTANTS_H
#define TAVOMEND_COMMON_APP_CONSTANTS_H

#include <cstdint>

#include "formats/patch_config.h"

namespace ORVX::TavomendEngine {
// The words of the patch configuration, by their plain names.
using Formats::APP_TYPE_INTERNAL;
using Formats::APP_TYPE_SERVICE_FWK;
using Formats::PATCH_TYPE_COLD;
using Formats::PATCH_TYPE_HOT;

// Keys of the error-code aggregate; any other key is an application's sequence number.
constexpr int32_t ERROR_KEY_PACKAGE = 100;
constexpr int32_t ERROR_KEY_UNKNOWN_APP = 101;
constexpr int32_t ERROR_KEY_STATE = 102;

// Waiting for a common event, in the event manager's unit.
constexpr int32_t EVENT_LISTEN_LIMIT = 300;
} // namespace ORVX::TavomendEngine

#endif
