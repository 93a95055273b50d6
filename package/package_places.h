// Where the patch package, its signature and their backups lie, and the directories around them.
#ifndef TAVOMEND_PACKAGE_PACKAGE_PLACES_H
#define TAVOMEND_PACKAGE_PACKAGE_PLACES_H

#include <mutex>

namespace ORVX::TavomendEngine {
// Owned by the package manager. Every operation may be called from any thread and takes the places' lock, which is
// recursive: who moves the package about in several steps holds it over all of them, and nobody sees them half done.
// Nothing here fails its caller: what cannot be removed or moved stays, with a line in the log.
class PackagePlaces {
public:
    // The lock, until the result goes out of scope.
    [[nodiscard]] std::unique_lock<std::recursive_mutex> Hold();

    // Package and signature both there.
    [[nodiscard]] bool IsPackageExist();
    [[nodiscard]] bool IsBackupPackageExist();
    // Neither package nor signature there: not even half of a delivery.
    [[nodiscard]] bool IsNothingDelivered();

    void ClearPackage();
    void ClearBackupPackage();
    // The two never replace an existing file. What they leave under the new names has mode 0600.
    void RenamePackageToBak();
    void RenameBakToPackage();

    // The work directory stays, empty; its hot and cold directories go as a whole.
    static void ClearAppTempDir();
    static void CleanAppTempColdDir();
    static void CleanAppTempHotDir();
    static void RemoveAppConfigFile();

private:
    std::recursive_mutex mutex_;
};

// Has the backup package under the delivered name, where it can be read, and the places' lock, as long as it lives.
// Borrows it only when nothing is delivered and the backup is whole: a package that waits to be applied, or half of
// one, stays where it is.
class BorrowedBackup {
public:
    explicit BorrowedBackup(PackagePlaces& places);
    ~BorrowedBackup();
    BorrowedBackup(const BorrowedBackup&) = delete;
    BorrowedBackup& operator=(const BorrowedBackup&) = delete;

private:
    PackagePlaces& places_;
    std::unique_lock<std::recursive_mutex> hold_;
    bool isBorrowed_;
};
} // namespace ORVX::TavomendEngine

#endif
