// Owners of cJSON documents and of the texts that cJSON prints.
#ifndef TAVOMEND_HANDLES_JSON_H
#define TAVOMEND_HANDLES_JSON_H

#include <cjson/cJSON.h>
#include <memory>

namespace ORVX::Handles {
struct JsonDeleter {
    void operator()(cJSON* root) const { cJSON_Delete(root); }
    void operator()(char* text) const { cJSON_free(text); }
};

using JsonRoot = std::unique_ptr<cJSON, JsonDeleter>;
using JsonText = std::unique_ptr<char, JsonDeleter>;
} // namespace ORVX::Handles

#endif
