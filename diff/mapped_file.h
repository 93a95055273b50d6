// A regular file, mapped read-only.
#ifndef TAVOMEND_DIFF_MAPPED_FILE_H
#define TAVOMEND_DIFF_MAPPED_FILE_H

#include <optional>
#include <string>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// The file must not shrink while it is mapped: reading beyond its end then kills the process. Whoever maps one
// keeps others from writing to it; LoadedFile does so itself, and of the maker whoever calls it.
class MappedFile {
public:
    // Nothing when the path names no readable regular file. An empty file gives an empty view.
    [[nodiscard]] static std::optional<MappedFile> Open(const std::string& path);
    // The same of a file that is open for reading; it may be closed then.
    [[nodiscard]] static std::optional<MappedFile> Of(int file);
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&&) = delete;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    // Lives as long as this object, or the one that it was moved to.
    [[nodiscard]] ByteView View() const { return view_; }
    // Its pages need not stay in memory; they come again when they are touched.
    void Rest() const;
    // Reads all of it and has it stay in memory. False when the disk fails, or more is locked already than one may.
    [[nodiscard]] bool Lock() const;

private:
    explicit MappedFile(ByteView view) : view_(view) {}

    ByteView view_;
};
} // namespace ORVX::Difference

#endif
