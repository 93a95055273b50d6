// What the tables of malformed things share: how a file is spoiled, and what a refusal must look like.
#ifndef TAVOMEND_TESTS_SCENARIO_MALFORMED_H
#define TAVOMEND_TESTS_SCENARIO_MALFORMED_H

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/scenario/device_world.h"
#include "tests/scenario/program_world.h"

namespace ORVX::TavomendTest {
// Everything of the device that a refusal must leave as it is: the log alone may grow.
inline std::vector<std::string> StateOf(const DeviceWorld& world)
{
    auto entries = Everything(world.At("dev"));
    const std::string log = world.At("dev/data/log");
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [&log](const auto& entry) { return entry.compare(0, log.size(), log) == 0; }),
                  entries.end());
    return entries;
}

struct Refusal {
    int exitCode;
    std::string code; // of the JSON error
    std::string says; // the line behind the program's name
};

// A command with --json that fails: its exit code, one line on standard error, and the same in JSON.
inline void ExpectRefused(const CliResult& result, const std::string& program, const Refusal& expected,
                          const std::string& what)
{
    EXPECT_EQ(result.exitCode, expected.exitCode) << what;
    EXPECT_EQ(result.err, program + ": " + expected.says + "\n") << what;
    const auto error = nlohmann::json::parse(
        result.out.substr(std::min(result.out.size(), result.out.rfind(R"({"schema":1,"event":"error")"))), nullptr,
        false);
    EXPECT_EQ(error.value("error", nlohmann::json()),
              (nlohmann::json{{"code", expected.code}, {"message", expected.says}}))
        << what << ": " << result.out;
}
} // namespace ORVX::TavomendTest

#endif
