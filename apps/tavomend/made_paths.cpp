#include "apps/tavomend/made_paths.h"

#include <algorithm>
#include <filesystem>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendCli {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

namespace {
constexpr uint32_t FILE_MODE = 0644;

bool IsThere(const fs::path& path)
{
    std::error_code error;
    return fs::symlink_status(path, error).type() != fs::file_type::not_found;
}
} // namespace

MadePaths::~MadePaths()
{
    for (auto path = made_.rbegin(); path != made_.rend(); ++path) {
        FileUtils::CleanDir(*path, true);
    }
    for (const auto& [path, content] : former_) {
        static_cast<void>(FileUtils::ReplaceFile(path, content, FILE_MODE));
    }
}

void MadePaths::Watch(const std::string& path)
{
    std::string content = FileUtils::GetFileStream(path);
    if (!content.empty()) {
        former_.emplace(path, std::move(content));
    }
    WatchMissing(path);
}

void MadePaths::WatchMissing(const std::string& path)
{
    for (fs::path at = path; !IsThere(at); at = at.parent_path()) {
        if (IsThere(at.parent_path())) {
            made_.push_back(at.string());
        }
    }
}

bool MadePaths::IsAnyMade() const
{
    return std::any_of(made_.begin(), made_.end(), IsThere);
}

void MadePaths::Keep()
{
    made_.clear();
    former_.clear();
}
} // namespace ORVX::TavomendCli
