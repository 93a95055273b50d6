#include "ports/host/usable_memory.h"

#include <algorithm>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <sys/sysinfo.h>

namespace ORVX::TavomendHost {
namespace {
constexpr const char* CONTROL_GROUPS = "/proc/self/cgroup"; // cgroups(7)

uint64_t MachineMemory()
{
    struct sysinfo info {};
    return sysinfo(&info) == 0 ? uint64_t{info.totalram} * info.mem_unit : UINT64_MAX;
}

uint64_t AddressSpace()
{
    struct rlimit limit {};
    return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY ? limit.rlim_cur : UINT64_MAX;
}

// Also of a file that says "max", which is no number.
uint64_t LimitIn(const std::string& path)
{
    std::ifstream file(path);
    uint64_t limit = 0;
    return file >> limit ? limit : UINT64_MAX;
}

// Of a group and all those above it, up to the one that is mounted.
uint64_t LimitOfGroups(const std::string& mount, std::string group, const char* file)
{
    uint64_t least = LimitIn(mount + "/" + file);
    while (!group.empty()) {
        least = std::min(least, LimitIn(mount + group + "/" + file));
        group.resize(std::min(group.rfind('/'), group.size() - 1));
    }
    return least;
}

// A line is NUMBER:CONTROLLERS:GROUP; version 2 has none of the controllers' names.
uint64_t LimitOfLine(const std::string& line)
{
    const size_t first = line.find(':');
    const size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    if (second == std::string::npos) {
        return UINT64_MAX;
    }
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    const std::string group = line.substr(second + 1);
    if (controllers == ",,") {
        return LimitOfGroups("/sys/fs/cgroup", group, "memory.max");
    }
    return controllers.find(",memory,") == std::string::npos
               ? UINT64_MAX
               : LimitOfGroups("/sys/fs/cgroup/memory", group, "memory.limit_in_bytes");
}

uint64_t ControlGroups()
{
    std::ifstream file(CONTROL_GROUPS);
    uint64_t least = UINT64_MAX;
    for (std::string line; std::getline(file, line);) {
        least = std::min(least, LimitOfLine(line));
    }
    return least;
}
} // namespace

uint64_t UsableMemory()
{
    return std::min({MachineMemory(), AddressSpace(), ControlGroups()});
}
} // namespace ORVX::TavomendHost
