// The commands of tvpk: each carries itself out, shows what came of it for people and scripts, and gives the exit code.
#ifndef TAVOMEND_APPS_TVPK_COMMANDS_H
#define TAVOMEND_APPS_TVPK_COMMANDS_H

#include <string>

#include "apps/common/console.h"
#include "apps/tvpk/work_choice.h"

namespace ORVX::Tvpk {
struct MakeRequest {
    std::string release;
    std::string privateKey;
    std::string outDir;
    bool isPlainOnly = false;
    WorkChoice work;
};

struct VerifyRequest {
    std::string package;
    std::string signature;
    std::string publicKey;
};

[[nodiscard]] int RunKeygen(const Cli::Console& console, const std::string& outDir, int bits);
[[nodiscard]] int RunPack(const Cli::Console& console, const std::string& directory, const std::string& outPath,
                          int level);
[[nodiscard]] int RunMake(const Cli::Console& console, const MakeRequest& request);
[[nodiscard]] int RunInspect(const Cli::Console& console, const std::string& package);
[[nodiscard]] int RunVerify(const Cli::Console& console, const VerifyRequest& request);
} // namespace ORVX::Tvpk

#endif
