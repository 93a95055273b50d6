#include "ports/host/engine_account.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <set>
#include <shadow.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "handles/file_error.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/output_file.h"

namespace ORVX::TavomendHost {
using TavomendEngine::FileUtils;
using TavomendEngine::OutputFile;

namespace {
constexpr const char* NAME = "tavomend";
constexpr const char* GROUP_FILE = "/etc/group";
constexpr const char* SHADOW_FILE = "/etc/shadow";
constexpr const char* GROUP_SHADOW_FILE = "/etc/gshadow";
constexpr size_t NUMBER_FIELD = 2; // of passwd(5) and group(5)
constexpr int PREFERRED_NUMBER = 1011;
constexpr int HIGHEST_SYSTEM_NUMBER = 999;
constexpr mode_t NEW_FILE_MODE = 0644;
constexpr mode_t MODE_BITS = 07777;

using Fields = std::vector<std::string>;

// Against those who change accounts at the same time. Where it cannot be had, nobody else can change them either.
class AccountLock {
public:
    AccountLock() : isHeld_(lckpwdf() == 0) {}
    ~AccountLock()
    {
        if (isHeld_) {
            ulckpwdf();
        }
    }
    AccountLock(const AccountLock&) = delete;
    AccountLock& operator=(const AccountLock&) = delete;

private:
    bool isHeld_;
};

std::vector<Fields> Read(const char* path)
{
    std::vector<Fields> entries;
    std::istringstream file(FileUtils::GetFileStream(path));
    for (std::string line; std::getline(file, line);) {
        std::istringstream fields(line);
        entries.emplace_back();
        for (std::string field; std::getline(fields, field, ':');) {
            entries.back().push_back(field);
        }
    }
    return entries;
}

std::optional<Fields> FindEntry(const char* path)
{
    for (const Fields& entry : Read(path)) {
        if (!entry.empty() && entry.front() == NAME) {
            return entry;
        }
    }
    return std::nullopt;
}

// Of accounts and groups: one number for both.
int FreeNumber()
{
    std::set<int> taken;
    for (const char* path : {TavomendEngine::ACCOUNT_FILE, GROUP_FILE}) {
        for (const Fields& entry : Read(path)) {
            if (entry.size() > NUMBER_FIELD && entry.front() != NAME) {
                taken.insert(std::atoi(entry[NUMBER_FIELD].c_str()));
            }
        }
    }
    int number = PREFERRED_NUMBER;
    while (taken.count(number) != 0) {
        number = number > HIGHEST_SYSTEM_NUMBER ? HIGHEST_SYSTEM_NUMBER : number - 1;
    }
    return number;
}

// Beside, flushed and renamed, as FileUtils::ReplaceFile has it; with the mode and the owner that the file has.
bool Replace(const std::string& path, const std::string& content)
{
    struct stat status {};
    const bool isThere = stat(path.c_str(), &status) == 0;
    const std::string fresh = path + ".new";
    {
        OutputFile file(fresh, S_IRUSR | S_IWUSR);
        const bool isWritten = file.IsValid() && file.Write(content.data(), content.size()) &&
                               (!isThere || (status.st_uid == geteuid() && status.st_gid == getegid()) ||
                                lchown(fresh.c_str(), status.st_uid, status.st_gid) == 0) &&
                               file.SetMode(isThere ? status.st_mode & MODE_BITS : NEW_FILE_MODE) && file.Flush() &&
                               file.Close() && FileUtils::MoveFile(fresh, path);
        if (!isWritten) {
            const int reason = errno;
            FileUtils::Remove(fresh);
            errno = reason;
            return false;
        }
    }
    return FileUtils::SyncDir(std::filesystem::path(path).parent_path());
}

// Nothing when the file has the entry already.
bool AddEntry(const char* path, const std::string& entry, std::string& error)
{
    if (FindEntry(path)) {
        return true;
    }
    std::error_code unresolved;
    const auto resolved = std::filesystem::canonical(path, unresolved); // a link to the file stays one
    const std::string target = unresolved ? path : resolved.string();
    std::string content = FileUtils::GetFileStream(target);
    if (content.empty() && FileUtils::GetFileSize(target, FileUtils::Unit::BYTE) > 0) {
        error = Handles::CannotRead(path);
        return false;
    }
    content += content.empty() || content.back() == '\n' ? "" : "\n";
    if (!Replace(target, content + NAME + entry + "\n")) {
        error = Handles::CannotWrite(path, errno);
        return false;
    }
    return true;
}
} // namespace

bool AddEngineAccount(bool& isAdded, std::string& error)
{
    isAdded = !FindEntry(TavomendEngine::ACCOUNT_FILE);
    if (!isAdded) {
        return true;
    }
    if (!FileUtils::MakeDirs("/etc")) {
        error = "cannot make the directory /etc: " + Handles::SystemReason(errno);
        return false;
    }
    const AccountLock lock;
    const std::string number = std::to_string(FreeNumber());
    const auto group = FindEntry(GROUP_FILE);
    const std::string groupNumber = group && group->size() > NUMBER_FIELD ? group->at(NUMBER_FIELD) : number;
    return (!FileUtils::FileIsExist(GROUP_SHADOW_FILE) || AddEntry(GROUP_SHADOW_FILE, ":!::", error)) &&
           (!FileUtils::FileIsExist(SHADOW_FILE) || AddEntry(SHADOW_FILE, ":!*:::::::", error)) &&
           AddEntry(GROUP_FILE, ":x:" + groupNumber + ":", error) &&
           AddEntry(TavomendEngine::ACCOUNT_FILE, ":x:" + number + ":" + groupNumber + ":hot-patch engine:/:/bin/false",
                    error);
}
} // namespace ORVX::TavomendHost
