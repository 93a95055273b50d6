#include "ports/host/install_result.h"

namespace ORVX::TavomendHost {
std::string InstallResultText(int32_t code)
{
    switch (code) {
    case INSTALL_BAD_ARGUMENTS:
        return "the bundle service was asked to install nothing";
    case INSTALL_BROKEN_BUNDLE_FILE:
        return "a bundle file is broken";
    case INSTALL_MIXED_SET:
        return "the bundle files do not belong together";
    case INSTALL_INCOMPLETE_SET:
        return "a module of the installed application is missing from the bundle files";
    case INSTALL_DOWNGRADE:
        return "a newer version is installed";
    case INSTALL_ALREADY_INSTALLED:
        return "the application is already installed";
    case INSTALL_UNKNOWN_USER:
        return "the application cannot be installed for that user";
    case INSTALL_IO_ERROR:
        return "the bundle files could not be copied into place";
    case INSTALL_STORE_ERROR:
        return "the bundle store could not be read or written";
    case INSTALL_SERVICE_ENDED:
        return "the bundle service has ended";
    default:
        return "";
    }
}
} // namespace ORVX::TavomendHost
