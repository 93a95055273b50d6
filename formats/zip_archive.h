// Zip archives (APPNOTE, through minizip) as hosts and the maker read and write them: patch packages and bundle files.
#ifndef TAVOMEND_FORMATS_ZIP_ARCHIVE_H
#define TAVOMEND_FORMATS_ZIP_ARCHIVE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/buffered_file.h"
#include "formats/device_paths.h"
#include "formats/known_members.h"
#include "formats/packed_member.h"

namespace ORVX::Formats {
constexpr uint64_t MAX_CONFIG_SIZE = uint64_t{16} << 20U; // bytes, far above any real one

struct ArchiveMember {
    std::string name;        // without a leading "/"
    uint64_t size = 0;       // bytes
    uint64_t packedSize = 0; // bytes in the archive
    uint32_t checksum = 0;   // CRC-32 of the content
    bool isEncrypted = false;
    // Where its entry is in the archive's directory, in minizip's terms.
    uint64_t directoryOffset = 0;
    uint64_t directoryIndex = 0;
};

// An archive that is open for reading. Opening reads the directory once; a member is then found by its name without
// another search, the first one of a name that stands twice. Every failure gives one line for people in `error`, which
// names the file. For one thread at a time.
class ZipArchive {
public:
    // Nothing for a file that is missing or no archive, whose directory is damaged, or which has a member whose name
    // cannot be used (a NUL in it, or over 4096 bytes).
    [[nodiscard]] static std::optional<ZipArchive> Open(const std::string& path, std::string& error);

    // In the directory's order.
    [[nodiscard]] const std::vector<ArchiveMember>& Members() const { return members_; }
    // Null for a name that the archive does not have; owned by the archive.
    [[nodiscard]] const ArchiveMember* Find(const std::string& name) const;
    // A member's content; nothing for a missing or damaged one, or one of more than maxSize bytes.
    [[nodiscard]] std::optional<std::string> ReadMember(const std::string& name, uint64_t maxSize,
                                                        std::string& error) const;
    // The first `size` bytes of a member, or all of a smaller one; empty for a missing member, or one that cannot be
    // read so far. The checksum is not compared.
    [[nodiscard]] std::string ReadHead(const std::string& name, size_t size) const;
    // Of a member's content: 64 lower-case hexadecimal digits; empty for a missing or damaged one.
    [[nodiscard]] std::string HashMember(const std::string& name, std::string& error) const;
    // Writes a member to a file, mode 0644, in one rename at the end, and makes its directory where that is missing. On
    // failure what was at outPath before is still there, and nothing beside it.
    [[nodiscard]] bool ExtractMember(const std::string& name, const std::string& outPath, std::string& error) const;
    // Reads every member to its end and compares its checksum, also where two have one name. known: see MemberChecker.
    // take: is given the whole file meanwhile; of one that is not whole, perhaps only a part.
    [[nodiscard]] bool CheckWhole(std::string& error, KnownMembers* known = nullptr,
                                  const ByteTaker& take = nullptr) const;

private:
    struct Closer {
        void operator()(void* zip) const;
    };
    using Sink = std::function<bool(const char*, size_t)>;
    ZipArchive() = default;
    [[nodiscard]] bool ReadDirectory(std::string& error);
    [[nodiscard]] const ArchiveMember* Demand(const std::string& name, std::string& error) const;
    [[nodiscard]] bool OpenMember(const ArchiveMember& member) const;
    // Where a member's packed bytes are; false for one that cannot be opened, or is encrypted.
    [[nodiscard]] bool Locate(const ArchiveMember& member, PackedMember& packed) const;
    // Gives the member to `sink`, piece by piece, as long as that gives true.
    [[nodiscard]] bool ReadThrough(const ArchiveMember& member, const Sink& sink, std::string& error) const;

    std::string path_;
    std::shared_ptr<BufferedFile> file_; // minizip's, too
    std::unique_ptr<void, Closer> zip_;
    std::vector<ArchiveMember> members_;
    std::unordered_map<std::string, size_t> indexes_; // of the first member of each name
};

// An archive that is being written. Timestamps are fixed, so that the same input gives the same bytes. Every failure
// gives one line for people in `error`; the file is then to be thrown away.
class ZipWriter {
public:
    // Creates the file, or empties it; a failure shows at the first Add.
    explicit ZipWriter(const std::string& path);

    // level: deflate level, 0 stores.
    [[nodiscard]] bool Add(const std::string& name, const std::string& content, int level, std::string& error);
    [[nodiscard]] bool AddFile(const std::string& name, const std::string& path, int level, std::string& error);
    // Writes the directory; without it the file is no archive. Nothing may be added afterwards.
    [[nodiscard]] bool Close(std::string& error);

private:
    struct Closer {
        void operator()(void* zip) const;
    };
    [[nodiscard]] bool Begin(const std::string& name, int level);
    [[nodiscard]] bool Write(const char* data, size_t size);
    [[nodiscard]] bool Told(bool isWritten, std::string& error) const;

    std::string path_;
    std::unique_ptr<void, Closer> zip_;
    int openError_ = 0; // errno of a file that could not be created
};
} // namespace ORVX::Formats

#endif
