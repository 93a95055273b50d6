// Makes the engine. What a host includes is this header and the interface's: its binary survives a change inside.
#ifndef TAVOMEND_ENGINE_ENGINE_FACTORY_H
#define TAVOMEND_ENGINE_ENGINE_FACTORY_H

#include <memory>

#include "engine/i_engine_app.h"

namespace ORVX::TavomendEngine {
// Called by the hosting service, once in a process. The running stage must have been told before
// (SysUtils::SetRunningStage). Reads the status record; touches nothing else. Never null.
[[nodiscard]] __attribute__((visibility("default"))) std::unique_ptr<IEngineApp> CreateEngineApp();
} // namespace ORVX::TavomendEngine

#endif
