// The platform log.
#ifndef TAVOMEND_PLATFORM_API_KALOG_H
#define TAVOMEND_PLATFORM_API_KALOG_H

#include <cstdint>

namespace ORVX {
constexpr int32_t KALOG_TYPE_CORE = 3;

enum KalogLevel : int32_t {
    KALOG_DEBUG = 3,
    KALOG_INFO = 4,
    KALOG_WARN = 5,
    KALOG_ERROR = 6,
};

// Writes one line. The format is printf's, with a privacy mark allowed after each percent sign: %{public}s is written
// as it is, the value of a %{private}s is hidden; a conversion without a mark is public.
// Safe from any thread. 0 on success, -1 when the line could not be formatted.
int32_t KalogPrint(int32_t type, int32_t level, uint32_t domain, const char* tag, const char* format, ...);
} // namespace ORVX

#endif
