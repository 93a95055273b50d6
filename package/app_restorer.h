// Brings one application's files from the archive to rebuilt, checked bundle files.
#ifndef TAVOMEND_PACKAGE_APP_RESTORER_H
#define TAVOMEND_PACKAGE_APP_RESTORER_H

#include <cstdint>
#include <functional>
#include <string>

#include "package/app_restore_record.h"
#include "platform/api/ref_base.h"
#include "tools/parse_zip_tool.h"
#include "tools/restore_tool.h"

namespace ORVX::TavomendEngine {
// Used by the package manager, which keeps the records. Each step takes a record from one state to the next; a record
// that failed keeps its failed state, so that a later call does not try again. One call at a time.
class AppRestorer {
public:
    // Notes an error code of an application.
    using RecordError = std::function<void(const std::string& bundleName, int32_t code)>;

    AppRestorer(sptr<ParseZipTool> zipTool, sptr<RestoreTool> restoreTool, RecordError recordError);

    // MUST_PATCH to EXACTED or EXACT_FAILED: extracts the files of a hot application; those of a cold one must lie in
    // place already. True for EXACTED and FIXED, before or now. Codes: 420 for a record in any other state, 430, 440.
    [[nodiscard]] bool Exact(AppRestoreRecord& record);
    // EXACTED to RESTORED, or RESTORE_FAILED with the directory of the first product gone; a record without products
    // stays EXACTED. True for RESTORED and FIXED, before or now. Codes: 611, 613, 620.
    [[nodiscard]] bool Restore(AppRestoreRecord& record);

    // All files there; each, and the directories above it, goes to the engine's account. Code: 431.
    [[nodiscard]] bool CheckFiles(const AppRestoreRecord& record);
    // Rebuilds each difference and removes it, and compares every product's hash; stops at the first failure. Codes:
    // 612, 640.
    [[nodiscard]] bool RebuildFiles(const AppRestoreRecord& record);

    // Compares the hashes once more, before others get the products: they may lie there since an earlier boot stage.
    // Who installs them finds out himself about one that is not there. Code: 640.
    [[nodiscard]] bool CheckProducts(const AppRestoreRecord& record);

    // Gives a file and the directories between it and the work directory, itself left out, to the engine's account.
    static void ResetPathGidAndUid(const std::string& path);
    // hash: hexadecimal, in either case.
    [[nodiscard]] static bool CheckFileHash(const std::string& path, const std::string& hash);
    // 64 lower-case hexadecimal digits; empty for a path that is not valid or a file that cannot be read. Read in small
    // pieces: bundle files are large.
    [[nodiscard]] static std::string GetFileSHA256(const std::string& path);

private:
    [[nodiscard]] bool ExactHotFiles(const AppRestoreRecord& record);
    [[nodiscard]] AppRestoreState RestoreExacted(const AppRestoreRecord& record);

    sptr<ParseZipTool> zipTool_;
    sptr<RestoreTool> restoreTool_;
    RecordError recordError_;
};
} // namespace ORVX::TavomendEngine

#endif
