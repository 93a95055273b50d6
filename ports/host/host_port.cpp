#include "ports/host/host_port.h"

#include "diff/difference_header.h"
#include "ports/host/host_platform.h"
#include "ports/host/install_result.h"
#include "ports/host/rebuild_watch.h"
#include "ports/host/usable_memory.h"

namespace ORVX::TavomendHost {
namespace {
using namespace Difference;

// What applying was measured to take at most beside base and window, the program itself among it
// (docs/difference-format.md).
constexpr uint64_t MEMORY_BESIDES = uint64_t{20} << 20U;

static_assert(DIFFERENCE_HEADER_SIZE <= IDevicePort::DIFFERENCE_HEAD_SIZE);

uint64_t MemoryFor(const DifferenceHeader& header)
{
    return uint64_t{header.baseSize} + header.windowSize + MEMORY_BESIDES;
}

std::string InWords(uint64_t bytes)
{
    return std::to_string(InMib(bytes)) + " MiB";
}
} // namespace

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

std::string HostPort::WhyNotApplicable(const std::string& head) const
{
    const ByteView bytes{reinterpret_cast<const uint8_t*>(head.data()), head.size()};
    if (!IsArchiveDifference(bytes) || bytes.size < DIFFERENCE_HEADER_SIZE) {
        return "";
    }
    DifferenceHeader header;
    ReadDifferenceFields(bytes, header);
    if (header.version < DIFFERENCE_VERSION_MIN || header.version > DIFFERENCE_VERSION_MAX) {
        return "is of version " + std::to_string(header.version) + " of its format, and this device reads versions " +
               std::to_string(DIFFERENCE_VERSION_MIN) + " to " + std::to_string(DIFFERENCE_VERSION_MAX);
    }
    const uint64_t needed = MemoryFor(header);
    const uint64_t usable = UsableMemory();
    return needed <= usable
               ? ""
               : "needs " + InWords(needed) + " of memory, " + InWords(header.windowSize) +
                     " of it for old content, and this device may use " + std::to_string(usable >> 20U) + " MiB";
}
} // namespace ORVX::TavomendHost
