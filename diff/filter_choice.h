// Tells from a sample whether filtering code makes a difference smaller.
#ifndef TAVOMEND_DIFF_FILTER_CHOICE_H
#define TAVOMEND_DIFF_FILTER_CHOICE_H

#include <vector>

#include "diff/byte_view.h"
#include "diff/code_filter.h"

namespace ORVX::Difference {
// Code of one machine, and what it goes on from.
struct CodePair {
    CodeFilter filter;
    ByteView old;
    ByteView fresh;
};

// For the maker, of content too large to be differenced both ways: the filters that pay on pieces of the largest pairs,
// each matched with what lies about where it was before. Uses all cores.
[[nodiscard]] std::vector<CodeFilter> FiltersThatPay(std::vector<CodePair> pairs);
} // namespace ORVX::Difference

#endif
