// Reading and writing the zip archive of a patch package.
#ifndef TAVOMEND_FORMATS_ZIP_ARCHIVE_H
#define TAVOMEND_FORMATS_ZIP_ARCHIVE_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ORVX::Formats {
constexpr const char* CONFIG_MEMBER_NAME = "app_tavomend_config.json";
constexpr uint64_t MAX_CONFIG_SIZE = uint64_t{16} << 20U; // far above any real one

struct ArchiveMember {
    std::string name; // without a leading "/"
    uint64_t size = 0;
    uint64_t packedSize = 0;
};

// Every failure gives one line for people in `error`.
class ZipArchive {
public:
    [[nodiscard]] static std::optional<ZipArchive> Open(const std::string& path, std::string& error);
    ZipArchive(ZipArchive&& other) noexcept;
    ZipArchive& operator=(ZipArchive&& other) noexcept;
    ~ZipArchive();

    [[nodiscard]] const std::vector<ArchiveMember>& Members() const { return members_; }
    [[nodiscard]] bool Has(const std::string& name) const;
    // A member's content; nothing for a missing, damaged or larger one.
    [[nodiscard]] std::optional<std::string> ReadMember(const std::string& name, uint64_t maxSize,
                                                        std::string& error) const;
    // Writes a member to a file; nothing is left of it on failure.
    [[nodiscard]] bool ExtractMember(const std::string& name, const std::string& outPath, std::string& error) const;
    // Reads every member to its end and compares its checksum.
    [[nodiscard]] bool CheckWhole(std::string& error) const;

private:
    using Sink = std::function<bool(const char*, size_t)>;
    ZipArchive() = default;
    [[nodiscard]] bool ReadTo(const std::string& name, const Sink& sink, std::string& error) const;

    std::string path_;
    void* zip_ = nullptr;
    std::vector<ArchiveMember> members_;
};

// A zip archive being written. Timestamps are fixed, so that the same input gives the same bytes.
class ZipWriter {
public:
    explicit ZipWriter(const std::string& path);
    ~ZipWriter();
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;
    // level: deflate level, 0 stores.
    [[nodiscard]] bool Add(const std::string& name, const std::string& content, int level, std::string& error);
    [[nodiscard]] bool AddFile(const std::string& name, const std::string& path, int level, std::string& error);
    [[nodiscard]] bool Close(std::string& error);

private:
    [[nodiscard]] bool Begin(const std::string& name, int level, std::string& error);

    std::string path_;
    void* zip_;
};
} // namespace ORVX::Formats

#endif
