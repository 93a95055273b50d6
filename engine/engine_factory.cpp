#include "engine/engine_factory.h"

#include "engine/engine_app_impl.h"

namespace ORVX::TavomendEngine {
std::unique_ptr<IEngineApp> CreateEngineApp()
{
    return std::make_unique<EngineAppImpl>();
}
} // namespace ORVX::TavomendEngine
