#include "ports/host/cache_file.h"

#include <sys/types.h>

#include "handles/sha256.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/output_file.h"

namespace ORVX::TavomendHost {
using TavomendEngine::FileUtils;

namespace {
constexpr size_t HASH_SIZE = 64;
constexpr mode_t CACHE_MODE = 0644;

std::string BesideOf(const std::string& path)
{
    return path + ".new";
}
} // namespace

std::string ReadCacheFile(const std::string& path)
{
    const std::string whole = FileUtils::GetFileStream(path);
    if (whole.size() <= HASH_SIZE) {
        return "";
    }
    std::string text = whole.substr(HASH_SIZE);
    return whole.compare(0, HASH_SIZE, Handles::Sha256::TextOf(text)) == 0 ? text : "";
}

void WriteCacheFile(const std::string& path, const std::string& text)
{
    const std::string beside = BesideOf(path);
    const std::string whole = Handles::Sha256::TextOf(text) + text;
    TavomendEngine::OutputFile file(beside, CACHE_MODE);
    const bool isWritten = file.IsValid() && file.Write(whole.data(), whole.size());
    if (!file.Close() || !isWritten || !FileUtils::MoveFile(beside, path)) {
        FileUtils::Remove(beside);
    }
}

void TidyCacheFile(const std::string& path)
{
    FileUtils::Remove(BesideOf(path));
}

void RemoveCacheFile(const std::string& path)
{
    FileUtils::Remove(path);
    TidyCacheFile(path);
}
} // namespace ORVX::TavomendHost
