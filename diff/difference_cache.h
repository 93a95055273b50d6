// Differences that were made before, found again by what they were made from.
#ifndef TAVOMEND_DIFF_DIFFERENCE_CACHE_H
#define TAVOMEND_DIFF_DIFFERENCE_CACHE_H

#include <optional>
#include <string>

#include "diff/byte_view.h"
#include "diff/difference_maker.h"

namespace ORVX::Difference {
// A folder with one file for each difference: a line that describes it, then its bytes. The maker proves what it takes
// from here like what it has just made, so that a file that rots or was put there by somebody else does no harm. The
// maker has one for each difference, for one thread; any number of them may share a folder, in other processes too.
class DifferenceCache {
public:
    struct Entry {
        std::string bytes; // of the difference, which tells nearly all that a report does
        uint64_t plainSize = 0;
        bool isPlainGivenUp = false;
        size_t entries = 0;
    };

    // folder: made when the first difference is kept; empty: nothing is kept or found. sizeMax: bytes, see Keep.
    DifferenceCache(std::string folder, uint64_t sizeMax);

    [[nodiscard]] bool IsOn() const { return !folder_.empty(); }
    // Sets the files that are asked about and what else decides the outcome. False when the hash library failed.
    [[nodiscard]] bool Choose(ByteView old, ByteView fresh, const DifferenceOptions& options);
    // The difference that was kept, which counts as used now; nothing when there is none or its description is damaged.
    [[nodiscard]] std::optional<Entry> Find() const;
    // Keeps a difference, in one step, and removes those that were not used for longest until all take sizeMax bytes at
    // most. False, with the reason in errno, when it cannot be written, or is larger than that (EFBIG); what was kept
    // before stays.
    [[nodiscard]] bool Keep(const Entry& entry) const;

private:
    void Trim() const;

    const std::string folder_;
    const uint64_t sizeMax_;
    std::string path_; // of the chosen difference
};
} // namespace ORVX::Difference

#endif
