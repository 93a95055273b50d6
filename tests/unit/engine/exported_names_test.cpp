#include <gtest/gtest.h>
#include <sstream>

#include "tests/support/cli_runner.h"

namespace ORVX::TavomendTest {
namespace {
TEST(ExportedNamesTest, TheLibraryExportsTheFacadeAndItsFactoryAlone)
{
    const CliResult symbols = RunProgram({"nm", "-D", "-C", "--defined-only", ENGINE_LIBRARY});
    ASSERT_EQ(symbols.exitCode, 0) << symbols.err;
    std::istringstream lines(symbols.out);
    size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        EXPECT_TRUE(line.find("ORVX::TavomendEngine::EngineAppImpl") != std::string::npos ||
                    line.find("ORVX::TavomendEngine::CreateEngineApp()") != std::string::npos ||
                    line.find("ORVX::TavomendEngine::RecallPatchInForce(") != std::string::npos)
            << line;
    }
    EXPECT_GT(count, 15U);
    for (const char* operation :
         {"LoadTavomend()", "ApplyTavomend()", "ClearTavomend()", "RevokeTavomend(", "TestTavomend",
          "MigrateTavomend()", "GetTavomendVersion", "GetTavomendStatus", "GetTavomendInfo", "RegisterCallback(",
          "UnregisterCallback(", "CheckTvpkStatus()", "CreateEngineApp()", "vtable for"}) {
        EXPECT_NE(symbols.out.find(operation), std::string::npos) << operation;
    }
}
} // namespace
} // namespace ORVX::TavomendTest
