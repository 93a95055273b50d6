// What the tables of malformed things share: how a file is spoiled, and what a refusal must look like.
#ifndef TAVOMEND_TESTS_SCENARIO_MALFORMED_H
#define TAVOMEND_TESTS_SCENARIO_MALFORMED_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/scenario/device_world.h"
#include "tests/scenario/program_world.h"
#include "tests/support/zip_builder.h"

namespace ORVX::TavomendTest {
// Everything of the device that a refusal must leave as it is. The log may grow, and the engine's queries leave the
// configuration that they took out.
std::vector<std::string> StateOf(const DeviceWorld& world);

struct Refusal {
    int exitCode;
    std::string code; // of the JSON error
    std::string says; // the line behind the program's name
};

// A command with --json that fails: its exit code, one line on standard error, and the same in JSON.
void ExpectRefused(const CliResult& result, const std::string& program, const Refusal& expected,
                   const std::string& what);

// An archive's members; the first one tells what the others are.
using Members = std::vector<std::pair<std::string, std::string>>;
std::string Zip(const Members& members);

// Writes over an archive's record: the last one with this signature ("PK" and two bytes), from an offset on.
std::string With(std::string zip, const std::string& signature, size_t offset, const std::string& bytes);

struct ArchiveRow {
    const char* what;
    std::function<std::string(const Members&)> spoil;
    std::string says;       // "@": the archive's path, "#": its last member's name, "%": its first's
    std::string maker = ""; // says the same unless given
};

// What no reader of an archive may take: the last member's records are spoiled, or the archive's end.
std::vector<ArchiveRow> SpoiledArchives();
// The marks of a row's line replaced.
std::string Named(std::string text, const std::string& path, const Members& members);
} // namespace ORVX::TavomendTest

#endif
