// The recover list: {"list": ["NAME", ...]}, the bundles that the next scan brings back to their unpatched versions.
#ifndef TAVOMEND_FORMATS_RECOVER_LIST_H
#define TAVOMEND_FORMATS_RECOVER_LIST_H

#include <cjson/cJSON.h>
#include <string>
#include <vector>

namespace ORVX::Formats {
// The file that counts: the backup copy when there is one, else the list, which need not exist. The backup goes first,
// so that a pass over it that was interrupted goes on with the same names.
[[nodiscard]] std::string RecoverListInForce();

struct RecoverList {
    enum class Kind {
        NO_JSON,
        NO_LIST,     // JSON without a "list" that is an array
        BAD_ELEMENT, // names: those before it
        WHOLE,
    };
    Kind kind = Kind::NO_JSON;
    std::vector<std::string> names; // in the writer's order, nothing removed
};

// root: null for a text that is no JSON.
[[nodiscard]] RecoverList ParseRecoverList(const cJSON* root);
// A file that cannot be read is NO_JSON.
[[nodiscard]] RecoverList ReadRecoverList(const std::string& path);

// The file's text, without a newline behind it; empty when memory ran out.
[[nodiscard]] std::string PrintRecoverList(const std::vector<std::string>& bundleNames);
} // namespace ORVX::Formats

#endif
