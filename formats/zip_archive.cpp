#include "formats/zip_archive.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <utility>
#include <zlib.h>

#include "platform/utility/file_utils.h"

namespace ORVX::Formats {
namespace {
constexpr size_t CHUNK_SIZE = 65536;
constexpr size_t MAX_NAME_SIZE = 4096;
constexpr int CASE_SENSITIVE = 1;
} // namespace

std::optional<ZipArchive> ZipArchive::Open(const std::string& path, std::string& error)
{
    if (!TavomendEngine::FileUtils::FileIsExist(path)) {
        error = "there is no file " + path;
        return std::nullopt;
    }
    ZipArchive archive;
    archive.path_ = path;
    archive.zip_ = unzOpen64(path.c_str());
    if (archive.zip_ == nullptr) {
        error = path + " is no zip archive, or its end is missing";
        return std::nullopt;
    }
    for (int move = unzGoToFirstFile(archive.zip_); move != UNZ_END_OF_LIST_OF_FILE;
         move = unzGoToNextFile(archive.zip_)) {
        unz_file_info64 info{};
        std::vector<char> name(MAX_NAME_SIZE + 1, '\0');
        if (move != UNZ_OK || unzGetCurrentFileInfo64(archive.zip_, &info, name.data(), MAX_NAME_SIZE, nullptr, 0,
                                                      nullptr, 0) != UNZ_OK) {
            error = path + " is a damaged archive";
            return std::nullopt;
        }
        archive.members_.push_back({name.data(), info.uncompressed_size, info.compressed_size});
    }
    return archive;
}

ZipArchive::ZipArchive(ZipArchive&& other) noexcept
    : path_(std::move(other.path_)), zip_(std::exchange(other.zip_, nullptr)), members_(std::move(other.members_))
{
}

ZipArchive& ZipArchive::operator=(ZipArchive&& other) noexcept
{
    std::swap(path_, other.path_);
    std::swap(zip_, other.zip_);
    std::swap(members_, other.members_);
    return *this;
}

ZipArchive::~ZipArchive()
{
    if (zip_ != nullptr) {
        unzClose(zip_);
    }
}

bool ZipArchive::Has(const std::string& name) const
{
    return std::any_of(members_.begin(), members_.end(), [&name](const auto& member) { return member.name == name; });
}

bool ZipArchive::ReadTo(const std::string& name, const Sink& sink, std::string& error) const
{
    if (unzLocateFile(zip_, name.c_str(), CASE_SENSITIVE) != UNZ_OK) {
        error = path_ + " has no member " + name;
        return false;
    }
    if (unzOpenCurrentFile(zip_) != UNZ_OK) {
        error = path_ + ": the member " + name + " cannot be read";
        return false;
    }
    std::vector<char> buffer(CHUNK_SIZE);
    int count = 0;
    bool isTaken = true;
    while (isTaken && (count = unzReadCurrentFile(zip_, buffer.data(), static_cast<unsigned>(buffer.size()))) > 0) {
        isTaken = sink(buffer.data(), static_cast<size_t>(count));
    }
    const bool isWhole = unzCloseCurrentFile(zip_) == UNZ_OK && count == 0;
    if (!isTaken) {
        error = path_ + ": the member " + name + " could not be taken out";
    } else if (!isWhole) {
        error = path_ + ": the member " + name + " is damaged";
    }
    return isTaken && isWhole;
}

std::optional<std::string> ZipArchive::ReadMember(const std::string& name, uint64_t maxSize, std::string& error) const
{
    std::string content;
    const bool isRead = ReadTo(
        name,
        [&content, maxSize](const char* data, size_t size) {
            content.append(data, size);
            return content.size() <= maxSize;
        },
        error);
    return isRead ? std::optional<std::string>(std::move(content)) : std::nullopt;
}

bool ZipArchive::ExtractMember(const std::string& name, const std::string& outPath, std::string& error) const
{
    using TavomendEngine::FileUtils;
    const std::string beside = outPath + ".part";
    if (!FileUtils::MakeDirs(outPath.substr(0, outPath.rfind('/')))) {
        error = "cannot make the directory of " + outPath;
        return false;
    }
    std::ofstream out(beside, std::ios::binary | std::ios::trunc);
    bool isDone = ReadTo(
        name,
        [&out](const char* data, size_t size) { return static_cast<bool>(out.write(data, static_cast<long>(size))); },
        error);
    out.close();
    isDone = isDone && out.good();
    if (isDone && !FileUtils::ReplaceFileByCopy(beside, outPath, 0644)) {
        error = "cannot write " + outPath;
        isDone = false;
    }
    std::remove(beside.c_str());
    return isDone;
}

bool ZipArchive::CheckWhole(std::string& error) const
{
    return std::all_of(members_.begin(), members_.end(), [this, &error](const auto& member) {
        return ReadTo(
            member.name, [](const char*, size_t) { return true; }, error);
    });
}

ZipWriter::ZipWriter(const std::string& path) : path_(path), zip_(zipOpen64(path.c_str(), APPEND_STATUS_CREATE)) {}

ZipWriter::~ZipWriter()
{
    if (zip_ != nullptr) {
        zipClose(zip_, nullptr);
    }
}

bool ZipWriter::Begin(const std::string& name, int level, std::string& error)
{
    zip_fileinfo info{};
    info.tmz_date.tm_year = 1980;
    info.tmz_date.tm_mday = 1;
    if (zip_ != nullptr && zipOpenNewFileInZip64(zip_, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                                 level == 0 ? 0 : Z_DEFLATED, level, 0) == ZIP_OK) {
        return true;
    }
    error = "cannot write " + path_;
    return false;
}

bool ZipWriter::Add(const std::string& name, const std::string& content, int level, std::string& error)
{
    if (!Begin(name, level, error)) {
        return false;
    }
    if (zipWriteInFileInZip(zip_, content.data(), static_cast<unsigned>(content.size())) != ZIP_OK ||
        zipCloseFileInZip(zip_) != ZIP_OK) {
        error = "cannot write " + path_;
        return false;
    }
    return true;
}

bool ZipWriter::AddFile(const std::string& name, const std::string& path, int level, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    if (!in.is_open()) {
        error = "cannot read " + path;
        return false;
    }
    if (!Begin(name, level, error)) {
        return false;
    }
    std::vector<char> buffer(CHUNK_SIZE);
    bool isWritten = true;
    while (isWritten && (in.read(buffer.data(), static_cast<long>(buffer.size())), in.gcount() > 0)) {
        isWritten = zipWriteInFileInZip(zip_, buffer.data(), static_cast<unsigned>(in.gcount())) == ZIP_OK;
    }
    if (zipCloseFileInZip(zip_) != ZIP_OK || !isWritten || in.bad()) {
        error = "cannot write " + path_;
        return false;
    }
    return true;
}

bool ZipWriter::Close(std::string& error)
{
    const bool isClosed = zip_ != nullptr && zipClose(std::exchange(zip_, nullptr), nullptr) == ZIP_OK;
    if (!isClosed) {
        error = "cannot write " + path_;
    }
    return isClosed;
}
} // namespace ORVX::Formats
