// Which old content the device holds while it makes which new content.
#ifndef TAVOMEND_DIFF_WINDOW_GROUPS_H
#define TAVOMEND_DIFF_WINDOW_GROUPS_H

#include <cstddef>
#include <vector>

namespace ORVX::Difference {
// A run of the new entries' content, and the window of the old pieces' content that it is matched with.
struct Group {
    size_t newStart = 0;
    size_t newEnd = 0;
    size_t oldStart = 0;
    size_t oldEnd = 0;
};

// For the planner. spans: of each new entry its content, and that of the piece that it goes on from, in their order and
// without gaps; behind the last piece may come old content of nobody's, if all of it has room in the window. window: at
// least 4 bytes. The groups' windows only move forward, without gaps.
[[nodiscard]] std::vector<Group> WindowGroups(const std::vector<Group>& spans, size_t oldSize, size_t newSize,
                                              size_t window);
} // namespace ORVX::Difference

#endif
