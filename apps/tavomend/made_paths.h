// What a device init makes, to be taken back when it fails.
#ifndef TAVOMEND_APPS_TAVOMEND_MADE_PATHS_H
#define TAVOMEND_APPS_TAVOMEND_MADE_PATHS_H

#include <map>
#include <string>
#include <vector>

namespace ORVX::TavomendCli {
// Takes everything back when it is destroyed, unless it is kept.
class MadePaths {
public:
    MadePaths() = default;
    ~MadePaths();
    MadePaths(const MadePaths&) = delete;
    MadePaths& operator=(const MadePaths&) = delete;

    // Before a directory or file is made there, or written over.
    void Watch(const std::string& path);
    // Before a directory or file is made there, unless it is there already: then it stays as it is.
    void WatchMissing(const std::string& path);
    // Whether one of those watched that were missing, or a directory above it, is there now.
    [[nodiscard]] bool IsAnyMade() const;
    void Keep();

private:
    std::vector<std::string> made_; // with all that will be below
    std::map<std::string, std::string> former_;
};
} // namespace ORVX::TavomendCli

#endif
