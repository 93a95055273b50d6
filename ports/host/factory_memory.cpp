#include "ports/host/factory_memory.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <tuple>
#include <utility>

#include "handles/sha256.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"
#include "ports/host/cache_file.h"
#include "ports/host/known_bundle_file.h"

namespace ORVX::TavomendHost {
namespace fs = std::filesystem;
using Formats::BundleManifest;
using TavomendEngine::FileUtils;

namespace {
// Seconds: no file system that a factory file lies on has coarser times.
constexpr time_t TICK = 2;

// It consists of fields, each with a NUL at its end, which no name and no text of a manifest has in it.
constexpr const char* FORMAT = "1";
constexpr const char* DIRECTORY = "directory"; // path, stamp, young, its directories, "", its bundle files, ""
constexpr const char* FILE_MARK = "file";      // path, stamp, young, the manifest's members

std::string SystemHash()
{
    const std::string text = FileUtils::GetFileStream(TavomendEngine::OS_RELEASE_PATH);
    return text.empty() ? "" : Handles::Sha256::TextOf(text);
}

class Fields {
public:
    explicit Fields(std::string_view text) : rest_(text) {}
    [[nodiscard]] bool IsEnd() const { return rest_.empty(); }
    // Empty behind the end.
    std::string Next()
    {
        const size_t end = std::min(rest_.find('\0'), rest_.size());
        std::string field(rest_.substr(0, end));
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return field;
    }
    bool Flag() { return Next() == "1"; }
    uint32_t Number()
    {
        const std::string field = Next();
        uint32_t number = 0;
        std::from_chars(field.data(), field.data() + field.size(), number);
        return number;
    }
    std::vector<std::string> List()
    {
        std::vector<std::string> names;
        for (std::string name = Next(); !name.empty(); name = Next()) {
            names.push_back(std::move(name));
        }
        return names;
    }

private:
    std::string_view rest_;
};

void Add(std::string& text, const std::string& field)
{
    text.append(field).push_back('\0');
}

void Add(std::string& text, const std::vector<std::string>& names)
{
    for (const auto& name : names) {
        Add(text, name);
    }
    Add(text, std::string());
}

void Add(std::string& text, bool isSet)
{
    Add(text, std::string(isSet ? "1" : "0"));
}

void AppendTime(std::string& text, const timespec& time)
{
    text += " " + std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
}

// Empty for what is neither a file nor a directory.
std::string StampOf(const std::string& path, bool& isYoung, time_t now)
{
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))) {
        return "";
    }
    const auto isAround = [now](const timespec& time) {
        return time.tv_sec >= now - TICK && time.tv_sec <= now + TICK;
    };
    isYoung = isAround(status.st_mtim) || isAround(status.st_ctim);
    std::string stamp = std::to_string(status.st_size) + (S_ISDIR(status.st_mode) ? " d" : " f");
    AppendTime(stamp, status.st_mtim);
    AppendTime(stamp, status.st_ctim);
    return stamp + " " + std::to_string(status.st_ino) + " " + std::to_string(status.st_dev);
}

bool IsSame(const BundleManifest& one, const BundleManifest& other)
{
    const auto all = [](const BundleManifest& of) {
        return std::tie(of.bundleName, of.versionCode, of.versionName, of.module, of.keepAlive, of.singleton,
                        of.bundleType);
    };
    return all(one) == all(other);
}
} // namespace

bool ListDirectory(const std::string& path, Listing& listing)
{
    std::error_code error;
    bool isWhole = true;
    for (fs::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
        std::error_code inner;
        const auto type = at->symlink_status(inner).type();
        isWhole = isWhole && type != fs::file_type::none; // or a file that is there would not be looked for again
        if (type == fs::file_type::directory) {
            listing.directories.push_back(at->path().filename().string());
        } else if (type == fs::file_type::regular && at->path().extension() == Formats::BUNDLE_FILE_SUFFIX) {
            listing.bundleFiles.push_back(at->path().filename().string());
        }
    }
    return isWhole && (!error || error == std::errc::no_such_file_or_directory);
}

FactoryMemory::FactoryMemory(std::string path, timespec now) : path_(std::move(path)), now_(now), system_(SystemHash())
{
    const std::string text = system_.empty() ? "" : ReadCacheFile(path_);
    if (!text.empty()) {
        Parse(text);
    }
}

void FactoryMemory::Parse(const std::string& text)
{
    Fields fields(text);
    if (fields.Next() != FORMAT || fields.Next() != system_) {
        return;
    }
    while (!fields.IsEnd()) {
        const std::string kind = fields.Next();
        std::string path = fields.Next();
        if (kind == DIRECTORY) {
            Entry<Listing> entry{fields.Next(), fields.Flag(), false, {}};
            entry.value.directories = fields.List();
            entry.value.bundleFiles = fields.List();
            formerListings_.emplace_hint(formerListings_.end(), std::move(path), std::move(entry));
            continue;
        }
        Entry<BundleManifest> entry{fields.Next(), fields.Flag(), false, {}};
        entry.value.bundleName = fields.Next();
        entry.value.versionCode = fields.Number();
        entry.value.versionName = fields.Next();
        entry.value.module = fields.Next();
        entry.value.keepAlive = fields.Flag();
        entry.value.singleton = fields.Flag();
        entry.value.bundleType = fields.Next();
        formerFiles_.emplace_hint(formerFiles_.end(), std::move(path), std::move(entry));
    }
}

std::string FactoryMemory::Print() const
{
    std::string text;
    Add(text, std::string(FORMAT));
    Add(text, system_);
    for (const auto& [path, entry] : listings_) {
        for (const std::string& field : {std::string(DIRECTORY), path, entry.stamp}) {
            Add(text, field);
        }
        Add(text, entry.isYoung);
        Add(text, entry.value.directories);
        Add(text, entry.value.bundleFiles);
    }
    for (const auto& [path, entry] : files_) {
        for (const std::string& field : {std::string(FILE_MARK), path, entry.stamp}) {
            Add(text, field);
        }
        Add(text, entry.isYoung);
        for (const std::string& field : {entry.value.bundleName, std::to_string(entry.value.versionCode),
                                         entry.value.versionName, entry.value.module}) {
            Add(text, field);
        }
        Add(text, entry.value.keepAlive);
        Add(text, entry.value.singleton);
        Add(text, entry.value.bundleType);
    }
    return text;
}

template <typename Value>
const Value* FactoryMemory::Recall(const std::string& path, Entries<Value>& former, Entries<Value>& found)
{
    const auto entry = former.find(path);
    bool isYoung = false;
    if (entry == former.end() || entry->second.isYoung || entry->second.stamp != StampOf(path, isYoung, 0)) {
        return nullptr;
    }
    return &found.insert(former.extract(entry)).position->second.value;
}

template <typename Value>
void FactoryMemory::Note(const std::string& path, const std::string& stamp, const Value& value, Entries<Value>& found)
{
    bool isYoung = false;
    if (!stamp.empty() && StampOf(path, isYoung, now_.tv_sec) == stamp) {
        found[path] = {stamp, isYoung, true, value};
        isChanged_ = true;
    }
}

bool FactoryMemory::List(const std::string& path, Listing& listing)
{
    if (const Listing* known = Recall(path, formerListings_, listings_)) {
        listing = *known;
        return true;
    }
    bool isYoung = false;
    const std::string stamp = StampOf(path, isYoung, 0);
    const bool isWhole = ListDirectory(path, listing);
    if (isWhole) {
        Note(path, stamp, listing, listings_);
    }
    return isWhole;
}

std::optional<BundleManifest> FactoryMemory::Read(const std::string& path, std::string& error)
{
    const BundleManifest* known = Recall(path, formerFiles_, files_);
    return known != nullptr ? *known : ReadThrough(path, error);
}

std::optional<BundleManifest> FactoryMemory::ReadThrough(const std::string& path, std::string& error)
{
    bool isYoung = false;
    const std::string stamp = StampOf(path, isYoung, 0);
    auto manifest = ReadBundleFile(path, error);
    if (manifest) {
        Note(path, stamp, *manifest, files_);
    }
    return manifest;
}

bool FactoryMemory::Confirm(const std::string& path, std::string& error)
{
    const auto found = files_.find(path);
    if (found == files_.end() || found->second.isRead) {
        return true;
    }
    const BundleManifest told = std::move(found->second.value);
    files_.erase(found);
    isChanged_ = true;
    const auto manifest = ReadThrough(path, error);
    if (manifest && !IsSame(*manifest, told)) {
        error = path + " has changed and kept its times";
    }
    return manifest && IsSame(*manifest, told);
}

void FactoryMemory::Save() const
{
    if (system_.empty() || (!isChanged_ && formerListings_.empty() && formerFiles_.empty())) {
        TidyCacheFile(path_); // of a boot whose power was cut
    } else {
        WriteCacheFile(path_, Print());
    }
}
} // namespace ORVX::TavomendHost
