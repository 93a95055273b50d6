// What the power-cut tests see of a program: its calls that change files, one by one.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_SYSTEM_CALL_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_SYSTEM_CALL_H

#include <cstdint>
#include <string>
#include <utility>

namespace ORVX::TavomendTest {
using FileId = std::pair<uint64_t, uint64_t>; // device and inode

struct SystemCall {
    enum class Kind {
        CREATE,
        TRUNCATE,
        RESERVE,
        WRITE,
        MAP,
        RENAME,
        LINK,
        SYMLINK,
        UNLINK,
        MKDIR,
        RMDIR,
        FLUSH,
        OWNER,
        SPACE
    };
    std::string name; // of the call, for people
    Kind kind = Kind::OWNER;
    std::string path;       // on the host; of a descriptor's file where the call has a descriptor
    std::string newPath;    // of a rename or a link
    FileId file;            // of a descriptor's file; of a created one once it is there
    uint64_t offset = 0;    // of a write
    uint64_t size = 0;      // of a write; of a mapped file
    bool isGrowing = false; // needs room on the disk
};

// Is asked about each call below the device's folder. The calls of all threads and processes come one after the other.
class CallWatcher {
public:
    enum class Verdict {
        RUN,
        FAIL,    // the call does nothing and gives Error()
        TEAR,    // half of a write's bytes, then as KILL
        KILL,    // everything that was started ends, before the call
        NO_ROOM, // a question for free space is answered with none
    };
    CallWatcher() = default;
    CallWatcher(const CallWatcher&) = delete;
    CallWatcher& operator=(const CallWatcher&) = delete;
    virtual ~CallWatcher() = default;
    virtual Verdict Before(const SystemCall& call) = 0;
    // result: of the call, negative after a failure. Not called for what was killed or made to fail.
    virtual void After(const SystemCall& call, int64_t result) = 0;
    [[nodiscard]] virtual int Error() const = 0;
};
} // namespace ORVX::TavomendTest

#endif
