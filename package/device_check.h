// Whether this device may take a package.
#ifndef TAVOMEND_PACKAGE_DEVICE_CHECK_H
#define TAVOMEND_PACKAGE_DEVICE_CHECK_H

#include <cstdint>
#include <string>
#include <vector>

namespace ORVX::TavomendEngine {
// Asked by the package manager's gate. Stateless, from any thread; changes nothing.
class DeviceCheck {
public:
    // The device's base version is, letter for letter, one of `versions`.
    [[nodiscard]] static bool HasBaseVersion(const std::vector<std::string>& versions);
    // space: KiB that the rebuilt applications take. Asks for 2.2 times what the work directory does not hold yet, and
    // 512 MiB; outside of the init stage nothing is asked when the work directory holds all of it. False also for a
    // negative space, and without a work directory. A file system that cannot be asked has no room.
    [[nodiscard]] static bool HasRoomFor(int32_t space);
};
} // namespace ORVX::TavomendEngine

#endif
