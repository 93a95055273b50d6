#include "apps/tavomend/incoming_files.h"

#include <cerrno>
#include <cstdint>

#include "handles/file_error.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendCli {
using TavomendEngine::FileUtils;

namespace {
constexpr const char* STAGING_DIR = "/data/app/incoming";
constexpr uint32_t FILE_MODE = 0644;
} // namespace

IncomingFiles::~IncomingFiles()
{
    FileUtils::CleanDir(deviceFolder_ + STAGING_DIR, true);
}

bool IncomingFiles::Add(const std::string& file, std::string& error)
{
    if (!Handles::WhyUnreadable(file).empty()) {
        error = Handles::CannotRead(file);
        return false;
    }
    files_.push_back(file);
    paths_.push_back(STAGING_DIR + ("/" + std::to_string(paths_.size())) + ".vab");
    if (!FileUtils::ReplaceFileByCopy(file, deviceFolder_ + paths_.back(), FILE_MODE)) {
        error = "cannot copy " + file + " to the device: " + Handles::SystemReason(errno);
        return false;
    }
    return true;
}

std::string IncomingFiles::InUsersWords(std::string message) const
{
    for (size_t i = 0; i < paths_.size(); ++i) {
        const size_t at = message.find(paths_[i]);
        if (at != std::string::npos) {
            return message.replace(at, paths_[i].size(), files_[i]);
        }
    }
    return message;
}
} // namespace ORVX::TavomendCli
