// Load and apply with an engine of their own, with the client's view of them.
#ifndef TAVOMEND_APPS_TAVOMEND_PATCH_RUN_H
#define TAVOMEND_APPS_TAVOMEND_PATCH_RUN_H

#include "apps/tavomend/session.h"

namespace ORVX::TavomendCli {
// Load at the stage given; the exit code. In the system-service stage a platform must be running.
[[nodiscard]] int LoadOnce(const Session& session, int32_t stage);
// Load at the system-service stage, then apply, in this process, as an engine wants it: what load made ready only this
// process knows. Apply is called also after a failed load, so that one broken application does not keep the others
// back. Needs a running platform.
[[nodiscard]] int LoadAndApply(const Session& session);
} // namespace ORVX::TavomendCli

#endif
