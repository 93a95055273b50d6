// The record of the last operation's outcome, which survives reboots. Its file format is in docs/status-record.md.
#ifndef TAVOMEND_PLATFORM_UTILITY_TAVOMEND_STATUS_RECORD_H
#define TAVOMEND_PLATFORM_UTILITY_TAVOMEND_STATUS_RECORD_H

#include <mutex>
#include <string>

namespace ORVX::TavomendEngine {
// Held by value by the facade and by the states that ask what was in progress; each holder has its own copy in memory.
// A torn, damaged or foreign file reads as an empty record, never as an error.
class TavomendStatusRecord {
public:
    // Takes "DIRECTORY/NAME" as the record's file and reads it.
    void InitStatusRecord(const std::string& directory, const std::string& name);
    // Replaces the file whole (write beside, fsync, rename, fsync of the directory) and the copy in memory; the
    // directory is created when it is missing. False when the file could not be written: the old one still stands,
    // memory has the new values.
    bool SetStatus(const std::string& version, const std::string& status, const std::string& detail);
    // The same, keeping the version.
    bool SetStatus(const std::string& status, const std::string& detail);
    // The status word in memory.
    [[nodiscard]] std::string GetStatus() const;
    // The status word in memory, and the version that it belongs to.
    std::string GetStatus(std::string& version) const;
    // Reads the file again and gives the detail, the error history of the last operation: empty means that nothing
    // was in progress. The copy in memory is not touched.
    [[nodiscard]] std::string GetStatusFromFile() const;

private:
    struct Record {
        std::string version;
        std::string status;
        std::string detail;
    };
    [[nodiscard]] Record ReadFile() const;
    [[nodiscard]] bool WriteFile() const;

    mutable std::mutex mutex_; // queries come from other threads while an operation writes
    std::string path_;
    Record record_;
};
} // namespace ORVX::TavomendEngine

#endif
