// Says which patch this device has and how its last operation ended: the smallest program that hosts the engine.
#include <iostream>

#include "engine/engine_factory.h"
#include "platform/utility/sys_utils.h"

using ORVX::TavomendEngine::CreateEngineApp;
using ORVX::TavomendEngine::RUNNING_STAGE_SA;
using ORVX::TavomendEngine::SysUtils;

int main()
{
    SysUtils::SetRunningStage(RUNNING_STAGE_SA); // before the engine is made: the device has come up
    const auto engine = CreateEngineApp();
    const std::string status = engine->GetTavomendStatus();
    std::cout << "version " << engine->GetTavomendVersion() << '\n';
    std::cout << "status " << (status.empty() ? "none" : status) << '\n';
    return 0;
}
