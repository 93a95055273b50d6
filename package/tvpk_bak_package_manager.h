// Reads the backup package: the patch in force, whose applications a revoke has to bring back.
#ifndef TAVOMEND_PACKAGE_TVPK_BAK_PACKAGE_MANAGER_H
#define TAVOMEND_PACKAGE_TVPK_BAK_PACKAGE_MANAGER_H

#include <cstdint>
#include <string>
#include <vector>

#include "package/signed_package.h"
#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendEngine {
// Process-wide; used by the revoke tasks of the ready and activites states, one operation at a time. The gate, once
// passed, and the parsed configuration live as long as the process. Moves no package, removes none and records no error
// codes; the extracted configuration on disk becomes the backup's.
class TvpkBakPackageManager : public SignedPackage {
public:
    // One application of the backup.
    struct APatchInfo {
        std::string bundleName;
        uint32_t version = 0;    // that the patch installed
        uint32_t preVersion = 0; // before the patch
    };

    TvpkBakPackageManager();
    virtual ~TvpkBakPackageManager();

    // Signature and configuration only: what is in force was judged against the device when it was applied. True when
    // it passes or has passed before, without looking at the files again.
    [[nodiscard]] bool PreconditionCheck();
    // The backup's signature alone.
    [[nodiscard]] bool VerifyTvpkBakFile();
    // Appends one record an application; needs GetPackageInfo first and gives false without it.
    [[nodiscard]] bool InitAPatchInfoList();
    // One record an application, in the configuration's order. False, and `out` untouched, before the gate has passed.
    [[nodiscard]] bool GetAllAPatchInfo(std::vector<APatchInfo>& out);

private:
    std::vector<APatchInfo> aPatchInfoList_;
};
} // namespace ORVX::TavomendEngine

#endif
