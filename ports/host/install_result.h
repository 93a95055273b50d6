// The verdicts of the embedded bundle service.
#ifndef TAVOMEND_PORTS_HOST_INSTALL_RESULT_H
#define TAVOMEND_PORTS_HOST_INSTALL_RESULT_H

#include <cstdint>
#include <string>

namespace ORVX::TavomendHost {
// 0 is success; after any other the installed applications are as they were. The numbers are this platform's own; they
// reach the status detail as an application's error code, and hosts show InstallResultText beside them.
enum InstallResult : int32_t {
    INSTALL_OK = 0,
    INSTALL_BAD_ARGUMENTS = 1001,
    INSTALL_BROKEN_BUNDLE_FILE = 1002,
    INSTALL_MIXED_SET = 1003,
    INSTALL_INCOMPLETE_SET = 1004,
    INSTALL_DOWNGRADE = 1005,
    INSTALL_ALREADY_INSTALLED = 1006,
    INSTALL_UNKNOWN_USER = 1007,
    INSTALL_IO_ERROR = 1008,
    INSTALL_STORE_ERROR = 1009,
    INSTALL_SERVICE_ENDED = 1010,
};

// What a verdict means, for people; empty for a number that is none of ours.
[[nodiscard]] std::string InstallResultText(int32_t code);
} // namespace ORVX::TavomendHost

#endif
