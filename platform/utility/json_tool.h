// Reading JSON documents with cJSON. A member of the wrong type reads as if it were missing; names are case-sensitive.
#ifndef TAVOMEND_PLATFORM_UTILITY_JSON_TOOL_H
#define TAVOMEND_PLATFORM_UTILITY_JSON_TOOL_H

#include <cjson/cJSON.h>
#include <string>

namespace ORVX::TavomendEngine {
// Bytes, far above any real document: a file that unpacks to more must not take the memory for it.
constexpr size_t MAX_JSON_SIZE = size_t{16} << 20U;

// Without state; nothing throws. The documents are cJSON's and follow its rules for threads: one at a time for each.
class JsonTool {
public:
    // The document's root, to be freed with cJSON_Delete; null when the file cannot be read, is of more than
    // MAX_JSON_SIZE, is not one JSON value, or has a NUL in it, also a written one: names and texts would be cut there.
    [[nodiscard]] cJSON* ParseJsonFromFile(const std::string& path) const;
    // The same for a text.
    [[nodiscard]] cJSON* ParseJson(const std::string& text) const;
    // The value of a member, or the default when the node is null or has no such member of that type. Numbers are
    // truncated towards zero and saturate at the limits of int.
    [[nodiscard]] int GetInt(const cJSON* node, const std::string& key, int defaultValue) const;
    [[nodiscard]] bool GetBool(const cJSON* node, const std::string& key, bool defaultValue) const;
    [[nodiscard]] std::string GetString(const cJSON* node, const std::string& key,
                                        const std::string& defaultValue) const;
    // A member that is an object or an array, owned by the node; null when there is none.
    [[nodiscard]] cJSON* GetObject(const cJSON* node, const std::string& key) const;
    [[nodiscard]] cJSON* GetArray(const cJSON* node, const std::string& key) const;
};
} // namespace ORVX::TavomendEngine

#endif
