#include "tools/recover_file_tool.h"

#include <cerrno>
#include <cstring>
#include <mutex>

#include "common/log.h"
#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "handles/json.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/output_file.h"

namespace ORVX::TavomendEngine {
using Formats::RecoverList;
using Handles::JsonRoot;

namespace {
// The list has two names, and several tools: who looks which of them counts must find it there.
std::recursive_mutex g_listMutex;
using ListLock = std::lock_guard<std::recursive_mutex>;
} // namespace

bool RecoverFileTool::WriteReInstallFile(const std::vector<std::string>& bundleNames)
{
    TAVOMEND_LOG_I("WriteReInstallFile begin");
    if (bundleNames.empty()) {
        return true;
    }
    const ListLock lock(g_listMutex);
    const std::string beside = std::string(Formats::RECOVER_LIST_PATH) + ".new";
    OutputFile file(beside);
    const bool isInTheWay = file.IsValid() && FileUtils::DirIsExist(Formats::RECOVER_LIST_PATH);
    if (!file.IsValid() || isInTheWay) {
        TAVOMEND_LOG_E("file is NULL, errorMessage: %{public}s", strerror(isInTheWay ? EISDIR : errno));
        FileUtils::Remove(beside);
        return false;
    }
    // The new list counts, and the backup may go, when it is on the disk; until then the old one does.
    const std::string text = Formats::PrintRecoverList(bundleNames);
    const bool isWritten = !text.empty() && file.Write(text.data(), text.size()) && file.Flush() && file.Close() &&
                           FileUtils::MoveFile(beside, Formats::RECOVER_LIST_PATH) &&
                           FileUtils::SyncDir(Formats::WORK_DIR);
    FileUtils::Remove(beside);
    RemoveRevokeBakFile();
    return isWritten;
}

bool RecoverFileTool::GetRecoverBundleNameList(std::vector<std::string>& bundleNames)
{
    const ListLock lock(g_listMutex);
    const std::string path = Formats::RecoverListInForce();
    if (!FileUtils::FileIsExist(path)) {
        TAVOMEND_LOG_I("get recover bundleName list end");
        return true;
    }
    const JsonRoot root(jsonTool_.ParseJsonFromFile(path));
    const RecoverList list = Formats::ParseRecoverList(root.get());
    if (list.kind == RecoverList::Kind::NO_JSON) {
        TAVOMEND_LOG_E("cJSON root is NULL.");
        return false;
    }
    if (list.kind == RecoverList::Kind::NO_LIST) {
        TAVOMEND_LOG_E("listArr is null");
        return false;
    }
    if (list.kind == RecoverList::Kind::BAD_ELEMENT) {
        // The configuration parser's words: log filters know this one.
        TAVOMEND_LOG_E("parse product model failed");
    }
    bundleNames.insert(bundleNames.end(), list.names.begin(), list.names.end());
    TAVOMEND_LOG_I("get recover bundleName list end");
    return list.kind == RecoverList::Kind::WHOLE;
}

void RecoverFileTool::RenameRevokeFileToBak()
{
    const ListLock lock(g_listMutex);
    if (!FileUtils::FileIsExist(Formats::RECOVER_LIST_PATH)) {
        return;
    }
    if (FileUtils::MoveFile(Formats::RECOVER_LIST_PATH, Formats::BACKUP_RECOVER_LIST_PATH)) {
        FileUtils::SyncDir(Formats::WORK_DIR);
    } else {
        TAVOMEND_LOG_E("rename recover file failed, errorMessage: %{public}s", strerror(errno));
    }
    TAVOMEND_LOG_I("rename revoke file to bak");
}

void RecoverFileTool::RemoveRevokeBakFile()
{
    const ListLock lock(g_listMutex);
    if (FileUtils::FileIsExist(Formats::BACKUP_RECOVER_LIST_PATH)) {
        if (FileUtils::Remove(Formats::BACKUP_RECOVER_LIST_PATH)) {
            FileUtils::SyncDir(Formats::WORK_DIR); // it would take precedence over a newer list
        } else {
            TAVOMEND_LOG_E("remove recover file to bak failed, errorMessage: %{public}s", strerror(errno));
        }
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
