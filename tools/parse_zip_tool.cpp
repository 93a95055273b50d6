#include "tools/parse_zip_tool.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <minizip/unzip.h>

#include "common/log.h"
#include "formats/archive_stream.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/output_file.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t MEMBER_NAME_SIZE = 4096;
constexpr int BUFFER_SIZE = 4096;
constexpr uLong FLAG_ENCRYPTED = 1;

bool GetCurrentMember(unzFile handle, std::string& fileName, unz_file_info& info)
{
    std::vector<char> name(MEMBER_NAME_SIZE + 1, '\0'); // minizip leaves the NUL out of a name that fills its buffer
    if (unzGetCurrentFileInfo(handle, &info, name.data(), MEMBER_NAME_SIZE, nullptr, 0, nullptr, 0) != UNZ_OK) {
        return false;
    }
    fileName = std::string("/") + name.data();
    return true;
}

// The number of bytes that the last read gave: 0 at the end of the member, negative or the unwritten rest on failure.
int CopyMember(unzFile handle, OutputFile& out, std::vector<char>& buffer)
{
    int count = 0;
    do {
        count = unzReadCurrentFile(handle, buffer.data(), static_cast<unsigned>(buffer.size()));
        if (count > 0 && !out.Write(buffer.data(), static_cast<size_t>(count))) {
            TAVOMEND_LOG_E("fwrite Failed");
            break;
        }
    } while (count > 0);
    return count;
}

// Where the bytes of the open member stand in the archive as they are; nothing for one that is not simply stored.
std::optional<uint64_t> StoredPlace(unzFile handle)
{
    unz_file_info info{};
    const bool isStored = unzGetCurrentFileInfo(handle, &info, nullptr, 0, nullptr, 0, nullptr, 0) == UNZ_OK &&
                          info.compression_method == 0 && (info.flag & FLAG_ENCRYPTED) == 0 &&
                          info.compressed_size == info.uncompressed_size;
    return isStored ? std::optional<uint64_t>(unzGetCurrentFileZStreamPos64(handle)) : std::nullopt;
}

// Takes what minizip would give out of the file itself, without copying it byte by byte; the result is CopyMember's.
int CopyStored(SealedFile& file, uint64_t at, int size, OutputFile& out)
{
    while (size > 0) {
        const std::string_view bytes = file.View(at, static_cast<uint64_t>(size));
        if (bytes.empty()) {
            return UNZ_ERRNO;
        }
        if (!out.Write(bytes.data(), bytes.size())) {
            TAVOMEND_LOG_E("fwrite Failed");
            return size;
        }
        at += bytes.size();
        size -= static_cast<int>(bytes.size());
    }
    return 0;
}
} // namespace

ParseZipTool::ParseZipTool(std::string zipFilePath) : zipFilePath_(std::move(zipFilePath)) {}

bool ParseZipTool::UnZipTargetFiles(const std::vector<UnZipTargetInfo>& targetInfos)
{
    if (!FileUtils::FileIsExist(zipFilePath_)) {
        TAVOMEND_LOG_E("zipFile not exist");
        return false;
    }
    if (!OpenArchive()) {
        TAVOMEND_LOG_E("unZipDir is NULL");
        return false;
    }
    for (const auto& info : targetInfos) {
        if (!UnZipFile(info, unzHandle_)) {
            TAVOMEND_LOG_E("exact %{public}s failed", info.fileName.c_str());
            return false;
        }
    }
    TAVOMEND_LOG_I("unZip targetInfos success");
    return true;
}

void ParseZipTool::Pin(const Handles::Sha256Digest& digest, std::unique_ptr<SealedFile> file)
{
    Reset();
    digest_ = digest;
    sealed_ = std::move(file);
}

void ParseZipTool::KeepSealed(bool isKept)
{
    isSealedKept_ = isKept;
    if (!isKept) {
        Reset();
    }
}

std::optional<std::string> ParseZipTool::ReadMember(const std::string& name, size_t sizeMax)
{
    if (!OpenArchive()) {
        return std::nullopt;
    }
    std::string fileName;
    unz_file_info member{};
    for (const size_t place : PlacesOf(name)) {
        if (!MoveTo(place) || !GetCurrentMember(unzHandle_, fileName, member) || member.uncompressed_size > sizeMax ||
            unzOpenCurrentFile(unzHandle_) != UNZ_OK) {
            continue;
        }
        std::string text(member.uncompressed_size, '\0');
        const int count = unzReadCurrentFile(unzHandle_, text.data(), static_cast<unsigned>(text.size()));
        if (unzCloseCurrentFile(unzHandle_) == UNZ_OK && count == static_cast<int>(text.size())) {
            return text;
        }
    }
    return std::nullopt;
}

bool ParseZipTool::OpenArchive()
{
    if (unzHandle_ == nullptr && !digest_) {
        unzHandle_ = unzOpen(zipFilePath_.c_str());
    } else if (unzHandle_ == nullptr && SealPinned()) {
        const auto readAt = [&file = *sealed_](uint64_t at, char* room, size_t size) {
            return file.ReadAt(at, room, size);
        };
        unzHandle_ = Formats::OpenArchive({sealed_->Size(), readAt});
    }
    return unzHandle_ != nullptr;
}

// One walk finds all members: requests come in about the order of the archive, and a walk for each would take time with
// the square of their number.
const std::vector<size_t>& ParseZipTool::PlacesOf(const std::string& name)
{
    if (places_.empty()) {
        size_t place = 0;
        std::string fileName;
        unz_file_info member{};
        for (int move = unzGoToFirstFile(unzHandle_); move == UNZ_OK; move = unzGoToNextFile(unzHandle_)) {
            if (GetCurrentMember(unzHandle_, fileName, member)) {
                places_[fileName].push_back(place);
            }
            ++place;
        }
        place_.reset();
    }
    return places_[name];
}

bool ParseZipTool::MoveTo(size_t place)
{
    int move = UNZ_OK;
    if (!place_ || *place_ > place) {
        move = unzGoToFirstFile(unzHandle_);
        place_ = 0;
    }
    for (; move == UNZ_OK && *place_ < place; ++*place_) {
        move = unzGoToNextFile(unzHandle_);
    }
    if (move != UNZ_OK) {
        place_.reset();
    }
    return move == UNZ_OK;
}

bool ParseZipTool::SealPinned()
{
    if (sealed_ == nullptr) {
        Handles::Sha256 hash;
        Handles::Sha256Digest digest{};
        sealed_ = SealedFile::Read(zipFilePath_, [&hash](const void* bytes, size_t size) { hash.Add(bytes, size); });
        if (!hash.Finish(digest) || digest != digest_) {
            sealed_.reset();
        }
    }
    return sealed_ != nullptr;
}

bool ParseZipTool::UnZipFile(const UnZipTargetInfo& info, void* handle)
{
    TAVOMEND_LOG_I("decompressionPath: %{public}s", info.decompressionPath.c_str());
    std::string outPath = info.decompressionPath;
    for (const size_t place : PlacesOf(info.fileName)) {
        std::string fileName;
        unz_file_info member{};
        if (!MoveTo(place) || !GetCurrentMember(handle, fileName, member)) {
            continue;
        }
        if (member.uncompressed_size > static_cast<uLong>(INT_MAX)) {
            TAVOMEND_LOG_E("check fileSize failed");
            continue;
        }
        if (UnZipTargetFile(outPath, handle, static_cast<int>(member.uncompressed_size))) {
            TAVOMEND_LOG_I("unzip %{public}s success", outPath.c_str());
            return true;
        }
    }
    TAVOMEND_LOG_E("unzip %{public}s failed ", info.fileName.c_str());
    return false;
}

bool ParseZipTool::UnZipTargetFile(std::string& outPath, void*& handle, int size)
{
    if (FileUtils::GetFileSize(outPath, FileUtils::Unit::BYTE) == size) {
        return true;
    }
    if (FileUtils::IsValidPath(outPath) && !TouchNullFile(outPath)) { // any other is refused below, untouched
        TAVOMEND_LOG_E("touch null file failed");
        return false;
    }
    if (unzOpenCurrentFile(handle) != UNZ_OK) {
        TAVOMEND_LOG_E("unZip open %{public}s file failed", outPath.c_str());
        return false;
    }
    const bool isWritten = ExtractFileAndWrite(handle, outPath, size);
    unzCloseCurrentFile(handle);
    if (!isWritten) {
        TAVOMEND_LOG_E("extract %{public}s file failed", outPath.c_str());
    }
    return isWritten;
}

bool ParseZipTool::ExtractFileAndWrite(void*& handle, std::string outPath, int size)
{
    if (!FileUtils::IsValidPath(outPath)) {
        TAVOMEND_LOG_E("outFilePath: %{public}s is an invalid path", outPath.c_str());
        return false;
    }
    OutputFile out(outPath);
    if (!out.IsValid()) {
        TAVOMEND_LOG_E("outFilePath: %{public}s, errorMessage:%{public}s", outPath.c_str(), strerror(errno));
        return false;
    }
    std::vector<char> buffer(static_cast<size_t>(std::min(size, BUFFER_SIZE)));
    const auto place = sealed_ != nullptr ? StoredPlace(handle) : std::nullopt;
    const int lastCount = place ? CopyStored(*sealed_, *place, size, out) : CopyMember(handle, out, buffer);
    const bool isClosed = out.Close(); // a full disk may show only here
    if (lastCount != 0) {
        TAVOMEND_LOG_E("unzReadCurrentFile failed");
        return false;
    }
    if (!isClosed || FileUtils::GetFileSize(outPath, FileUtils::Unit::BYTE) != size) {
        TAVOMEND_LOG_E("check fileSize failed");
        return false;
    }
    return true;
}

bool ParseZipTool::TouchNullFile(std::string& path)
{
    if (FileUtils::FileIsExist(path)) {
        return true;
    }
    std::string dir = path.substr(0, std::min(path.rfind('/'), path.size()));
    if (!CreateDir(dir)) {
        TAVOMEND_LOG_E("create %{public}s dir failed", dir.c_str());
        return false;
    }
    if (!OutputFile(path).IsValid()) {
        TAVOMEND_LOG_E("open %{public}s failed", path.c_str());
        return false;
    }
    return true;
}

bool ParseZipTool::CreateDir(std::string& path)
{
    if (FileUtils::DirIsExist(path) || path.rfind('/') == path.find('/')) {
        return true;
    }
    if (path.back() == '/') {
        path.pop_back();
    }
    std::string parent = path.substr(0, path.rfind('/'));
    if (!FileUtils::DirIsExist(parent) && !CreateDir(parent)) {
        const int error = errno;
        TAVOMEND_LOG_E("errinfo: %{public}s, path: %{public}s", strerror(error), parent.c_str());
        errno = error; // logging has its own
        return false;
    }
    const int result = FileUtils::MakeDir(path) ? 0 : -1;
    const int error = errno;
    TAVOMEND_LOG_I("mkdir result= %{public}d, errinfo: %{public}s", result, strerror(error));
    errno = error;
    return result == 0;
}

void ParseZipTool::Reset()
{
    TAVOMEND_LOG_I("reset unZipDir");
    if (unzHandle_ != nullptr) {
        unzClose(std::exchange(unzHandle_, nullptr));
    }
    places_.clear();
    place_.reset();
    if (!isSealedKept_) {
        sealed_.reset();
    }
}
} // namespace ORVX::TavomendEngine
