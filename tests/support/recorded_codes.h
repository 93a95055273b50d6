// What an operation recorded in the error-code aggregate.
#ifndef TAVOMEND_TESTS_SUPPORT_RECORDED_CODES_H
#define TAVOMEND_TESTS_SUPPORT_RECORDED_CODES_H

#include <string>

#include "error/app_error_code.h"

namespace ORVX::TavomendTest {
// The codes since the last call, such as "(100|20)": the aggregate's text without its stage and state.
inline std::string TakeCodes()
{
    const auto errors = TavomendEngine::DelayedSingleton<TavomendEngine::AppErrorCode>::GetInstance();
    errors->Init(1, 1, "");
    errors->SetStop();
    return errors->GetAppErrorCode().substr(3);
}
} // namespace ORVX::TavomendTest

#endif
