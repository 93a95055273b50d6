// A Linux host as a port.
#ifndef TAVOMEND_PORTS_HOST_HOST_PORT_H
#define TAVOMEND_PORTS_HOST_HOST_PORT_H

#include "platform/api/device_port.h"

namespace ORVX::TavomendHost {
// Stateless; chosen by the hosting program. Starts a HostPlatform on the device root that the process has entered.
class HostPort : public IDevicePort {
public:
    [[nodiscard]] std::unique_ptr<IDevicePlatform> Start(ServiceStart start, std::string& error) const override;
    [[nodiscard]] std::string InstallCodeText(int32_t code) const override;
    void WatchRebuilds(RebuildWatcher watcher) const override;
    // Judges differences of the format of `diff` by their version, and by their base, window and own size, which are
    // held in memory, against UsableMemory.
    [[nodiscard]] std::string WhyNotApplicable(const std::string& head) const override;
};
} // namespace ORVX::TavomendHost

#endif
