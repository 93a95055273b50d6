#include <gtest/gtest.h>
#include <regex>
#include <sstream>

#include "tests/support/cli_runner.h"

namespace ORVX::TavomendTest {
namespace {
struct Library {
    const char* file;
    std::regex allowed; // what the demangled name of each exported symbol matches
    std::vector<std::string> promised;
};

// The libraries that ship show what a host and the engine take from them, and nothing of what they are made of.
TEST(ExportedNamesTest, TheLibrariesExportWhatOthersTakeFromThemAlone)
{
    const std::vector<Library> libraries{
        {ENGINE_LIBRARY,
         std::regex(R"((vtable for |typeinfo (name )?for )?ORVX::TavomendEngine::(EngineAppImpl\b.*)"
                    R"(|CreateEngineApp\(\)|RecallPatchInForce\(.*))"),
         {"LoadTavomend()", "ApplyTavomend()", "ClearTavomend()", "RevokeTavomend(", "TestTavomend",
          "MigrateTavomend()", "GetTavomendVersion", "GetTavomendStatus", "GetTavomendInfo", "RegisterCallback(",
          "UnregisterCallback(", "CheckTvpkStatus()", "CreateEngineApp()", "vtable for"}},
        {PLATFORM_LIBRARY,
         std::regex(R"((vtable for |typeinfo (name )?for )?ORVX::(TavomendEngine|TavomendHost|CommonEventManager)"
                    R"(|OsAccountManager|SystemAbilityManagerClient|KalogPrint|ApplyPatch)\b.*)"),
         {"ORVX::KalogPrint(", "ORVX::ApplyPatch(", "SystemAbilityManagerClient::GetInstance()",
          "OsAccountManager::QueryAllCreatedOsAccounts(", "CommonEventManager::SubscribeCommonEvent(",
          "SysUtils::SetRunningStage(int)", "DelayedSingletons::DestroyAll()", "HostPlatform::Start("}},
    };
    for (const auto& library : libraries) {
        const CliResult symbols = RunProgram({"nm", "-D", "-C", "--defined-only", library.file});
        ASSERT_EQ(symbols.exitCode, 0) << symbols.err;
        std::istringstream lines(symbols.out);
        for (std::string line; std::getline(lines, line);) {
            const std::string name = line.substr(line.find(' ', line.find(' ') + 1) + 1); // behind address and type
            EXPECT_TRUE(std::regex_match(name, library.allowed)) << name;
        }
        for (const auto& name : library.promised) {
            EXPECT_NE(symbols.out.find(name), std::string::npos) << name;
        }
    }
}

// Whatever zlib the machine has: another one would write other bytes.
TEST(ExportedNamesTest, DeflateIsLinkedIn)
{
    for (const char* const file : {PLATFORM_LIBRARY, TVPK_PROGRAM}) {
        const CliResult symbols = RunProgram({"nm", "-D", file});
        ASSERT_EQ(symbols.exitCode, 0) << symbols.err;
        EXPECT_FALSE(std::regex_search(symbols.out, std::regex(" (z_)?deflate(@|\n|Init)"))) << symbols.out;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
