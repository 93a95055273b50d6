// Extraction of named members of one zip archive (APPNOTE, through minizip) to exactly the paths that the caller names.
#ifndef TAVOMEND_TOOLS_PARSE_ZIP_TOOL_H
#define TAVOMEND_TOOLS_PARSE_ZIP_TOOL_H

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "handles/sha256.h"
#include "platform/api/ref_base.h"
#include "tools/sealed_file.h"

namespace ORVX::TavomendEngine {
// Owned by each of the two package managers. The archive is opened on first use and stays open until Reset, so that all
// requests against one package need one open. The owner calls Reset when it is done; destruction does not close.
class ParseZipTool : public virtual RefBase {
public:
    struct UnZipTargetInfo {
        std::string fileName;          // "/" and the member's name inside the archive
        std::string decompressionPath; // the output file
    };

    explicit ParseZipTool(std::string zipFilePath);

    // From now on the archive is the one of this digest, and no other that comes into its place: `file`, which has been
    // hashed, is read until Reset; later what is under the path is read through, and an archive of another digest is
    // none. What is written into the file fails to be extracted. Closes an open archive.
    void Pin(const Handles::Sha256Digest& digest, std::unique_ptr<SealedFile> file);
    // While it is true, Reset leaves the pinned file open and sealed, so that it is hashed once; without it the file is
    // given up, and an open archive is closed.
    void KeepSealed(bool isKept);

    // Extracts in order and stops at the first failure; what was written before stays. An output that already has the
    // member's size counts as extracted, whatever its content: that makes a resumed run cheap. Missing directories are
    // created, mode 0755. A member of 2 GiB or more is refused.
    bool UnZipTargetFiles(const std::vector<UnZipTargetInfo>& targetInfos);
    // The content of the first whole member of that name, as the requests write it, and of at most sizeMax bytes (below
    // 2 GiB). Nothing without one.
    [[nodiscard]] std::optional<std::string> ReadMember(const std::string& name, size_t sizeMax);
    void Reset();

private:
    bool OpenArchive();
    // Where the members of that name stand, counted from the first one.
    [[nodiscard]] const std::vector<size_t>& PlacesOf(const std::string& name);
    bool MoveTo(size_t place);
    // Has the pinned archive in sealed_.
    bool SealPinned();
    bool UnZipFile(const UnZipTargetInfo& info, void* handle);
    bool UnZipTargetFile(std::string& outPath, void*& handle, int size);
    bool ExtractFileAndWrite(void*& handle, std::string outPath, int size);
    bool TouchNullFile(std::string& path);
    bool CreateDir(std::string& path);

    std::string zipFilePath_;
    void* unzHandle_ = nullptr;
    std::unordered_map<std::string, std::vector<size_t>> places_; // by name; of the open archive
    std::optional<size_t> place_;                                 // of the current member
    std::optional<Handles::Sha256Digest> digest_;
    std::unique_ptr<SealedFile> sealed_;
    bool isSealedKept_ = false;
};
} // namespace ORVX::TavomendEngine

#endif
