// Whether the disk has room for a work, looked at before the work begins.
#ifndef TAVOMEND_APPS_TVPK_FREE_ROOM_H
#define TAVOMEND_APPS_TVPK_FREE_ROOM_H

#include <cstdint>
#include <string>

namespace ORVX::Tvpk {
// One line for people when fewer than so many bytes are free where `directory` lies; empty when there are as many, or
// nobody can tell. output: what could not be written, as people know it.
[[nodiscard]] std::string WhyNoRoom(const std::string& directory, uint64_t bytes, const std::string& output);
} // namespace ORVX::Tvpk

#endif
