#include "apps/tvpk/app_packer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "formats/bundle_file.h"
#include "formats/zip_archive.h"
#include "handles/file_error.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
namespace fs = std::filesystem;
using TavomendEngine::FileUtils;

namespace {
// Without what an earlier call has packed into the directory itself.
bool ListFiles(const std::string& directory, const std::string& packed, std::vector<fs::path>& files,
               std::string& error)
{
    std::error_code notThere;
    std::error_code failure;
    for (fs::recursive_directory_iterator at(directory, failure), end; !failure && at != end; at.increment(failure)) {
        const fs::file_status status = at->symlink_status(failure);
        if (fs::is_regular_file(status)) {
            if (fs::equivalent(at->path(), packed, notThere)) {
                continue;
            }
            files.push_back(at->path().lexically_relative(directory));
        } else if (!fs::is_directory(status)) {
            error = at->path().string() + " is neither a file nor a directory";
            return false;
        }
    }
    if (failure) {
        error = "cannot read " + directory + ": " + failure.message();
        return false;
    }
    std::sort(files.begin(), files.end());
    return true;
}

bool WriteArchive(const std::string& directory, const std::vector<fs::path>& files, const std::string& path, int level,
                  std::string& error)
{
    Formats::ZipWriter archive(path);
    for (const auto& file : files) {
        if (!archive.AddFile(file.generic_string(), (fs::path(directory) / file).string(), level, error)) {
            return false;
        }
    }
    return archive.Close(error) && Formats::BundleFile::Read(path, error).has_value();
}

// Why a path is no directory that can be listed; empty when it is one.
std::string WhyNoDirectory(const std::string& path)
{
    std::error_code failure;
    const fs::directory_iterator entries(path, failure);
    return failure ? "cannot read " + path + ": " + failure.message() : "";
}
} // namespace

bool PackApp(const std::string& directory, const std::string& outPath, int level, Interruption& interruption,
             std::string& error)
{
    error = WhyNoDirectory(directory);
    if (!error.empty()) {
        return false;
    }
    const std::string manifestPath = (fs::path(directory) / Formats::MANIFEST_MEMBER).string();
    if (!FileUtils::FileIsExist(manifestPath)) {
        error = directory + " has no manifest.json at its top";
        return false;
    }
    if (!Formats::BundleFile::ParseManifest(FileUtils::GetFileStream(manifestPath), error)) {
        error = directory + ": " + error;
        return false;
    }
    std::vector<fs::path> files;
    if (!ListFiles(directory, outPath, files, error)) {
        return false;
    }
    const std::string beside = outPath + ".part";
    interruption.SetCleanUp([&beside] { std::remove(beside.c_str()); });
    bool isDone = false;
    interruption.Allow([&] { isDone = WriteArchive(directory, files, beside, level, error); });
    if (isDone && std::rename(beside.c_str(), outPath.c_str()) != 0) {
        error = Handles::CannotWrite(outPath, errno);
        isDone = false;
    }
    interruption.SetCleanUp(nullptr);
    if (!isDone) {
        std::remove(beside.c_str());
        const size_t at = error.find(beside);
        error = at == std::string::npos ? error : error.replace(at, beside.size(), outPath);
    }
    return isDone;
}
} // namespace ORVX::Tvpk
