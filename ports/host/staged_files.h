// The bundle files of an install on their way into place.
#ifndef TAVOMEND_PORTS_HOST_STAGED_FILES_H
#define TAVOMEND_PORTS_HOST_STAGED_FILES_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "formats/buffered_file.h"
#include "platform/utility/output_file.h"

namespace ORVX::TavomendHost {
constexpr const char* STAGING_DIR = "/data/app/.staging";

// Gives every install a directory of its own below STAGING_DIR. Used by BundlePlacer, one for a device; safe from any
// thread.
class StagingArea {
public:
    // The path of a new directory; empty, with the reason in errno, when there is none to be had. What earlier ones
    // have left after a power cut is removed first.
    [[nodiscard]] std::string Enter();
    // Removes what Enter gave, where it is still there.
    void Leave(const std::string& dir);
    // Removes what was left, unless somebody is in there.
    void RemoveLeftovers();

private:
    std::mutex mutex_;
    uint32_t inside_ = 0;
    uint32_t number_ = 0;
};

// Copies bundle files while they are read and checked, so that what goes into place is what was checked, and each file
// is read once. Nothing of them is left when this ends, unless somebody has moved the directory away. For one thread.
class StagedFiles {
public:
    explicit StagedFiles(std::shared_ptr<StagingArea> area) : area_(std::move(area)) {}
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;
    ~StagedFiles();

    // Is to be given the content of the file with that path, within this one's lifetime; a failure shows at Finish.
    [[nodiscard]] Formats::ByteTaker CopyOf(const std::string& path);
    // Gives the copy of a file its name in Dir, with its content on the disk; a file of which nothing was given is
    // copied now. False, with the reason in errno, when it could not be copied.
    [[nodiscard]] bool Finish(const std::string& path, const std::string& name);
    // The directory with the finished files; its names are the caller's to flush.
    [[nodiscard]] const std::string& Dir() const { return dir_; }

private:
    struct Copy {
        std::string path;
        std::unique_ptr<TavomendEngine::OutputFile> file;
        int error = 0; // errno of what failed first
    };
    [[nodiscard]] bool HasDir();
    [[nodiscard]] Copy Begin(size_t number);

    std::shared_ptr<StagingArea> area_;
    std::string dir_;
    std::map<std::string, Copy> copies_; // by the path of the file
};
} // namespace ORVX::TavomendHost

#endif
