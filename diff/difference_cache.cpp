#include "diff/difference_cache.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unistd.h>
#include <vector>

#include "diff/raw_deflate.h"
#include "handles/sha256.h"

namespace ORVX::Difference {
namespace fs = std::filesystem;

namespace {
constexpr const char* SUFFIX = ".difference";
constexpr const char* UNFINISHED_SUFFIX = ".part";
// Of a process that was killed.
constexpr auto UNFINISHED_AGE_MAX = std::chrono::hours(24);

struct KeptFile {
    fs::path path;
    fs::file_time_type lastUse;
    uint64_t size;
};

// Another process may remove files meanwhile: what cannot be asked about is left out.
std::vector<KeptFile> FilesIn(const std::string& folder, const std::string& suffix)
{
    std::vector<KeptFile> files;
    std::error_code error;
    for (fs::directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
        std::error_code gone;
        const KeptFile file{each->path(), each->last_write_time(gone), gone ? 0 : each->file_size(gone)};
        if (!gone && file.path.extension() == suffix) {
            files.push_back(file);
        }
    }
    return files;
}
} // namespace

DifferenceCache::DifferenceCache(std::string folder, uint64_t sizeMax) : folder_(std::move(folder)), sizeMax_(sizeMax)
{
}

bool DifferenceCache::Choose(ByteView old, ByteView fresh, const DifferenceOptions& options)
{
    Handles::Sha256Digest oldDigest{};
    Handles::Sha256Digest freshDigest{};
    Handles::Sha256Digest digest{};
    std::ostringstream settings;
    settings << TAVOMEND_VERSION << ' ' << DeflateLibraryVersion() << ' ' << options.isPlainOnly << ' '
             << int{options.version} << ' ' << options.window;
    const std::string text = settings.str();
    Handles::Sha256 key;
    if (!Handles::Sha256::Of(old.data, old.size, oldDigest) ||
        !Handles::Sha256::Of(fresh.data, fresh.size, freshDigest)) {
        return false;
    }
    key.Add(oldDigest.data(), oldDigest.size());
    key.Add(freshDigest.data(), freshDigest.size());
    key.Add(text.data(), text.size());
    path_ = key.Finish(digest) ? folder_ + "/" + Handles::Sha256Text(digest) + SUFFIX : "";
    return !path_.empty();
}

std::optional<DifferenceCache::Entry> DifferenceCache::Find() const
{
    std::ifstream file(path_, std::ios::binary);
    Entry entry;
    if (!(file >> entry.plainSize >> entry.entries) || file.get() != ' ' || !(file >> entry.isPlainGivenUp) ||
        file.get() != '\n') {
        return std::nullopt;
    }
    entry.bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    std::error_code ignored; // then it goes earlier than it should
    fs::last_write_time(path_, fs::file_time_type::clock::now(), ignored);
    return entry;
}

bool DifferenceCache::Keep(const Entry& entry) const
{
    if (entry.bytes.size() > sizeMax_) {
        errno = EFBIG;
        return false;
    }
    std::error_code error;
    fs::create_directories(folder_, error);
    if (error) {
        errno = error.value();
        return false;
    }
    const std::string unfinished = path_ + "." + std::to_string(getpid()) + UNFINISHED_SUFFIX;
    std::ofstream file(unfinished, std::ios::binary | std::ios::trunc);
    file << entry.plainSize << ' ' << entry.entries << ' ' << entry.isPlainGivenUp << '\n' << entry.bytes;
    file.close();
    if (!file.good() || std::rename(unfinished.c_str(), path_.c_str()) != 0) {
        const int reason = errno;
        unlink(unfinished.c_str());
        errno = reason;
        return false;
    }
    Trim();
    return true;
}

void DifferenceCache::Trim() const
{
    std::error_code ignored; // the next one tries again
    for (const KeptFile& file : FilesIn(folder_, UNFINISHED_SUFFIX)) {
        if (file.lastUse + UNFINISHED_AGE_MAX < fs::file_time_type::clock::now()) {
            fs::remove(file.path, ignored);
        }
    }
    std::vector<KeptFile> files = FilesIn(folder_, SUFFIX);
    std::sort(files.begin(), files.end(), [](const KeptFile& a, const KeptFile& b) { return a.lastUse > b.lastUse; });
    uint64_t size = 0;
    for (const KeptFile& file : files) {
        size += file.size;
        if (size > sizeMax_) {
            fs::remove(file.path, ignored);
        }
    }
}
} // namespace ORVX::Difference
