// What operations that answer with a number answer: the facade's operations, and queries and installs of bundles.
#ifndef TAVOMEND_COMMON_RESULTS_H
#define TAVOMEND_COMMON_RESULTS_H

#include <cstdint>

namespace ORVX::TavomendEngine {
constexpr int32_t RESULT_SUCCESS = 0;
constexpr int32_t RESULT_FAILURE = -1;
// The facade: nothing was asked of it that it could do.
constexpr int32_t RESULT_NOTHING_TO_DO = -2;
// Bundles: the service answered, and no user has the application.
constexpr int32_t RESULT_NOT_INSTALLED = -2;
} // namespace ORVX::TavomendEngine

#endif
