// Extraction of named members of one zip archive (APPNOTE, through minizip) to exactly the paths that the caller names.
#ifndef TAVOMEND_TOOLS_PARSE_ZIP_TOOL_H
#define TAVOMEND_TOOLS_PARSE_ZIP_TOOL_H

#include <string>
#include <vector>

#include "platform/api/ref_base.h"

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

    // Extracts in order and stops at the first failure; what was written before stays. An output that already has the
    // member's size counts as extracted, whatever its content: that makes a resumed run cheap. Missing directories are
    // created, mode 0755. A member of 2 GiB or more is refused.
    bool UnZipTargetFiles(const std::vector<UnZipTargetInfo>& targetInfos);
    void Reset();

private:
    bool UnZipFile(const UnZipTargetInfo& info, void* handle);
    bool UnZipTargetFile(std::string& outPath, void*& handle, int size);
    bool ExtractFileAndWrite(void*& handle, std::string outPath, int size);
    bool TouchNullFile(std::string& path);
    bool CreateDir(std::string& path);

    std::string zipFilePath_;
    void* unzHandle_ = nullptr;
};
} // namespace ORVX::TavomendEngine

#endif
