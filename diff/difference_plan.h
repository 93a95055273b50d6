// What a difference between two files is made of, before anything is matched or coded.
#ifndef TAVOMEND_DIFF_DIFFERENCE_PLAN_H
#define TAVOMEND_DIFF_DIFFERENCE_PLAN_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "diff/code_filter.h"
#include "diff/content_room.h"
#include "diff/entry_content.h"
#include "diff/window_groups.h"

namespace ORVX::Difference {
// Part of the new file: raw bytes, and then one entry that is deflated anew, or stored if its content is code that is
// filtered (level 0: none, at the end of the file).
struct Region {
    ByteView raw;
    int level = 0;
    size_t plainSize = 0;
    CodeFilter filter = CodeFilter::NONE;
    uint32_t crc = 0;      // of the content
    size_t packedSize = 0; // in the new file
    std::optional<size_t> oldHeader =
        std::nullopt; // where the old file has the header of the entry that this one goes on from
};

// Old content that new content may follow: an entry of the old file.
struct OldPiece {
    size_t offset = 0; // in the old file
    bool isDeflated = false;
    size_t compressedSize = 0;
    size_t plainSize = 0;
    CodeFilter filter = CodeFilter::NONE;
};

struct DifferencePlan {
    std::vector<Region> regions;
    std::vector<OldPiece> pieces;
    std::vector<Group> groups;
    std::vector<Group> spans; // of each new entry: its content, and that of the piece that it goes on from
    ContentRoom oldPlain;     // the content of all pieces, in their order
    ContentRoom newPlain;     // the content of all entries that are deflated anew, in their order
    bool hasCode = false;     // whether filtering may pay
    bool isFiltered = false;  // oldPlain and newPlain are as the filters leave them
    bool isLarge = false;     // large content takes shorter ways
    bool isPresumed = false;  // of some entry only the start was deflated anew
};

// What to do about code.
enum class CodeUse {
    PLAIN,    // nothing is filtered
    FILTERED, // all of it is, also in stored entries, or when both files are nothing else
    SAMPLED,  // of large content, what a sample says; of other content nothing
};

struct PlanWishes {
    size_t window; // the most old content for one group
    CodeUse code;
    size_t largeFrom; // bytes of new content
    LevelProof proof;
    std::string scratch;  // a file for much content; empty: it stays in memory
    uint64_t scratchFrom; // bytes of content of both files
};

// Looks into both files. An entry is deflated anew when its data changed and when deflating its content at some level
// gives its data bit for bit, as far as that is to be proven; everything else is raw. progress: so many more of the new
// file's bytes have been looked into, of total; from any thread, several at a time.
[[nodiscard]] DifferencePlan MakeDifferencePlan(ByteView old, ByteView fresh, const PlanWishes& wishes,
                                                const std::function<void(size_t bytes, size_t total)>& progress);
} // namespace ORVX::Difference

#endif
