// The users of a device.
#ifndef TAVOMEND_APPS_TAVOMEND_DEVICE_USERS_H
#define TAVOMEND_APPS_TAVOMEND_DEVICE_USERS_H

#include <cstdint>
#include <string>
#include <vector>

#include "apps/tavomend/session.h"

namespace ORVX::TavomendCli {
// Their numbers, with commas between them.
[[nodiscard]] std::string JoinUsers(const std::vector<int32_t>& users);
// Adds and then removes users, and lists who is there afterwards; on a session that has not entered its device. Gives
// the program's exit code. A number that cannot be added or removed is refused before any of it is done; only a store
// that cannot be written stops half-way.
[[nodiscard]] int RunDeviceUsers(Session& session, const std::vector<int32_t>& added,
                                 const std::vector<int32_t>& removed);
} // namespace ORVX::TavomendCli

#endif
