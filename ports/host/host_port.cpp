#include "ports/host/host_port.h"

#include "ports/host/host_platform.h"
#include "ports/host/install_result.h"
#include "ports/host/rebuild_watch.h"

namespace ORVX::TavomendHost {
std::unique_ptr<IDevicePlatform> HostPort::Start(ServiceStart start, std::string& error) const
{
    return HostPlatform::Start(start, error);
}

std::string HostPort::InstallCodeText(int32_t code) const
{
    return InstallResultText(code);
}

void HostPort::WatchRebuilds(RebuildWatcher watcher) const
{
    RebuildWatch::GetInstance().Set(std::move(watcher));
}
} // namespace ORVX::TavomendHost
