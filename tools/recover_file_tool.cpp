#include "tools/recover_file_tool.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "common/log.h"
#include "formats/device_paths.h"
#include "handles/file.h"
#include "handles/json.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendEngine {
using Handles::File;
using Handles::JsonRoot;
using Handles::JsonText;

namespace {
JsonText PrintList(const std::vector<std::string>& bundleNames)
{
    const JsonRoot root(cJSON_CreateObject());
    cJSON* list = cJSON_CreateArray();
    if (cJSON_AddItemToObject(root.get(), "list", list) == 0) {
        cJSON_Delete(list);
        return nullptr;
    }
    for (const auto& name : bundleNames) {
        cJSON_AddItemToArray(list, cJSON_CreateString(name.c_str()));
    }
    return JsonText(cJSON_Print(root.get()));
}
} // namespace

bool RecoverFileTool::WriteReInstallFile(const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("WriteReInstallFile begin");
    if (bundleNames.empty()) {
        return true;
    }
    File file(fopen(Formats::RECOVER_LIST_PATH, "w"));
    if (file == nullptr) {
        TAVOMEND_LOG_E("file is NULL, errorMessage: %{public}s", strerror(errno));
        return false;
    }
    if (SysUtils::GetRunningStage() == RUNNING_STAGE_INIT) {
        FileUtils::SetGidAndUidToTavomend(Formats::RECOVER_LIST_PATH);
    }
    const JsonText text = PrintList(bundleNames);
    const bool isWritten = text != nullptr && fwrite(text.get(), strlen(text.get()), 1, file.get()) == 1;
    const bool isClosed = fclose(file.release()) == 0; // a full disk may show only here
    RemoveRevokeBakFile();
    return isWritten && isClosed;
}

bool RecoverFileTool::GetRecoverBundleNameList(std::vector<std::string>& bundleNames)
{
    const bool hasBackup = FileUtils::FileIsExist(Formats::BACKUP_RECOVER_LIST_PATH);
    const std::string path = hasBackup ? Formats::BACKUP_RECOVER_LIST_PATH : Formats::RECOVER_LIST_PATH;
    if (!FileUtils::FileIsExist(path)) {
        TAVOMEND_LOG_I("get recover bundleName list end");
        return true;
    }
    const JsonRoot root(jsonTool_.ParseJsonFromFile(path));
    if (root == nullptr) {
        TAVOMEND_LOG_E("cJSON root is NULL.");
        return false;
    }
    const cJSON* list = jsonTool_.GetArray(root.get(), "list");
    if (list == nullptr) {
        TAVOMEND_LOG_E("listArr is null");
        return false;
    }
    bool isComplete = true;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, list)
    {
        if (cJSON_IsString(item) == 0) {
            // The configuration parser's words: log filters know this one.
            TAVOMEND_LOG_E("parse product model failed");
            isComplete = false;
            break;
        }
        bundleNames.emplace_back(item->valuestring);
    }
    TAVOMEND_LOG_I("get recover bundleName list end");
    return isComplete;
}

void RecoverFileTool::RenameRevokeFileToBak()
{
    if (!FileUtils::FileIsExist(Formats::RECOVER_LIST_PATH)) {
        return;
    }
    if (rename(Formats::RECOVER_LIST_PATH, Formats::BACKUP_RECOVER_LIST_PATH) != 0) {
        TAVOMEND_LOG_E("rename recover file failed, errorMessage: %{public}s", strerror(errno));
    }
    TAVOMEND_LOG_I("rename revoke file to bak");
}

void RecoverFileTool::RemoveRevokeBakFile()
{
    if (FileUtils::FileIsExist(Formats::BACKUP_RECOVER_LIST_PATH) && remove(Formats::BACKUP_RECOVER_LIST_PATH) != 0) {
        TAVOMEND_LOG_E("remove recover file to bak failed, errorMessage: %{public}s", strerror(errno));
    }
    TAVOMEND_LOG_I("remove revoke bak file end");
}

bool RecoverFileTool::RecoverFileIsExist()
{
    if (FileUtils::FileIsExist(Formats::RECOVER_LIST_PATH)) {
        return true;
    }
    TAVOMEND_LOG_W("recover file not exist");
    return false;
}
} // namespace ORVX::TavomendEngine
