// Judges a release before anything is made of it, as the devices that it is for would.
#ifndef TAVOMEND_APPS_TVPK_RELEASE_JUDGE_H
#define TAVOMEND_APPS_TVPK_RELEASE_JUDGE_H

#include <functional>
#include <string>
#include <vector>

#include "apps/tvpk/release_file.h"
#include "formats/bundle_file_set.h"
#include "formats/patch_config.h"

namespace ORVX::Tvpk {
// Used by the package maker. Every refusal is one line for people in `error`.
class ReleaseJudge {
public:
    // release must outlive the judge.
    explicit ReleaseJudge(const Release& release) : release_(release) {}

    // What the release file alone tells. No other file is looked at.
    [[nodiscard]] bool CheckWords(std::string& error) const;
    // Reads every bundle file through, and gives the configuration that the package gets: without hashes, with the
    // names of differences before it is known which ones are shipped whole, and the room that the new files take.
    // onFile is called before each application's files are read.
    [[nodiscard]] bool Describe(const std::function<void()>& onFile, Formats::PackageInfo& config,
                                std::string& error) const;
    // What whoever makes the package should know, a line each.
    [[nodiscard]] static std::vector<std::string> NotesOn(const Formats::PackageInfo& config);

private:
    struct Sides {
        Formats::BundleFileSet before;
        Formats::BundleFileSet after;
    };
    [[nodiscard]] static bool CheckApp(const ReleaseApp& app, std::string& error);
    [[nodiscard]] static bool DescribeApp(const ReleaseApp& app, Formats::AppInfo& config, std::string& error);
    [[nodiscard]] static bool ReadSides(const ReleaseApp& app, Sides& sides, std::string& error);
    [[nodiscard]] static bool CheckSides(const ReleaseApp& app, const Sides& sides, std::string& error);
    [[nodiscard]] static bool AddPaths(const ReleaseApp& app, Formats::AppInfo& config, std::string& error);

    const Release& release_;
};
} // namespace ORVX::Tvpk

#endif
