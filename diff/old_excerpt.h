// What of old content a little new content may have something of.
#ifndef TAVOMEND_DIFF_OLD_EXCERPT_H
#define TAVOMEND_DIFF_OLD_EXCERPT_H

#include <vector>

#include "diff/byte_view.h"
#include "diff/matcher.h"

namespace ORVX::Difference {
// The places of the old content that share blocks with the new one, with what is around them, one behind another: to be
// sorted in place of all of it. For one thread.
class OldExcerpt {
public:
    OldExcerpt(ByteView old, const std::vector<ByteView>& fresh);

    [[nodiscard]] ByteView View() const { return {bytes_.data(), bytes_.size()}; }
    // Stretches that follow the excerpt as such that follow the old content.
    [[nodiscard]] std::vector<Stretch> InOld(const std::vector<Stretch>& stretches) const;

private:
    struct Place {
        size_t start; // in the excerpt
        size_t oldStart;
    };
    void Take(ByteView old, size_t from, size_t end);

    size_t taken_ = 0; // of the old content
    std::vector<Place> places_;
    std::vector<uint8_t> bytes_;
};
} // namespace ORVX::Difference

#endif
