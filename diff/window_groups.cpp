#include "diff/window_groups.h"

#include <algorithm>
#include <cstdint>

namespace ORVX::Difference {
namespace {
// From so much old content on, not all of the window is used where it need not: what is sorted at a time takes five
// times as much memory.
constexpr size_t SORTED_LESS_FROM = size_t{128} << 20;

class Groups {
public:
    explicit Groups(size_t window) : window_(window) {}

    // Entries together that go on from as much old content as has room: each finds all of its own there.
    std::vector<Group> Cut(const std::vector<Group>& spans, size_t room)
    {
        Group group;
        for (const Group& span : spans) {
            if (span.oldEnd - group.oldStart > room) {
                Close(group);
            }
            group.newEnd = span.newEnd;
            group.oldEnd = span.oldEnd;
            if (span.oldEnd - span.oldStart > window_) {
                AddWithin(span);
                group = {span.newEnd, span.newEnd, span.oldEnd, span.oldEnd};
            }
        }
        Close(group);
        return std::move(groups_);
    }

private:
    void Close(Group& group)
    {
        if (group.newEnd != group.newStart || group.oldEnd != group.oldStart) {
            groups_.push_back(group);
        }
        group.newStart = group.newEnd;
        group.oldStart = group.oldEnd;
    }

    // An entry that is larger than the window: each group has a part of half a window's size, and as much again around
    // it.
    void AddWithin(const Group& span)
    {
        const size_t size = window_ / 2;
        const size_t margin = window_ / 4;
        size_t newStart = span.newStart;
        for (size_t part = span.oldStart; part < span.oldEnd; part += size) {
            const bool isLast = span.oldEnd - part <= size;
            const size_t newEnd = isLast ? span.newEnd : NewPosition(span, part + size);
            const size_t start = part - std::min(part - span.oldStart, margin);
            groups_.push_back({newStart, newEnd, start, std::min(span.oldEnd, part + size + margin)});
            newStart = newEnd;
        }
    }

    // Where in an entry's new content the counterpart of a position in its old content lies, as far as can be told.
    static size_t NewPosition(const Group& span, size_t oldPosition)
    {
        const uint64_t into = oldPosition - span.oldStart;
        return span.newStart + into * (span.newEnd - span.newStart) / (span.oldEnd - span.oldStart);
    }

    const size_t window_;
    std::vector<Group> groups_;
};
} // namespace

std::vector<Group> WindowGroups(const std::vector<Group>& spans, size_t oldSize, size_t newSize, size_t window)
{
    if (newSize == 0) {
        return {};
    }
    if (oldSize <= window) {
        return {{0, newSize, 0, oldSize}};
    }
    return Groups(window).Cut(spans, oldSize < SORTED_LESS_FROM ? window : window / 4 * 3);
}
} // namespace ORVX::Difference
