// The status words of the status record. The spellings "activites" and "revoke_faile" are the system's own: records on
// devices carry them, and clients compare with them.
#ifndef TAVOMEND_FORMATS_STATUS_WORDS_H
#define TAVOMEND_FORMATS_STATUS_WORDS_H

namespace ORVX::Formats {
constexpr const char* STATUS_INIT = "init";
constexpr const char* STATUS_LOADED = "loaded";
constexpr const char* STATUS_SUCCESS = "success";
constexpr const char* STATUS_FAILED = "failed";
constexpr const char* STATUS_IDLE = "idle";
constexpr const char* STATUS_IDLE_FAILED = "idle_failed";
constexpr const char* STATUS_READY_INIT = "ready_init";
constexpr const char* STATUS_READY = "ready";
constexpr const char* STATUS_READY_FAILED = "ready_failed";
constexpr const char* STATUS_ACTIVITES = "activites";
constexpr const char* STATUS_ACTIVITES_FAILED = "activites_failed";
constexpr const char* STATUS_REVOKE = "revoke";
constexpr const char* STATUS_REVOKE_FAILED = "revoke_faile";

// The version of a device without a patch.
constexpr const char* NO_PATCH_VERSION = "patch00";
} // namespace ORVX::Formats

#endif
