// What the bundle store knows and bundle files do not tell, noted beside them: a store that is damaged is made anew
// from both.
#ifndef TAVOMEND_PORTS_HOST_INSTALLED_NOTES_H
#define TAVOMEND_PORTS_HOST_INSTALLED_NOTES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ports/host/bundle_store.h"

namespace ORVX::TavomendHost {
constexpr const char* ACCOUNT_NOTE_PATH = "/data/service/bundles/accounts.json"; // {"users": [...]}
constexpr const char* VERSION_NOTE_NAME = "installed.json"; // in the directory of an installed version

// Written whole and flushed before the store is changed; a scan mends what differs from a whole store. Not for two
// threads on one note at once.

// Both leave a note that says the same already alone; false when it could not be written, and is then as it was.
[[nodiscard]] bool WriteVersionNote(const std::string& directory, const InstalledBundle& bundle);
[[nodiscard]] bool WriteAccountNote(const std::vector<int32_t>& users);
// Both give nothing for a note that is missing or damaged, and false for one that is there and cannot be read now. The
// modules' paths are in the directory that the note is in.
[[nodiscard]] bool ReadVersionNote(const std::string& directory, std::optional<InstalledBundle>& bundle);
[[nodiscard]] bool ReadAccountNote(std::optional<std::vector<int32_t>>& users);
} // namespace ORVX::TavomendHost

#endif
