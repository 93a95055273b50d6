// Files and directories, as the engine and the host platform need them. No operation throws. All calls go through
// FileLayer, which keeps what changes files from following planted links; interrupted and partial ones are carried on
// with. Safe from any thread, as long as no two of them work on one path. Who writes a file himself takes OutputFile,
// who reads one by places InputFile.
#ifndef TAVOMEND_PLATFORM_UTILITY_FILE_UTILS_H
#define TAVOMEND_PLATFORM_UTILITY_FILE_UTILS_H

#include <cstdint>
#include <functional>
#include <string>

namespace ORVX::TavomendEngine {
class OutputFile;

constexpr const char* ACCOUNT_FILE = "/etc/passwd"; // passwd(5)

class FileUtils {
public:
    enum class Unit { BYTE, KIB };

    // True for an existing regular file (links are followed).
    [[nodiscard]] static bool FileIsExist(const std::string& path);
    [[nodiscard]] static bool DirIsExist(const std::string& path);
    // Size of a regular file, rounded up to the unit; -1 when there is none.
    [[nodiscard]] static int64_t GetFileSize(const std::string& path, Unit unit);
    // Acceptable as a path to write or read: absolute, not empty, no "..", no NUL.
    [[nodiscard]] static bool IsValidPath(const std::string& path);
    // Sum of the sizes of all regular files below a directory, in KiB, rounded up once over the sum; links are not
    // followed. False, and size untouched, when it is not a directory or cannot be read.
    [[nodiscard]] static bool GetDirSize(const std::string& path, uint64_t& size);
    // Space that an unprivileged writer has left on the file system of a path, in KiB, at most INT32_MAX; -1 on
    // failure.
    [[nodiscard]] static int32_t GetDiskFreeSpace(const std::string& path);
    // Empties a directory, and removes it too when removeSelf; a path that names a file is deleted whatever
    // removeSelf says. True when nothing of it is left (also when there was nothing); after a failure what could be
    // removed is gone all the same. Links are removed, not followed. What is gone may come back with a power cut.
    static bool CleanDir(const std::string& path, bool removeSelf);
    // Moves a file and never replaces an existing target (renameat2 with RENAME_NOREPLACE): a query that shuffles the
    // backup package back and forth must not eat one that was delivered meanwhile. Nothing has moved after a failure.
    // Not flushed: a query's move is better forgotten with a power cut. Who wants the move to last calls SyncDir.
    static bool RenameFile(const std::string& from, const std::string& to);
    // rename(2), which replaces what is there; errno tells the reason of a failure. Not flushed.
    static bool MoveFile(const std::string& from, const std::string& to);
    // remove(3): a file, a link itself, or an empty directory; errno tells the reason of a failure. Not flushed.
    static bool Remove(const std::string& path);
    // Sets the mode of a file, and not of one that a link leads to.
    static bool SetMode(const std::string& path, uint32_t mode);
    // Copies a directory tree; the target directory is created, files of the same name stay as they are: what is
    // there is newer. Links and special files are refused. False when anything could not be copied; the rest is copied
    // all the same, each file whole. All that was copied is flushed.
    [[nodiscard]] static bool CopyDir(const std::string& source, const std::string& target);
    // The whole content of a regular file; empty when it cannot be read to its end, or not be held in memory. One of
    // more than sizeMax bytes is not read at all.
    [[nodiscard]] static std::string GetFileStream(const std::string& path, size_t sizeMax = SIZE_MAX);
    // Gives a file or directory to the account "tavomend" of the device's /etc/passwd. False when there is no such
    // account or the owner cannot be changed.
    static bool SetGidAndUidToTavomend(const std::string& path);
    // The same in the init stage, and nothing in any other: root works there for a service that may have less rights.
    // Everything here that makes a file or a directory does so; for what others make, such as the difference library.
    static void GiveAwayInInitStage(const std::string& path);
    // mkdir(2), with mode 0755, and not flushed; errno tells the reason of a failure.
    static bool MakeDir(const std::string& path);
    // Creates a directory and its parents with mode 0755 and flushes their names, so that what is put there is not
    // lost with them. True when it is there afterwards; after a failure, whose reason errno tells, the parents that
    // could be made stay.
    static bool MakeDirs(const std::string& path);
    // Puts content in place of a file so that a power cut leaves the old content or the new: write beside (PATH.new),
    // fsync, rename, fsync of the directory. The directory is created when it is missing. mode: of the new file. After
    // a failure the old file stands and nothing is beside it; only when the last step fails, the new one stands and
    // may not survive a power cut. errno tells the reason of a failure.
    [[nodiscard]] static bool ReplaceFile(const std::string& path, const std::string& content, uint32_t mode);
    // The same for what `write` puts into the file, when it gives true.
    [[nodiscard]] static bool ReplaceFileWith(const std::string& path, uint32_t mode,
                                              const std::function<bool(OutputFile& file)>& write);
    // The same for the content of another file. copied: told how many bytes have been copied, piece by piece.
    using Copied = std::function<void(uint64_t done)>;
    [[nodiscard]] static bool ReplaceFileByCopy(const std::string& source, const std::string& target, uint32_t mode,
                                                const Copied& copied = nullptr);
    // Flushes a directory's entries to disk.
    static bool SyncDir(const std::string& path);
};
} // namespace ORVX::TavomendEngine

#endif
