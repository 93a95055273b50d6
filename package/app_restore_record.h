// The restore record of one application: what the package says about it, where its files are, how far it has come.
#ifndef TAVOMEND_PACKAGE_APP_RESTORE_RECORD_H
#define TAVOMEND_PACKAGE_APP_RESTORE_RECORD_H

#include <cstdint>
#include <string>
#include <vector>

namespace ORVX::TavomendEngine {
// Progress of one application. The numbers appear in logs. 1 is replaced at once by MUST_PATCH or FIXED; INIT_FAILED is
// known to readers and set by nobody here.
enum AppRestoreState : int32_t {
    APP_PARSED = 1,
    APP_MUST_PATCH = 2, // files not yet extracted
    APP_INIT_FAILED = 3,
    APP_EXACTED = 4, // files extracted and present
    APP_EXACT_FAILED = 5,
    APP_RESTORED = 6, // bundle files rebuilt and hash-checked
    APP_RESTORE_FAILED = 7,
    APP_FIXED = 8, // runs the target version already
};

// Kept by the package manager, worked on by the restorer, read by the states. A plain value: copies are independent.
// The lists are parallel: entry i of each describes file i.
struct AppRestoreRecord {
    // The record as one line for logs.
    [[nodiscard]] std::string Dump() const;

    std::string bundleName;
    int32_t appSequence = -1; // position in the configuration, key of the application's error codes
    uint32_t version = static_cast<uint32_t>(-1);
    uint32_t preVersion = static_cast<uint32_t>(-1);
    std::string appType;
    std::string appPatchType;                     // "hot" or "cold"
    int32_t fileNum = 0;                          // bounds every loop over the files; below 0 there are none
    std::vector<std::string> targetFiles;         // archive members, with a leading "/"
    std::vector<std::string> diffPaths;           // where they are extracted to
    std::vector<std::string> basePaths;           // installed files that they apply to
    std::vector<std::string> appsHashs;           // SHA-256 of the rebuilt files, hexadecimal
    std::vector<std::string> restoreProductPaths; // rebuilt, or whole, bundle files to install
    int32_t state = APP_PARSED;
};
} // namespace ORVX::TavomendEngine

#endif
