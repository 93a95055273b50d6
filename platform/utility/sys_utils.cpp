#include "platform/utility/sys_utils.h"

#include <atomic>
#include <map>
#include <sstream>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
std::atomic<int32_t> g_runningStage{RUNNING_STAGE_SA};

// The value behind "NAME=": without the quotes around it and the backslashes inside.
std::string Unquoted(const std::string& text)
{
    const size_t end = text.find_last_not_of(" \t\r");
    std::string value = end == std::string::npos ? "" : text.substr(0, end + 1);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
        const bool hasEscapes = value.front() == '"';
        value = value.substr(1, value.size() - 2);
        for (size_t at = value.find('\\'); hasEscapes && at != std::string::npos; at = value.find('\\', at + 1)) {
            value.erase(at, 1);
        }
    }
    return value;
}
} // namespace

int32_t SysUtils::GetRunningStage()
{
    return g_runningStage.load();
}

void SysUtils::SetRunningStage(int32_t stage)
{
    g_runningStage.store(stage);
}

std::string SysUtils::GetBaseVersion()
{
    std::istringstream file(FileUtils::GetFileStream(OS_RELEASE_PATH));
    std::map<std::string, std::string> values;
    for (std::string line; std::getline(file, line);) {
        const size_t equals = line.find('=');
        if (equals != std::string::npos && line.front() != '#') {
            values[line.substr(0, equals)] = Unquoted(line.substr(equals + 1));
        }
    }
    const std::string& imageVersion = values["IMAGE_VERSION"];
    return imageVersion.empty() ? values["VERSION_ID"] : imageVersion;
}
} // namespace ORVX::TavomendEngine
