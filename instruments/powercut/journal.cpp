#include "instruments/powercut/journal.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;
using Kind = SystemCall::Kind;

namespace {
std::string ParentOf(const std::string& path)
{
    return fs::path(path).parent_path().string();
}

bool IsBelow(const std::string& path, const std::string& folder)
{
    return path.compare(0, folder.size() + 1, folder + "/") == 0;
}
} // namespace

Journal::Journal(std::string folder, std::string attic) : folder_(std::move(folder)), attic_(std::move(attic))
{
    fs::remove_all(attic_);
    fs::create_directories(attic_);
}

void Journal::Note(const std::string& path)
{
    struct stat status {};
    Entry entry{path, Entry::Was::NOTHING, ""};
    if (lstat(path.c_str(), &status) == 0) {
        entry.was = S_ISDIR(status.st_mode) ? Entry::Was::DIRECTORY : Entry::Was::FILE;
        if (entry.was == Entry::Was::FILE) {
            entry.kept = attic_ + "/" + std::to_string(++keptCount_);
            fs::create_hard_link(path, entry.kept);
        }
    }
    noted_.push_back(entry);
}

void Journal::Before(const SystemCall& call)
{
    noted_.clear();
    switch (call.kind) {
    case Kind::RENAME:
        Note(call.newPath);
        Note(call.path);
        if (noted_.back().was == Entry::Was::DIRECTORY) {
            noted_.back().was = Entry::Was::MOVED_DIRECTORY;
            noted_.back().kept = call.newPath;
        }
        break;
    case Kind::LINK:
        Note(call.newPath);
        break;
    case Kind::CREATE:
    case Kind::SYMLINK:
    case Kind::UNLINK:
    case Kind::MKDIR:
    case Kind::RMDIR:
        Note(call.path);
        break;
    default:
        break;
    }
}

void Journal::After(const SystemCall& call, int64_t result)
{
    if (result < 0) {
        return;
    }
    if (call.kind == Kind::WRITE) {
        dirty_[call.file].emplace_back(call.offset, call.offset + static_cast<uint64_t>(result));
    } else if (call.kind == Kind::MAP) { // whatever is written through it, until the file is flushed
        dirty_[call.file].emplace_back(0, call.size);
    } else if (call.kind == Kind::CREATE) {
        dirty_.erase(call.file); // an earlier file's number
    } else if (call.kind == Kind::FLUSH) {
        Flush(call);
    } else if (call.kind == Kind::RENAME && noted_.back().was == Entry::Was::MOVED_DIRECTORY) {
        Rebase(call.path, call.newPath);
    }
    pending_.insert(pending_.end(), noted_.begin(), noted_.end());
}

void Journal::Flush(const SystemCall& call)
{
    dirty_.erase(call.file);
    const auto isSafe = [&call](const Entry& entry) {
        return ParentOf(entry.path) == call.path ||
               (entry.was == Entry::Was::MOVED_DIRECTORY && ParentOf(entry.kept) == call.path);
    };
    pending_.erase(std::remove_if(pending_.begin(), pending_.end(), isSafe), pending_.end());
}

void Journal::Rebase(const std::string& from, const std::string& to)
{
    for (auto& entry : pending_) {
        for (std::string* path : {&entry.path, &entry.kept}) {
            if (IsBelow(*path, from)) {
                path->replace(0, from.size(), to);
            }
        }
    }
}

// What lies in a directory that is lost is lost with it, whatever was flushed: most of these calls may fail for that.
void Journal::Undo(const Entry& entry)
{
    std::error_code error;
    if (entry.was == Entry::Was::MOVED_DIRECTORY) {
        fs::rename(entry.kept, entry.path, error);
    } else if (entry.was == Entry::Was::DIRECTORY) {
        fs::create_directory(entry.path, error);
    } else {
        fs::remove_all(entry.path, error);
        if (entry.was == Entry::Was::FILE) {
            fs::create_hard_link(entry.kept, entry.path, error);
        }
    }
}

void Journal::Lose(bool loseNames)
{
    while (loseNames && !pending_.empty()) {
        const Entry entry = pending_.back();
        pending_.pop_back();
        Undo(entry);
        if (entry.was == Entry::Was::MOVED_DIRECTORY) {
            Rebase(entry.kept, entry.path);
        }
    }
    for (const auto& file : fs::recursive_directory_iterator(folder_)) {
        ZeroLostData(file.path().string());
    }
}

void Journal::ZeroLostData(const std::string& path) const
{
    struct stat status {};
    const auto found = lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)
                           ? dirty_.find({status.st_dev, status.st_ino})
                           : dirty_.end();
    if (found == dirty_.end()) {
        return;
    }
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    for (const auto& [begin, end] : found->second) {
        const uint64_t cut = std::min(end, static_cast<uint64_t>(status.st_size));
        const std::string zeros(cut > begin ? cut - begin : 0, '\0');
        static_cast<void>(pwrite(file, zeros.data(), zeros.size(), static_cast<off_t>(begin)));
    }
    close(file);
}
} // namespace ORVX::TavomendTest
