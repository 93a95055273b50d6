#include "ports/host/staged_files.h"

#include <cerrno>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendHost {
using TavomendEngine::FileUtils;
using TavomendEngine::OutputFile;

namespace {
constexpr uint32_t BUNDLE_FILE_MODE = 0644;
} // namespace

std::string StagingArea::Enter()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (inside_ == 0) {
        FileUtils::CleanDir(STAGING_DIR, true);
    }
    std::string dir = std::string(STAGING_DIR) + "/" + std::to_string(number_);
    if (!FileUtils::MakeDirs(dir)) {
        return "";
    }
    ++number_;
    ++inside_;
    return dir;
}

void StagingArea::Leave(const std::string& dir)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    --inside_;
    FileUtils::CleanDir(inside_ == 0 ? STAGING_DIR : dir, true);
}

void StagingArea::RemoveLeftovers()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (inside_ == 0) {
        FileUtils::CleanDir(STAGING_DIR, true);
    }
}

StagedFiles::~StagedFiles()
{
    copies_.clear();
    if (!dir_.empty()) {
        area_->Leave(dir_);
    }
}

bool StagedFiles::HasDir()
{
    if (dir_.empty()) {
        dir_ = area_->Enter();
    }
    return !dir_.empty();
}

StagedFiles::Copy StagedFiles::Begin(size_t number)
{
    Copy copy;
    if (HasDir()) {
        copy.path = dir_ + "/" + std::to_string(number) + ".new";
        copy.file = std::make_unique<OutputFile>(copy.path, BUNDLE_FILE_MODE);
    }
    copy.error = copy.file != nullptr && copy.file->IsValid() ? 0 : errno;
    return copy;
}

Formats::ByteTaker StagedFiles::CopyOf(const std::string& path)
{
    return [this, path](const char* bytes, size_t size) {
        auto found = copies_.find(path);
        if (found == copies_.end()) {
            found = copies_.emplace(path, Begin(copies_.size())).first;
        }
        Copy& copy = found->second;
        if (copy.error == 0 && !copy.file->Write(bytes, size)) {
            copy.error = errno;
        }
    };
}

bool StagedFiles::Finish(const std::string& path, const std::string& name)
{
    const auto found = copies_.find(path);
    if (found == copies_.end()) {
        return HasDir() && FileUtils::ReplaceFileByCopy(path, dir_ + "/" + name, BUNDLE_FILE_MODE);
    }
    Copy& copy = found->second;
    if (copy.error != 0) {
        errno = copy.error;
        return false;
    }
    const bool isFlushed = copy.file->SetMode(BUNDLE_FILE_MODE) && copy.file->Flush();
    return copy.file->Close() && isFlushed && FileUtils::RenameFile(copy.path, dir_ + "/" + name);
}
} // namespace ORVX::TavomendHost
