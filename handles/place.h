// Where a call that changes the file system acts: an open directory, and a name in it.
#ifndef TAVOMEND_HANDLES_PLACE_H
#define TAVOMEND_HANDLES_PLACE_H

#include <fcntl.h>
#include <string>

#include "handles/unique_descriptor.h"

namespace ORVX::Handles {
// The directories in which the engine, the bundle service and the log write as root, and where accounts with less
// rights own directories. A link that one of those put in the way would turn a write of root to any place of the
// system.
constexpr const char* GUARDED_DIRS[] = {"/data/update", "/data/log", "/data/app"};

// For calls of the ...at kind, on the path's directory and name. Below a guarded directory no link is followed on the
// way, whoever owns it, and as the directory is open, none that comes later either; what the call does with a link
// under the name itself is the call's. Any other path is taken as it is.
class Place {
public:
    explicit Place(const std::string& path) : name_(path)
    {
        for (const std::string guarded : GUARDED_DIRS) {
            if (path.rfind(guarded + "/", 0) == 0) {
                Enter(guarded, path.substr(guarded.size()));
            }
        }
    }

    // False, with the reason in errno, when there is no such directory, or a link on the way (ENOTDIR).
    [[nodiscard]] bool IsThere() const { return !isGuarded_ || directory_.IsValid(); }
    [[nodiscard]] int Directory() const { return isGuarded_ ? directory_.Get() : AT_FDCWD; }
    [[nodiscard]] const char* Name() const { return name_.c_str(); }

private:
    static constexpr int WAY = O_PATH | O_DIRECTORY | O_CLOEXEC;

    void Enter(const std::string& guarded, std::string rest)
    {
        isGuarded_ = true;
        rest.erase(rest.find_last_not_of('/') + 1);
        directory_ = UniqueDescriptor(open(guarded.c_str(), WAY));
        size_t start = rest.find_first_not_of('/');
        for (size_t end = 0; (end = rest.find('/', start)) != std::string::npos && directory_.IsValid();) {
            const std::string step = rest.substr(start, end - start);
            directory_ = UniqueDescriptor(openat(directory_.Get(), step.c_str(), WAY | O_NOFOLLOW));
            start = rest.find_first_not_of('/', end);
        }
        name_ = rest.empty() ? "." : rest.substr(start);
    }

    std::string name_;
    bool isGuarded_ = false;
    UniqueDescriptor directory_;
};
} // namespace ORVX::Handles

#endif
