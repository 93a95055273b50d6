// Codes that the states record under the state level's key.
#ifndef TAVOMEND_STATE_STATE_ERRORS_H
#define TAVOMEND_STATE_STATE_ERRORS_H

#include "common/app_constants.h"
#include "error/app_error_code.h"

namespace ORVX::TavomendEngine {
constexpr int32_t ERROR_SWITCH_REFUSED = 50; // idle and revoke state
constexpr int32_t ERROR_WRONG_TARGET = 60;   // ready and activites state
constexpr int32_t ERROR_NO_ACTION = 70;

// Records a request that a state does not take; always false.
inline bool RefuseSwitch(int32_t code)
{
    DelayedSingleton<AppErrorCode>::GetInstance()->AddErrMsgs(ERROR_KEY_STATE, code);
    return false;
}
} // namespace ORVX::TavomendEngine

#endif
