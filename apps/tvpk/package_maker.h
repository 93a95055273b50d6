// Makes a signed patch package out of a release.
#ifndef TAVOMEND_APPS_TVPK_PACKAGE_MAKER_H
#define TAVOMEND_APPS_TVPK_PACKAGE_MAKER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/tvpk/interruption.h"
#include "apps/tvpk/release_file.h"
#include "apps/tvpk/work_choice.h"
#include "formats/patch_config.h"

namespace ORVX::Tvpk {
constexpr const char* PACKAGE_NAME = "app.tvpk";
constexpr const char* SIGNATURE_NAME = "tavomend_sign.bin";

// One file of the package, for people.
struct MadeFile {
    std::string bundleName;
    std::string member;           // in the archive
    std::string hash;             // SHA-256 of the new file
    std::string kind;             // how it is shipped: a kind of difference, or "whole"
    std::optional<bool> isCached; // whether the difference was made before, where such are kept
    uint64_t newSize = 0;         // bytes
    uint64_t shippedSize = 0;     // bytes in the archive
};

struct MadePackage {
    Formats::PackageInfo config;
    std::vector<MadeFile> files;
    uint64_t packageSize = 0; // bytes
};

struct MakerOptions {
    bool isPlainOnly = false; // differences are plain zstd frames
    WorkChoice work;
    // Gets what is being done, for people, and how far that is in bytes; from any thread, one at a time.
    std::function<void(const std::string& step, uint64_t done, uint64_t total)> progress;
    std::function<void(const std::string& note)> note; // gets what whoever makes the package should know
};

// Used by `tvpk make`, once per object. Refuses, with one line in `error`, whatever would fail on the device, and does
// so before the first difference: the key, the output's place and every bundle file are looked at first. Everything is
// made in a directory beside the output and moved into place at the end, so that a failure or an interruption leaves
// no file.
class PackageMaker {
public:
    // release and interruption must outlive the maker.
    PackageMaker(const Release& release, MakerOptions options, Interruption& interruption);
    // Writes PACKAGE_NAME and SIGNATURE_NAME into outDir, which is made when it is missing, and tells in `made` what is
    // in them. The signature is checked with the key's public half before anything is moved out.
    [[nodiscard]] bool Make(const std::string& privateKeyPath, const std::string& outDir, MadePackage& made,
                            std::string& error);

private:
    [[nodiscard]] bool MakeIn(const std::string& workDir, const std::string& privateKeyPath, MadePackage& made,
                              std::string& error) const;
    [[nodiscard]] bool AddFiles(const std::string& workDir, MadePackage& made, std::string& error) const;
    [[nodiscard]] bool MakeFile(const ReleaseFile& source, const std::string& workDir, MadeFile& made,
                                std::string& error) const;
    [[nodiscard]] bool MakeDifference(const ReleaseFile& source, const std::string& shipped, MadeFile& made,
                                      std::string& error) const;
    [[nodiscard]] bool WritePackage(const std::string& workDir, const MadePackage& made, std::string& error) const;

    const Release& release_;
    const MakerOptions options_;
    Interruption& interruption_;
};
} // namespace ORVX::Tvpk

#endif
