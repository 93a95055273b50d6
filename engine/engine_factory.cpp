#include "engine/engine_factory.h"

#include "engine/engine_app_impl.h"

namespace ORVX::TavomendEngine {
std::unique_ptr<IEngineApp> CreateEngineApp()
{
    return std::make_unique<EngineAppImpl>();
}

bool RecallPatchInForce(IEngineApp& engine)
{
    auto* const facade = dynamic_cast<EngineAppImpl*>(&engine);
    // The query passes the gate with the backup, and the gate stays passed.
    return facade != nullptr && !facade->GetTavomendInfo().empty() && facade->GetAllBundleNameList();
}
} // namespace ORVX::TavomendEngine
