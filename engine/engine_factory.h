// Makes the engine. What a host includes is this header and the interface's: its binary survives a change inside.
#ifndef TAVOMEND_ENGINE_ENGINE_FACTORY_H
#define TAVOMEND_ENGINE_ENGINE_FACTORY_H

#include <memory>

#include "engine/i_engine_app.h"

namespace ORVX::TavomendEngine {
// Called by the hosting service, once in a process. The running stage must have been told before
// (SysUtils::SetRunningStage). Reads the status record; touches nothing else. Never null.
[[nodiscard]] __attribute__((visibility("default"))) std::unique_ptr<IEngineApp> CreateEngineApp();

// Makes the engine know the applications of the patch in force, as the process does that has applied it: a host that
// revokes some of them in a later process calls this after its load, at the system-service stage, with the platform
// running and no package delivered. Reads the backup as an information query does. False when it cannot be read, or the
// device does not take it any more; nothing has changed then.
[[nodiscard]] __attribute__((visibility("default"))) bool RecallPatchInForce(IEngineApp& engine);
} // namespace ORVX::TavomendEngine

#endif
