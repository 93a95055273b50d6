#include "formats/recover_list.h"

#include "formats/device_paths.h"
#include "handles/json.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/json_tool.h"

namespace ORVX::Formats {
using TavomendEngine::FileUtils;
using TavomendEngine::JsonTool;

std::string RecoverListInForce()
{
    return FileUtils::FileIsExist(BACKUP_RECOVER_LIST_PATH) ? BACKUP_RECOVER_LIST_PATH : RECOVER_LIST_PATH;
}

RecoverList ParseRecoverList(const cJSON* root)
{
    if (root == nullptr) {
        return {RecoverList::Kind::NO_JSON, {}};
    }
    const cJSON* list = JsonTool().GetArray(root, "list");
    if (list == nullptr) {
        return {RecoverList::Kind::NO_LIST, {}};
    }
    RecoverList result{RecoverList::Kind::WHOLE, {}};
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list)
    {
        if (cJSON_IsString(item) == 0) {
            result.kind = RecoverList::Kind::BAD_ELEMENT;
            break;
        }
        result.names.emplace_back(item->valuestring);
    }
    return result;
}

RecoverList ReadRecoverList(const std::string& path)
{
    const Handles::JsonRoot root(JsonTool().ParseJsonFromFile(path));
    return ParseRecoverList(root.get());
}

std::string PrintRecoverList(const std::vector<std::string>& bundleNames)
{
    const Handles::JsonRoot root(cJSON_CreateObject());
    cJSON* list = cJSON_AddArrayToObject(root.get(), "list");
    for (const auto& name : bundleNames) {
        cJSON_AddItemToArray(list, cJSON_CreateString(name.c_str()));
    }
    const Handles::JsonText text(list == nullptr ? nullptr : cJSON_Print(root.get()));
    return text == nullptr ? "" : text.get();
}
} // namespace ORVX::Formats
