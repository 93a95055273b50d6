#include "instruments/powercut/judge.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/support/cli_runner.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;

namespace {
constexpr const char* STORE = "/data/service/bundles/store.db";
constexpr const char* FACTORY_MEMORY = "/data/service/bundles/factory_files"; // of this device's own inodes
constexpr const char* STATUS_RECORD = "/data/update/tavomend/app/status/app";

bool StartsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

std::string Describe(const fs::directory_entry& entry, const std::string& path)
{
    return path + " " + (entry.is_directory() ? "directory" : Sha256Hex(ReadFile(entry.path().string()))) + "\n";
}

// A file of the same application in another directory is the same to everybody.
std::string DescribeBundles(const std::string& folder, std::set<std::string>& used)
{
    const CliResult listed = RunProgram({TAVOMEND_PROGRAM, "--json", "--root", folder, "device", "list"});
    auto list = nlohmann::json::parse(listed.out, nullptr, false);
    if (listed.exitCode != 0 || !list.is_object()) {
        return "no list of applications: " + listed.err;
    }
    std::string text;
    for (auto& bundle : list["bundles"]) {
        std::string files;
        for (const std::string path : bundle["files"]) {
            used.insert(path);
            used.insert(fs::path(path).parent_path().string());
            used.insert(fs::path(path).parent_path().parent_path().string());
            std::error_code error;
            files += " " + fs::path(path).filename().string() + ":" +
                     (fs::is_regular_file(folder + path, error) ? Sha256Hex(ReadFile(folder + path)) : "missing");
        }
        bundle.erase("files");
        text += bundle.dump() + files + "\n";
    }
    return text;
}

std::string DescribeRecord(const std::string& path)
{
    std::istringstream lines(fs::exists(path) ? ReadFile(path) : "");
    std::string text = "record";
    for (std::string line; std::getline(lines, line);) {
        const bool isTold = StartsWith(line, "version=") || StartsWith(line, "status=");
        text += isTold ? " " + line.substr(line.find('=') + 1) : "";
    }
    return text + "\n";
}

std::string FirstDifference(const std::string& found, const std::string& expected)
{
    std::istringstream foundLines(found);
    std::istringstream expectedLines(expected);
    std::string have;
    std::string want;
    do {
        have = want = "(nothing)";
        std::getline(foundLines, have);
        std::getline(expectedLines, want);
    } while (have == want && foundLines && expectedLines);
    return "\"" + have + "\" instead of \"" + want + "\"";
}
} // namespace

DeviceState ReadDeviceState(const std::string& deviceFolder)
{
    DeviceState state;
    std::set<std::string> used;
    state.applications = DescribeBundles(deviceFolder, used);
    state.patch = DescribeRecord(deviceFolder + STATUS_RECORD);
    std::set<std::string> packages;
    std::set<std::string> others;
    for (const auto& entry : fs::recursive_directory_iterator(deviceFolder)) {
        const std::string path = entry.path().string().substr(deviceFolder.size());
        if (StartsWith(path, "/data/log/") || path == STATUS_RECORD || path == STORE || path == FACTORY_MEMORY ||
            path == "/data/update/tavomend/package" || used.count(path) != 0) {
            continue;
        }
        const fs::path holder = entry.path().parent_path();
        const bool isOfVersion =
            used.count(holder.string().substr(deviceFolder.size())) != 0 && entry.is_regular_file();
        const std::string told = isOfVersion ? "beside the files of " + holder.parent_path().filename().string() +
                                                   ": " + entry.path().filename().string()
                                             : path;
        (StartsWith(path, "/data/update/tavomend/package/") ? packages : others).insert(Describe(entry, told));
    }
    for (const auto& line : packages) {
        state.patch += line;
    }
    for (const auto& line : others) {
        state.rest += line;
    }
    return state;
}

std::string WhatIsWrong(const DeviceState& found, const Expectation& expected, bool mustBeNew, bool isSettled)
{
    const auto& [before, after] = expected;
    const bool isNew = found.applications == after.applications && found.patch == after.patch;
    const bool isOld = found.applications == before.applications && found.patch == before.patch;
    if (!isNew && (mustBeNew || !isOld)) {
        if (found.applications != after.applications && (mustBeNew || found.applications != before.applications)) {
            return "applications: " + FirstDifference(found.applications, after.applications);
        }
        return "patch: " +
               FirstDifference(found.patch, found.applications == after.applications ? after.patch : before.patch);
    }
    if (isSettled && found.rest != after.rest && (mustBeNew || found.rest != before.rest)) {
        return "files: " + FirstDifference(found.rest, after.rest);
    }
    return "";
}
} // namespace ORVX::TavomendTest
