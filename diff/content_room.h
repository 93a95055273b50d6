// Room for the inflated content of two archives.
#ifndef TAVOMEND_DIFF_CONTENT_ROOM_H
#define TAVOMEND_DIFF_CONTENT_ROOM_H

#include <string>
#include <vector>

#include "diff/byte_view.h"

namespace ORVX::Difference {
// For the maker: bytes one behind another, in memory or in a file that is mapped. Of the latter, what rests is in
// nobody's memory until it is touched again. Filled by one thread; then any may read, and let parts rest.
class ContentRoom {
public:
    ContentRoom() = default;
    ContentRoom(ContentRoom&& other) noexcept;
    ContentRoom& operator=(ContentRoom&& other) noexcept;
    ContentRoom(const ContentRoom&) = delete;
    ContentRoom& operator=(const ContentRoom&) = delete;
    ~ContentRoom();

    // Once, before anything is appended: how many bytes will be at most. With a path, they go to a file that is made
    // there, has all its room from the start and no name from then on; into memory if that cannot be, also where
    // something has that name already, which stays as it is.
    void Reserve(size_t size, const std::string& path);
    // No more in all than was reserved. What data gave before does not count afterwards.
    void Append(const std::vector<uint8_t>& bytes);

    [[nodiscard]] uint8_t* data() { return mapped_ != nullptr ? mapped_ : bytes_.data(); }
    [[nodiscard]] const uint8_t* data() const { return mapped_ != nullptr ? mapped_ : bytes_.data(); }
    [[nodiscard]] size_t size() const { return mapped_ != nullptr ? used_ : bytes_.size(); }

    [[nodiscard]] bool IsMapped() const { return mapped_ != nullptr; }
    // What lies there is not needed for a while: it stays as it is, in the file. In memory nothing changes.
    void Rest(size_t start, size_t end) const;

private:
    void Map(size_t size, const std::string& path);

    std::vector<uint8_t> bytes_;
    uint8_t* mapped_ = nullptr;
    size_t mappedSize_ = 0;
    size_t used_ = 0;
};
} // namespace ORVX::Difference

#endif
