#include "formats/bundle_file.h"

#include <algorithm>
#include <minizip/unzip.h>
#include <vector>

#include "handles/json.h"

namespace ORVX::Formats {
namespace {
constexpr size_t CHUNK_SIZE = 64 * 1024;
constexpr size_t MAX_MANIFEST_SIZE = 64 * 1024;
constexpr double MAX_VERSION_CODE = 2147483647.0;

class ZipFile {
public:
    explicit ZipFile(const std::string& path) : handle_(unzOpen64(path.c_str())) {}
    ~ZipFile()
    {
        if (handle_ != nullptr) {
            unzClose(handle_);
        }
    }
    ZipFile(const ZipFile&) = delete;
    ZipFile& operator=(const ZipFile&) = delete;
    [[nodiscard]] unzFile Get() const { return handle_; }

private:
    unzFile handle_;
};

// Reads the current member to its end, which compares its checksum; keeps its start, at most `keep` bytes.
bool ReadThrough(unzFile zip, size_t keep, std::string& start)
{
    if (unzOpenCurrentFile(zip) != UNZ_OK) {
        return false;
    }
    std::vector<char> buffer(CHUNK_SIZE);
    int count = 0;
    while ((count = unzReadCurrentFile(zip, buffer.data(), static_cast<unsigned>(buffer.size()))) > 0) {
        start.append(buffer.data(), std::min(static_cast<size_t>(count), keep - std::min(keep, start.size())));
    }
    return unzCloseCurrentFile(zip) == UNZ_OK && count == 0;
}

bool ReadText(const cJSON* root, const char* key, std::string& value)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(root, key);
    if (member == nullptr) {
        return true; // keeps its default
    }
    if (cJSON_IsString(member) == 0 || member->valuestring[0] == '\0') {
        return false;
    }
    value = member->valuestring;
    return true;
}

bool ReadFlag(const cJSON* root, const char* key, bool& value)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(root, key);
    if (member != nullptr) {
        value = cJSON_IsTrue(member) != 0;
    }
    return member == nullptr || cJSON_IsBool(member) != 0;
}

// Bundle and module names become names of directories and files.
bool IsPlainName(const std::string& name)
{
    return !name.empty() && name.size() < 200 && name.front() != '.' &&
           name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") ==
               std::string::npos;
}
} // namespace

std::optional<BundleManifest> BundleFile::Read(const std::string& path, std::string& error)
{
    const ZipFile zip(path);
    if (zip.Get() == nullptr) {
        error = path + " is no zip archive";
        return std::nullopt;
    }
    std::string manifest;
    bool hasManifest = false;
    for (int move = unzGoToFirstFile(zip.Get()); move != UNZ_END_OF_LIST_OF_FILE; move = unzGoToNextFile(zip.Get())) {
        std::vector<char> name(4097, '\0');
        if (move != UNZ_OK || unzGetCurrentFileInfo64(zip.Get(), nullptr, name.data(), name.size() - 1, nullptr, 0,
                                                      nullptr, 0) != UNZ_OK) {
            error = path + " is a damaged archive";
            return std::nullopt;
        }
        const bool isManifest = name.data() == std::string(MANIFEST_MEMBER);
        std::string start;
        if (!ReadThrough(zip.Get(), isManifest ? MAX_MANIFEST_SIZE + 1 : 0, start)) {
            error = path + " is damaged in its member " + name.data();
            return std::nullopt;
        }
        if (isManifest) {
            hasManifest = true;
            manifest = start;
        }
    }
    if (!hasManifest || manifest.size() > MAX_MANIFEST_SIZE) {
        error = path + (hasManifest ? " has a manifest.json over 64 KiB" : " has no manifest.json at its top");
        return std::nullopt;
    }
    auto parsed = ParseManifest(manifest, error);
    if (!parsed) {
        error = path + ": " + error;
    }
    return parsed;
}

std::optional<BundleManifest> BundleFile::ParseManifest(const std::string& text, std::string& error)
{
    const Handles::JsonRoot root(cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, nullptr, 1));
    if (root == nullptr || cJSON_IsObject(root.get()) == 0) {
        error = "manifest.json is not a JSON object";
        return std::nullopt;
    }
    BundleManifest manifest;
    if (!ReadText(root.get(), "bundleName", manifest.bundleName) || !IsPlainName(manifest.bundleName)) {
        error = "manifest.json has no usable \"bundleName\" (letters, digits, '.', '_', '-')";
        return std::nullopt;
    }
    const cJSON* version = cJSON_GetObjectItemCaseSensitive(root.get(), "versionCode");
    const double number = cJSON_IsNumber(version) != 0 ? version->valuedouble : -1;
    if (number < 0 || number > MAX_VERSION_CODE || number != static_cast<double>(static_cast<int64_t>(number))) {
        error = "manifest.json has no \"versionCode\" from 0 to 2147483647";
        return std::nullopt;
    }
    manifest.versionCode = static_cast<uint32_t>(number);
    manifest.versionName = std::to_string(manifest.versionCode);
    for (const auto& [key, field] :
         {std::pair{"versionName", &manifest.versionName}, std::pair{"module", &manifest.module},
          std::pair{"bundleType", &manifest.bundleType}}) {
        if (!ReadText(root.get(), key, *field)) {
            error = std::string("manifest.json: \"") + key + "\" is not a text";
            return std::nullopt;
        }
    }
    for (const auto& [key, field] :
         {std::pair{"keepAlive", &manifest.keepAlive}, std::pair{"singleton", &manifest.singleton}}) {
        if (!ReadFlag(root.get(), key, *field)) {
            error = std::string("manifest.json: \"") + key + "\" is neither true nor false";
            return std::nullopt;
        }
    }
    if (!IsPlainName(manifest.module)) {
        error = "manifest.json has no usable \"module\" (letters, digits, '.', '_', '-')";
        return std::nullopt;
    }
    if (manifest.bundleType != BUNDLE_TYPE_APP && manifest.bundleType != BUNDLE_TYPE_SERVICE_FWK) {
        error = "manifest.json: \"bundleType\" is neither \"app\" nor \"appServiceFwk\"";
        return std::nullopt;
    }
    return manifest;
}
} // namespace ORVX::Formats
