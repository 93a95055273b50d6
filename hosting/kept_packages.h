// Keeps the delivered package, and the one in force, through a run of the engine, which removes a package that its gate
// refuses and makes a package the backup whatever has become of it. For the runs of this room, on one thread.
#ifndef TAVOMEND_HOSTING_KEPT_PACKAGES_H
#define TAVOMEND_HOSTING_KEPT_PACKAGES_H

namespace ORVX::TavomendHosting {
// The delivered one and its signature, while they are kept.
constexpr const char* KEPT_PACKAGE = "/data/update/tavomend/package/kept/app.tvpk";
constexpr const char* KEPT_SIGNATURE = "/data/update/tavomend/package/kept/tavomend_sign.bin";
// The one in force.
constexpr const char* KEPT_BACKUP_PACKAGE = "/data/update/tavomend/package/kept/app.tvpk.bak";
constexpr const char* KEPT_BACKUP_SIGNATURE = "/data/update/tavomend/package/kept/tavomend_sign.bin.bak";

// Second names (hard links, or copies where there are none) for what is delivered and for a backup that is whole, on
// disk when this returns true. False when they could not be made: nothing is kept then, and the engine had better not
// run.
[[nodiscard]] bool KeepPackages();
// Brings package, backup and signatures back to what they were when they were kept, and keeps them no longer. To be
// called after a run that did not come to an outcome that counts, or by the next process after one that was cut short;
// harmless when nothing is kept. False when it could not be done: all is kept on.
bool PutKeptPackagesBack();
// Of a run that has used its package up for nothing: brings the backup alone back, and keeps nothing longer. Needs
// one that was kept. False when it could not be done: all is kept on then, for the next process to bring back.
bool PutKeptBackupBack();
[[nodiscard]] bool HasKeptBackup();
// Keeps them no longer: the outcome of the run counts.
void DropKeptPackages();
} // namespace ORVX::TavomendHosting

#endif
