// Puts bundle files in place under /data/app, one directory for each installed version of a bundle.
#ifndef TAVOMEND_PORTS_HOST_BUNDLE_PLACER_H
#define TAVOMEND_PORTS_HOST_BUNDLE_PLACER_H

#include <memory>
#include <mutex>
#include <string>

#include "ports/host/bundle_file_set.h"
#include "ports/host/bundle_store.h"
#include "ports/host/staged_files.h"

namespace ORVX::TavomendHost {
// Files are staged (StagedFiles) with a note of what the store will know, flushed and renamed into a new directory;
// then the store's one transaction makes the new version the installed one; then the old directory goes. A power cut at
// any point leaves the old version or the new one, and leftovers that the next scan removes; so does a store that
// fails, since only the store itself, asked later, knows whether it has taken the new one. Used by the installer's
// threads and by the boot scan.
class BundlePlacer {
public:
    explicit BundlePlacer(std::shared_ptr<BundleStore> store);

    // For the files of one install, while they are read.
    [[nodiscard]] StagedFiles Stage() { return StagedFiles(staging_); }
    // Installs for one user more, keeping those that have the bundle already. staged: what Stage gave, with the copies
    // of the set's files or without; it serves one install. On failure the installed version is the former one, and the
    // copies go with `staged`.
    [[nodiscard]] InstallResult Install(const BundleFileSet& set, StagedFiles& staged, int32_t userId, bool mayReplace,
                                        std::string& message);
    // Takes a newer version in for the users who have the bundle.
    [[nodiscard]] InstallResult Update(const BundleFileSet& set, std::string& message);
    // Back to the factory files, for the users who have the bundle. False when the store cannot be read or written.
    [[nodiscard]] bool RestoreFactory(const BundleFileSet& factory);
    // Removes what no stored bundle uses. False, and nothing is removed, when the store cannot be read.
    [[nodiscard]] bool RemoveLeftovers();
    // Brings the notes beside installed versions, and of the accounts, up to the store's. False when one could not be
    // written or the store cannot be read; the next scan tries again.
    bool RefreshNotes();

private:
    [[nodiscard]] InstallResult CheckUser(const Formats::BundleManifest& manifest, int32_t userId,
                                          std::string& message);
    [[nodiscard]] InstallResult Place(InstalledBundle bundle, const std::optional<InstalledBundle>& installed,
                                      StagedFiles& staged, std::string& message);

    std::shared_ptr<BundleStore> store_;
    std::shared_ptr<StagingArea> staging_ = std::make_shared<StagingArea>();
    std::mutex mutex_;
};
} // namespace ORVX::TavomendHost

#endif
