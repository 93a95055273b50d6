// What the delivered and the backup package have in common: a signature, and a configuration inside the archive.
#ifndef TAVOMEND_PACKAGE_SIGNED_PACKAGE_H
#define TAVOMEND_PACKAGE_SIGNED_PACKAGE_H

#include <string>

#include "platform/api/ref_base.h"
#include "tools/parse_app_config_tool.h"
#include "tools/parse_zip_tool.h"
#include "tools/rsa_sign_verify_tool.h"

namespace ORVX::TavomendEngine {
// Base of the two package managers, each with its own two files. One operation at a time.
class SignedPackage {
public:
    SignedPackage(const SignedPackage&) = delete;
    SignedPackage& operator=(const SignedPackage&) = delete;

    // Puts the archive's configuration in the place of whatever configuration was extracted before. False when the
    // archive cannot be read or has none; there is no usable one on disk then.
    [[nodiscard]] bool ExactConfigFileToPackage();
    // Extracts and parses the configuration, once: the parsed one is kept, whatever happens to the files. Parsed is
    // what the archive has. False for a configuration that is missing, of more than 16 MiB or not valid; a later call
    // tries again.
    [[nodiscard]] bool GetPackageInfo();

protected:
    SignedPackage(const char* packagePath, const char* signPath);
    ~SignedPackage();

    // True when both files are there and the signature is the package's own. What is extracted from then on are the
    // bytes that were verified, and none that took their place.
    [[nodiscard]] bool VerifyPackage();
    // The gate has passed and the configuration may be read; otherwise says why not.
    [[nodiscard]] bool IsPackageInfoReady() const;
    // The first application of that name; null when there is none. Needs the configuration.
    [[nodiscard]] const ParseAppConfigTool::AppInfo* FindApp(const std::string& bundleName) const;

    sptr<RsaSignVerifyTool> signTool_;
    sptr<ParseAppConfigTool> configTool_;
    sptr<ParseZipTool> zipTool_;
    ParseAppConfigTool::PackageInfo* packageInfo_ = nullptr; // held inside configTool_
    bool isPreconditionPassed_ = false;

private:
    const char* packagePath_;
    const char* signPath_;
};
} // namespace ORVX::TavomendEngine

#endif
