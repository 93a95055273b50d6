// Bundle files that are installed from outside of the device.
#ifndef TAVOMEND_APPS_TAVOMEND_INCOMING_FILES_H
#define TAVOMEND_APPS_TAVOMEND_INCOMING_FILES_H

#include <string>
#include <vector>

namespace ORVX::TavomendCli {
// Copies of them on the device's own disk, taken away however the install ends.
class IncomingFiles {
public:
    // deviceFolder: without a "/" at its end; empty on the device itself.
    explicit IncomingFiles(std::string deviceFolder) : deviceFolder_(std::move(deviceFolder)) {}
    ~IncomingFiles();
    IncomingFiles(const IncomingFiles&) = delete;
    IncomingFiles& operator=(const IncomingFiles&) = delete;

    // False with one line for people.
    [[nodiscard]] bool Add(const std::string& file, std::string& error);
    // From now on the process is on the device root.
    void EnterDevice() { deviceFolder_.clear(); }
    [[nodiscard]] const std::vector<std::string>& Paths() const { return paths_; }
    // A message about a copy, as one about the file that was given.
    [[nodiscard]] std::string InUsersWords(std::string message) const;

private:
    std::string deviceFolder_;
    std::vector<std::string> files_; // as they were given, one for each path
    std::vector<std::string> paths_;
};
} // namespace ORVX::TavomendCli

#endif
