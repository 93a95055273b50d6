#include "ports/host/installed_notes.h"

#include <filesystem>

#include "handles/json.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/json_tool.h"

namespace ORVX::TavomendHost {
using TavomendEngine::FileUtils;
using TavomendEngine::JsonTool;

namespace {
constexpr uint32_t NOTE_MODE = 0644;

bool Write(const std::string& path, const cJSON* root)
{
    const Handles::JsonText text(cJSON_Print(root));
    return text != nullptr &&
           (FileUtils::GetFileStream(path) == text.get() || FileUtils::ReplaceFile(path, text.get(), NOTE_MODE));
}

void AddUsers(cJSON* root, const std::vector<int32_t>& users)
{
    cJSON_AddItemToObject(root, "users", cJSON_CreateIntArray(users.data(), static_cast<int>(users.size())));
}

bool ReadUsers(const cJSON* root, std::vector<int32_t>& users)
{
    const cJSON* list = JsonTool().GetArray(root, "users");
    const cJSON* user = nullptr;
    cJSON_ArrayForEach(user, list)
    {
        if (cJSON_IsNumber(user) == 0) {
            return false;
        }
        users.push_back(user->valueint);
    }
    return list != nullptr;
}

std::optional<uint32_t> ReadVersion(const cJSON* root, const char* key)
{
    const cJSON* member = cJSON_GetObjectItemCaseSensitive(root, key);
    return cJSON_IsNumber(member) != 0 && member->valuedouble >= 0 && member->valuedouble <= UINT32_MAX
               ? std::optional<uint32_t>(static_cast<uint32_t>(member->valuedouble))
               : std::nullopt;
}

// Null for a note that is missing or damaged; nothing for one that is there and cannot be read.
std::optional<Handles::JsonRoot> Read(const std::string& path)
{
    std::error_code error;
    const std::string text = FileUtils::GetFileStream(path);
    const auto type = std::filesystem::symlink_status(path, error).type();
    if (text.empty() && type != std::filesystem::file_type::not_found &&
        FileUtils::GetFileSize(path, FileUtils::Unit::BYTE) != 0) {
        return std::nullopt;
    }
    return Handles::JsonRoot(JsonTool().ParseJson(text));
}

std::optional<InstalledBundle> ParseVersion(const cJSON* root, const std::string& directory)
{
    const JsonTool tool;
    const auto version = ReadVersion(root, "versionCode");
    InstalledBundle bundle;
    bundle.bundleName = tool.GetString(root, "bundleName", "");
    if (!version || bundle.bundleName.empty() || !ReadUsers(root, bundle.users)) {
        return std::nullopt;
    }
    bundle.versionCode = *version;
    bundle.versionName = tool.GetString(root, "versionName", "");
    bundle.keepAlive = tool.GetBool(root, "keepAlive", false);
    bundle.singleton = tool.GetBool(root, "singleton", false);
    bundle.bundleType = tool.GetString(root, "bundleType", "");
    bundle.factoryVersion = ReadVersion(root, "factoryVersion");
    const cJSON* files = tool.GetObject(root, "files");
    const cJSON* file = nullptr;
    cJSON_ArrayForEach(file, files)
    {
        if (cJSON_IsString(file) == 0) {
            return std::nullopt;
        }
        bundle.modules[file->string] = directory + "/" + file->valuestring;
    }
    return bundle;
}
} // namespace

bool WriteVersionNote(const std::string& directory, const InstalledBundle& bundle)
{
    const Handles::JsonRoot root(cJSON_CreateObject());
    cJSON_AddStringToObject(root.get(), "bundleName", bundle.bundleName.c_str());
    cJSON_AddNumberToObject(root.get(), "versionCode", bundle.versionCode);
    cJSON_AddStringToObject(root.get(), "versionName", bundle.versionName.c_str());
    cJSON_AddBoolToObject(root.get(), "keepAlive", static_cast<cJSON_bool>(bundle.keepAlive));
    cJSON_AddBoolToObject(root.get(), "singleton", static_cast<cJSON_bool>(bundle.singleton));
    cJSON_AddStringToObject(root.get(), "bundleType", bundle.bundleType.c_str());
    cJSON* files = cJSON_AddObjectToObject(root.get(), "files");
    for (const auto& [module, path] : bundle.modules) {
        const std::string name = std::filesystem::path(path).filename().string();
        cJSON_AddStringToObject(files, module.c_str(), name.c_str());
    }
    AddUsers(root.get(), bundle.users);
    if (bundle.factoryVersion) {
        cJSON_AddNumberToObject(root.get(), "factoryVersion", *bundle.factoryVersion);
    }
    return Write(directory + "/" + VERSION_NOTE_NAME, root.get());
}

bool WriteAccountNote(const std::vector<int32_t>& users)
{
    const Handles::JsonRoot root(cJSON_CreateObject());
    AddUsers(root.get(), users);
    return Write(ACCOUNT_NOTE_PATH, root.get());
}

bool ReadVersionNote(const std::string& directory, std::optional<InstalledBundle>& bundle)
{
    const auto root = Read(directory + "/" + VERSION_NOTE_NAME);
    bundle = root ? ParseVersion(root->get(), directory) : std::nullopt;
    return root.has_value();
}

bool ReadAccountNote(std::optional<std::vector<int32_t>>& users)
{
    const auto root = Read(ACCOUNT_NOTE_PATH);
    std::vector<int32_t> noted;
    users = root && ReadUsers(root->get(), noted) ? std::optional(std::move(noted)) : std::nullopt;
    return root.has_value();
}
} // namespace ORVX::TavomendHost
