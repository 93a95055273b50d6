#include "formats/zip_archive.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <utility>
#include <zlib.h>

#include "formats/archive_stream.h"
#include "formats/member_checker.h"
#include "handles/file_error.h"
#include "handles/sha256.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/output_file.h"

namespace ORVX::Formats {
using TavomendEngine::FileUtils;

namespace {
constexpr size_t CHUNK_SIZE = 65536;
constexpr size_t MAX_NAME_SIZE = 4096;
constexpr uint32_t FILE_MODE = 0644;
constexpr uLong IS_ENCRYPTED = 1;

bool ReadEntry(unzFile zip, ArchiveMember& member)
{
    unz_file_info64 info{};
    unz64_file_pos position{};
    std::vector<char> name(MAX_NAME_SIZE + 1, '\0');
    if (unzGetCurrentFileInfo64(zip, &info, name.data(), MAX_NAME_SIZE, nullptr, 0, nullptr, 0) != UNZ_OK ||
        unzGetFilePos64(zip, &position) != UNZ_OK) {
        return false;
    }
    member = {name.data(),
              info.uncompressed_size,
              info.compressed_size,
              static_cast<uint32_t>(info.crc),
              (info.flag & IS_ENCRYPTED) != 0,
              position.pos_in_zip_directory,
              position.num_of_file};
    return member.name.size() == info.size_filename; // shorter with a NUL in it, or when it did not fit
}
} // namespace

void ZipArchive::Closer::operator()(void* zip) const
{
    unzClose(zip);
}

std::optional<ZipArchive> ZipArchive::Open(const std::string& path, std::string& error)
{
    if (!Handles::WhyUnreadable(path).empty()) {
        error = Handles::CannotRead(path);
        return std::nullopt;
    }
    ZipArchive archive;
    archive.path_ = path;
    const auto file = archive.file_ = std::make_shared<BufferedFile>(path);
    if (file->IsValid()) {
        archive.zip_.reset(OpenArchive(
            {file->Size(), [file](uint64_t at, char* room, size_t size) { return file->ReadAt(at, room, size); }}));
    }
    if (archive.zip_ == nullptr) {
        error = path + " is no zip archive, or its end is missing";
        return std::nullopt;
    }
    return archive.ReadDirectory(error) ? std::optional<ZipArchive>(std::move(archive)) : std::nullopt;
}

bool ZipArchive::ReadDirectory(std::string& error)
{
    int move = unzGoToFirstFile(zip_.get());
    for (; move == UNZ_OK; move = unzGoToNextFile(zip_.get())) {
        ArchiveMember member;
        if (!ReadEntry(zip_.get(), member)) {
            break;
        }
        indexes_.emplace(member.name, members_.size());
        members_.push_back(std::move(member));
    }
    if (move != UNZ_END_OF_LIST_OF_FILE) {
        error = path_ + " is a damaged archive";
    }
    return move == UNZ_END_OF_LIST_OF_FILE;
}

const ArchiveMember* ZipArchive::Find(const std::string& name) const
{
    const auto found = indexes_.find(name);
    return found == indexes_.end() ? nullptr : &members_[found->second];
}

const ArchiveMember* ZipArchive::Demand(const std::string& name, std::string& error) const
{
    const ArchiveMember* member = Find(name);
    if (member == nullptr) {
        error = path_ + " has no member " + name;
    }
    return member;
}

bool ZipArchive::OpenMember(const ArchiveMember& member) const
{
    const unz64_file_pos position{member.directoryOffset, member.directoryIndex};
    return unzGoToFilePos64(zip_.get(), &position) == UNZ_OK && unzOpenCurrentFile(zip_.get()) == UNZ_OK;
}

bool ZipArchive::ReadThrough(const ArchiveMember& member, const Sink& sink, std::string& error) const
{
    if (!OpenMember(member)) {
        error = path_ + ": the member " + member.name + " cannot be read";
        return false;
    }
    std::vector<char> buffer(CHUNK_SIZE);
    uint64_t total = 0;
    int count = 0;
    bool isTaken = true;
    while (isTaken &&
           (count = unzReadCurrentFile(zip_.get(), buffer.data(), static_cast<unsigned>(buffer.size()))) > 0) {
        isTaken = sink(buffer.data(), static_cast<size_t>(count));
        total += static_cast<uint64_t>(count);
    }
    // Closing compares the checksum, but not that of a member which ends before its size.
    const bool isWhole = unzCloseCurrentFile(zip_.get()) == UNZ_OK && count == 0 && total == member.size;
    if (!isTaken) {
        error = path_ + ": the member " + member.name + " could not be taken out";
    } else if (!isWhole) {
        error = path_ + ": the member " + member.name + " is damaged";
    }
    return isTaken && isWhole;
}

std::optional<std::string> ZipArchive::ReadMember(const std::string& name, uint64_t maxSize, std::string& error) const
{
    const ArchiveMember* member = Demand(name, error);
    if (member == nullptr) {
        return std::nullopt;
    }
    if (member->size > maxSize) {
        error = path_ + ": the member " + name + " is larger than " + std::to_string(maxSize) + " bytes";
        return std::nullopt;
    }
    std::string content;
    const auto keep = [&content](const char* data, size_t size) {
        content.append(data, size);
        return true;
    };
    return ReadThrough(*member, keep, error) ? std::optional<std::string>(std::move(content)) : std::nullopt;
}

std::string ZipArchive::ReadHead(const std::string& name, size_t size) const
{
    const ArchiveMember* member = Find(name);
    if (member == nullptr || !OpenMember(*member)) {
        return "";
    }
    std::string head(std::min<uint64_t>(size, member->size), '\0');
    const int count = unzReadCurrentFile(zip_.get(), head.data(), static_cast<unsigned>(head.size()));
    static_cast<void>(unzCloseCurrentFile(zip_.get())); // which tells of a checksum only at the end
    return count == static_cast<int>(head.size()) ? head : "";
}

std::string ZipArchive::HashMember(const std::string& name, std::string& error) const
{
    const ArchiveMember* member = Demand(name, error);
    Handles::Sha256 hash;
    Handles::Sha256Digest digest{};
    const auto add = [&hash](const char* data, size_t size) {
        hash.Add(data, size);
        return true;
    };
    return member != nullptr && ReadThrough(*member, add, error) && hash.Finish(digest) ? Handles::Sha256Text(digest)
                                                                                        : "";
}

bool ZipArchive::ExtractMember(const std::string& name, const std::string& outPath, std::string& error) const
{
    const ArchiveMember* member = Demand(name, error);
    if (member == nullptr) {
        return false;
    }
    bool isRead = true;
    std::string last; // is written at the end, where a failure is the file's
    errno = 0;
    const bool isDone = FileUtils::ReplaceFileWith(outPath, FILE_MODE, [&](TavomendEngine::OutputFile& file) {
        const auto write = [&file, &last](const char* data, size_t size) {
            const bool isWritten = file.Write(last.data(), last.size());
            last.assign(data, size);
            return isWritten;
        };
        isRead = ReadThrough(*member, write, error);
        return isRead && file.Write(last.data(), last.size());
    });
    if (!isDone && isRead) {
        error = Handles::CannotWrite(outPath, errno);
    }
    return isDone;
}

bool ZipArchive::Locate(const ArchiveMember& member, PackedMember& packed) const
{
    const unz64_file_pos position{member.directoryOffset, member.directoryIndex};
    int method = 0;
    if (member.isEncrypted || unzGoToFilePos64(zip_.get(), &position) != UNZ_OK ||
        unzOpenCurrentFile2(zip_.get(), &method, nullptr, 1) != UNZ_OK) {
        return false;
    }
    packed = {unzGetCurrentFileZStreamPos64(zip_.get()), member.packedSize, member.size, member.checksum,
              method == Z_DEFLATED};
    return unzCloseCurrentFile(zip_.get()) == UNZ_OK;
}

bool ZipArchive::CheckWhole(std::string& error, KnownMembers* known, const ByteTaker& take) const
{
    const auto drop = [](const char*, size_t) { return true; };
    MemberChecker checker(*file_, known);
    PackedMember packed;
    file_->BeginPass(take);
    const bool isWhole = std::all_of(members_.begin(), members_.end(), [&](const auto& member) {
        return (Locate(member, packed) && checker.IsWhole(packed)) || ReadThrough(member, drop, error);
    });
    if (!isWhole) {
        file_->DropPass();
        return false;
    }
    if (!file_->EndPass()) {
        error = path_ + " cannot be read to its end";
        return false;
    }
    return true;
}

void ZipWriter::Closer::operator()(void* zip) const
{
    zipClose(zip, nullptr);
}

ZipWriter::ZipWriter(const std::string& path) : path_(path), zip_(zipOpen64(path.c_str(), APPEND_STATUS_CREATE))
{
    openError_ = zip_ == nullptr ? errno : 0;
}

bool ZipWriter::Begin(const std::string& name, int level)
{
    zip_fileinfo info{};
    info.tmz_date.tm_year = 1980;
    info.tmz_date.tm_mday = 1;
    return zip_ != nullptr && zipOpenNewFileInZip64(zip_.get(), name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                                    level == 0 ? 0 : Z_DEFLATED, level, 0) == ZIP_OK;
}

bool ZipWriter::Write(const char* data, size_t size)
{
    return zipWriteInFileInZip(zip_.get(), data, static_cast<unsigned>(size)) == ZIP_OK;
}

bool ZipWriter::Told(bool isWritten, std::string& error) const
{
    if (!isWritten) {
        error = Handles::CannotWrite(path_, zip_ == nullptr && openError_ != 0 ? openError_ : errno);
    }
    return isWritten;
}

bool ZipWriter::Add(const std::string& name, const std::string& content, int level, std::string& error)
{
    return Told(Begin(name, level) && Write(content.data(), content.size()) && zipCloseFileInZip(zip_.get()) == ZIP_OK,
                error);
}

bool ZipWriter::AddFile(const std::string& name, const std::string& path, int level, std::string& error)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> buffer(CHUNK_SIZE);
    bool isWritten = in.is_open() && Begin(name, level);
    while (isWritten && (in.read(buffer.data(), static_cast<std::streamsize>(buffer.size())), in.gcount() > 0)) {
        isWritten = Write(buffer.data(), static_cast<size_t>(in.gcount()));
    }
    if (!in.is_open() || in.bad()) {
        error = Handles::CannotRead(path);
        return false;
    }
    return Told(isWritten && zipCloseFileInZip(zip_.get()) == ZIP_OK, error);
}

bool ZipWriter::Close(std::string& error)
{
    return Told(zip_ != nullptr && zipClose(zip_.release(), nullptr) == ZIP_OK, error);
}
} // namespace ORVX::Formats
