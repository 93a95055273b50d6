// The commands about patches. Each enters the device, asks the room hosting, and shows what that answers; what each
// gives is the program's exit code.
#ifndef TAVOMEND_APPS_TAVOMEND_COMMANDS_H
#define TAVOMEND_APPS_TAVOMEND_COMMANDS_H

#include <string>
#include <vector>

#include "apps/tavomend/session.h"
#include "hosting/requests.h"

namespace ORVX::TavomendCli {
[[nodiscard]] int RunDeliver(Session& session, const TavomendHosting::PackageFiles& files,
                             TavomendHosting::Refused refused);
[[nodiscard]] int RunInstall(Session& session, const TavomendHosting::PackageFiles& files);
[[nodiscard]] int RunApply(Session& session);
// stage: "init" or "sa".
[[nodiscard]] int RunLoad(Session& session, const std::string& stage);
// stage: "init", "scan" or "service", one stage of the machine's own boot; empty for a whole one. A stage is done also
// when a patch has failed in it, which the status record tells: a machine boots with it or without.
[[nodiscard]] int RunBoot(Session& session, const std::string& stage);
[[nodiscard]] int RunRevoke(Session& session, const std::vector<std::string>& bundleNames);
[[nodiscard]] int RunClear(Session& session, bool isSure);
[[nodiscard]] int RunTest(Session& session);
[[nodiscard]] int RunVersion(Session& session);
[[nodiscard]] int RunStatus(Session& session);
[[nodiscard]] int RunInfo(Session& session);
} // namespace ORVX::TavomendCli

#endif
