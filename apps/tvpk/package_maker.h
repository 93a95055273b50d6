// Makes a signed patch package out of a release.
#ifndef TAVOMEND_APPS_TVPK_PACKAGE_MAKER_H
#define TAVOMEND_APPS_TVPK_PACKAGE_MAKER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "apps/tvpk/release_file.h"
#include "formats/patch_config.h"

namespace ORVX::Tvpk {
constexpr const char* PACKAGE_NAME = "app.tvpk";
constexpr const char* SIGNATURE_NAME = "tavomend_sign.bin";

// One file of the package, for people.
struct MadeFile {
    std::string bundleName;
    std::string member;
    std::string kind; // how it is shipped: a kind of difference, or "whole"
    uint64_t newSize = 0;
    uint64_t shippedSize = 0;
};

struct MadePackage {
    Formats::PatchConfig config;
    std::vector<MadeFile> files;
    uint64_t packageSize = 0;
};

// Refuses, with one line in `error`, whatever would fail on the device. Everything is made in a directory beside the
// output and moved into place at the end, so that a failure leaves no file.
class PackageMaker {
public:
    using Progress = std::function<void(const std::string& line)>;
    // isPlainOnly: differences are plain zstd frames.
    PackageMaker(const Release& release, bool isPlainOnly, Progress progress);
    [[nodiscard]] bool Make(const std::string& privateKeyPath, const std::string& outDir, MadePackage& made,
                            std::string& error);

private:
    [[nodiscard]] bool CheckRelease(std::string& error) const;
    [[nodiscard]] bool DescribeApp(const ReleaseApp& app, Formats::ConfigApp& config, std::string& error) const;
    [[nodiscard]] bool AddFiles(const std::string& workDir, MadePackage& made, std::string& error) const;
    [[nodiscard]] bool MakeFile(const ReleaseFile& source, const std::string& workDir, Formats::ConfigFile& file,
                                MadeFile& made, std::string& error) const;
    [[nodiscard]] bool WritePackage(const std::string& workDir, const MadePackage& made, std::string& error) const;

    const Release& release_;
    bool isPlainOnly_;
    Progress progress_;
};
} // namespace ORVX::Tvpk

#endif
