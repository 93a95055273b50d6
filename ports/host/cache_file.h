// Files of the bundle service that may be lost at any time: what they tell can be found out again.
#ifndef TAVOMEND_PORTS_HOST_CACHE_FILE_H
#define TAVOMEND_PORTS_HOST_CACHE_FILE_H

#include <string>

namespace ORVX::TavomendHost {
// A text with its SHA-256 at its top, which tells one that is torn or damaged. It is never flushed, so that a power cut
// may leave the former one, a torn one or none. From any thread; of two that write one file at once, one's text stays
// or none that is whole.

// Empty for a file that is missing or not whole.
[[nodiscard]] std::string ReadCacheFile(const std::string& path);
// Replaces the file in one rename. What cannot be written is not missed; nothing is left beside it.
void WriteCacheFile(const std::string& path, const std::string& text);
// Removes what a writing that was cut short has left beside the file.
void TidyCacheFile(const std::string& path);
// Removes the file, and that.
void RemoveCacheFile(const std::string& path);
} // namespace ORVX::TavomendHost

#endif
