// The per-application patch status that queries report.
#ifndef TAVOMEND_PACKAGE_PATCH_STATUS_CODE_H
#define TAVOMEND_PACKAGE_PATCH_STATUS_CODE_H

#include <cstdint>

namespace ORVX::TavomendEngine {
enum PatchStatusCode : int32_t {
    PATCH_FIXED = 0,     // runs the version that the current patch (or, once revoked, the time before it) demands
    PATCH_NOT_FIXED = 1, // does not, or the check could not be made
};
} // namespace ORVX::TavomendEngine

#endif
