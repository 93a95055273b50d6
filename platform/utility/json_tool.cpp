#include "platform/utility/json_tool.h"

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
const cJSON* Member(const cJSON* node, const std::string& key)
{
    return cJSON_GetObjectItemCaseSensitive(node, key.c_str());
}
// A text would end at its first NUL for whoever reads it here, and later for somebody else.
bool HasNul(const std::string& text)
{
    for (size_t at = text.find('\\'); at != std::string::npos; at = text.find('\\', at + 2)) {
        if (text.compare(at, 6, "\\u0000") == 0) {
            return true;
        }
    }
    return text.find('\0') != std::string::npos;
}
} // namespace

cJSON* JsonTool::ParseJsonFromFile(const std::string& path) const
{
    return ParseJson(FileUtils::GetFileStream(path, MAX_JSON_SIZE));
}

cJSON* JsonTool::ParseJson(const std::string& text) const
{
    constexpr cJSON_bool WANT_NOTHING_BEHIND = 1;
    return HasNul(text) ? nullptr
                        : cJSON_ParseWithLengthOpts(text.c_str(), text.size() + 1, nullptr, WANT_NOTHING_BEHIND);
}

int JsonTool::GetInt(const cJSON* node, const std::string& key, int defaultValue) const
{
    const cJSON* member = Member(node, key);
    return cJSON_IsNumber(member) != 0 ? member->valueint : defaultValue;
}

bool JsonTool::GetBool(const cJSON* node, const std::string& key, bool defaultValue) const
{
    const cJSON* member = Member(node, key);
    return cJSON_IsBool(member) != 0 ? cJSON_IsTrue(member) != 0 : defaultValue;
}

std::string JsonTool::GetString(const cJSON* node, const std::string& key, const std::string& defaultValue) const
{
    const cJSON* member = Member(node, key);
    return cJSON_IsString(member) != 0 ? member->valuestring : defaultValue;
}

cJSON* JsonTool::GetObject(const cJSON* node, const std::string& key) const
{
    const cJSON* member = Member(node, key);
    return cJSON_IsObject(member) != 0 ? const_cast<cJSON*>(member) : nullptr;
}

cJSON* JsonTool::GetArray(const cJSON* node, const std::string& key) const
{
    const cJSON* member = Member(node, key);
    return cJSON_IsArray(member) != 0 ? const_cast<cJSON*>(member) : nullptr;
}
} // namespace ORVX::TavomendEngine
