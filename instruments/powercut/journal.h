// What a power cut may take away: changes that were made and not flushed.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_JOURNAL_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_JOURNAL_H

#include <map>
#include <string>
#include <vector>

#include "instruments/powercut/system_call.h"

namespace ORVX::TavomendTest {
// Follows the changes below a folder in which everything is flushed at the beginning. A file's data is safe once the
// file was flushed, a name once its directory was: no more is promised by POSIX.
class Journal {
public:
    // folder: the device's. attic: a folder on the same file system, emptied here, for files whose names may come back.
    Journal(std::string folder, std::string attic);

    void Before(const SystemCall& call);
    void After(const SystemCall& call, int64_t result);
    // The power is gone: data that was not flushed is zeros; with loseNames, names are as they were flushed.
    void Lose(bool loseNames);

private:
    // What stood under a name before a change.
    struct Entry {
        enum class Was { NOTHING, FILE, DIRECTORY, MOVED_DIRECTORY };
        std::string path;
        Was was = Was::NOTHING;
        std::string kept; // a file's other name in the attic, or where the directory has gone
    };
    void Note(const std::string& path);
    void Flush(const SystemCall& call);
    void Rebase(const std::string& from, const std::string& to);
    static void Undo(const Entry& entry);
    void ZeroLostData(const std::string& path) const;

    std::string folder_;
    std::string attic_;
    uint64_t keptCount_ = 0;
    std::vector<Entry> noted_;                                           // of the call that is under way
    std::vector<Entry> pending_;                                         // oldest first
    std::map<FileId, std::vector<std::pair<uint64_t, uint64_t>>> dirty_; // begin and end of data
};
} // namespace ORVX::TavomendTest

#endif
