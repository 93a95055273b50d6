// Cuts the power at system calls of `tavomend`, boots again, and judges what has become of the device.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

#include "instruments/powercut/cutter.h"
#include "instruments/powercut/power_cut_world.h"
#include "instruments/powercut/tracer.h"
#include "tests/support/cli_runner.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
namespace fs = std::filesystem;

constexpr int EXIT_SKIPPED = 77;
constexpr int EXIT_NOTHING = 3;      // of tavomend
constexpr int CALLS_OF_A_BOOT = 300; // about: where a second cut may fall
constexpr size_t TOLD_FAILURES = 12;

struct Point {
    const Operation* operation;
    const Mode* mode;
    int at;
};

// Plays points on a device folder of its own.
class Player {
public:
    Player(const PowerCutWorld& world, unsigned seed)
        : world_(world), random_(seed), device_(world.At("device")), tracer_(device_, world.At("output"))
    {
    }

    // The number of points that an operation has in a mode.
    int CountPoints(const Operation& operation, const Mode& mode)
    {
        PowerCutWorld::CopyDevice(operation.snapshot, device_);
        Cutter cutter(mode, Cutter::NEVER, nullptr);
        static_cast<void>(tracer_.Run(operation.command, cutter));
        return cutter.Calls() + (mode.loss == Mode::Loss::NOTHING ? 0 : 1); // and once it is over
    }
    // Empty when the point held.
    std::string Play(const Point& point)
    {
        const auto disk = Prepare(point);
        std::string where;
        const auto exitCode = Cut(point.operation->command, *point.mode, point.at, where, disk.get());
        if (point.mode->isTwice) {
            std::string again;
            const int at = 1 + static_cast<int>(random_() % CALLS_OF_A_BOOT);
            static_cast<void>(Cut(PowerCutWorld::CommandOn(device_, "boot"), *point.mode, at, again, disk.get()));
            where += again.empty() ? "" : ", then at call " + std::to_string(at) + ", " + again;
        }
        const bool mustBeNew = exitCode && (*exitCode == 0 || *exitCode == EXIT_NOTHING);
        std::string wrong = Judge(point.operation->expected, mustBeNew);
        return wrong.empty() ? "" : wrong + " [" + (where.empty() ? "at its end" : where) + "]";
    }

private:
    // The device before the operation, on a disk of its own where the mode wants one.
    std::unique_ptr<DiskImage> Prepare(const Point& point)
    {
        const Operation& operation = *point.operation;
        const Mode& mode = *point.mode;
        if (!mode.IsOnDisk()) {
            PowerCutWorld::CopyDevice(operation.snapshot, device_);
            return nullptr;
        }
        fs::remove_all(device_);
        fs::create_directory(device_);
        const std::string whole = operation.snapshot + "." + mode.name;
        if (!fs::exists(whole)) {
            DiskImage::Make(mode.disk, whole, operation.snapshot, device_);
        }
        const std::string played = world_.At("disk");
        if (RunProgram({"cp", "--sparse=always", whole, played}).exitCode != 0) {
            throw std::runtime_error("cannot copy " + whole);
        }
        return std::make_unique<DiskImage>(mode.disk, played, device_);
    }
    std::optional<int> Cut(const std::vector<std::string>& command, const Mode& mode, int at, std::string& where,
                           DiskImage* disk)
    {
        const bool isJournaled = mode.loss == Mode::Loss::DATA || mode.loss == Mode::Loss::NAMES;
        Journal journal(device_, world_.At("attic"));
        Cutter cutter(mode, at, isJournaled ? &journal : nullptr);
        const auto exitCode = tracer_.Run(command, cutter);
        where = cutter.LastCall();
        for (size_t found = 0; (found = where.find(device_)) != std::string::npos;) {
            where.erase(found, device_.size());
        }
        if (isJournaled) {
            journal.Lose(mode.loss == Mode::Loss::NAMES);
        }
        if (disk != nullptr) {
            disk->CutPower(mode.loss == Mode::Loss::FLUSHED_DISK);
        }
        return exitCode;
    }
    std::string Judge(const Expectation& expected, bool mustBeNew)
    {
        for (const bool isSettled : {false, true}) {
            const int exitCode = Boot();
            const std::string output = ReadFile(world_.At("output"));
            if (exitCode != 0) {
                return (isSettled ? "the second boot after it ends with " : "the next boot ends with ") +
                       std::to_string(exitCode) + ": " + output;
            }
            if (isSettled && output.find("\nnothing to do: ") == std::string::npos) {
                return "the second boot after it still finds something to do: " + output;
            }
            const std::string wrong = WhatIsWrong(ReadDeviceState(device_), expected, mustBeNew, isSettled);
            if (!wrong.empty()) {
                return (isSettled ? "after two boots, " : "") + wrong;
            }
        }
        return "";
    }
    int Boot()
    {
        Cutter cutter(MODES[0], Cutter::NEVER, nullptr);
        return tracer_.Run(PowerCutWorld::CommandOn(device_, "boot"), cutter).value_or(-1);
    }

    const PowerCutWorld& world_;
    std::mt19937 random_;
    const std::string device_;
    Tracer tracer_;
};

struct Options {
    std::string modes;     // names, with commas
    std::string operation; // the only one
    int at = 0;            // the only point
    size_t sample = 0;     // so many points of each mode, a third of them where a disk is mounted twice; all when 0
    unsigned seed = std::random_device()();
    int jobs = 1;
    int job = -1; // of a job's process
    std::string results;
};

bool IsPlayed(const Mode& mode, const Options& options)
{
    return ("," + options.modes + ",").find("," + std::string(mode.name) + ",") != std::string::npos;
}

// Of the modes that were asked for, by default all, those that work here; a line about each of the others.
std::string PlayableModes(const Options& options)
{
    std::string playable;
    for (const Mode& mode : MODES) {
        std::string reason;
        if (!options.modes.empty() && !IsPlayed(mode, options)) {
            continue;
        }
        if (mode.IsOnDisk() && !DiskImage::IsAllowed(mode.disk, reason)) {
            printf("%s is skipped: %s\n", mode.name, reason.c_str());
            continue;
        }
        playable += (playable.empty() ? "" : ",") + std::string(mode.name);
    }
    return playable;
}

std::vector<Point> ChoosePoints(const PowerCutWorld& world, const Options& options)
{
    Player player(world, options.seed);
    std::mt19937 random(options.seed);
    std::vector<Point> chosen;
    for (const Mode& mode : MODES) {
        if (!IsPlayed(mode, options)) {
            continue;
        }
        std::vector<Point> points;
        for (const Operation& operation : world.Operations()) {
            if (!options.operation.empty() && options.operation != operation.name) {
                continue;
            }
            const int count = player.CountPoints(operation, mode);
            for (int at = 1; at <= count; ++at) {
                if (options.at == 0 || options.at == at) {
                    points.push_back({&operation, &mode, at});
                }
            }
        }
        if (options.sample != 0) {
            std::shuffle(points.begin(), points.end(), random);
            points.resize(std::min(points.size(), mode.IsOnDisk() ? (options.sample + 2) / 3 : options.sample));
        }
        chosen.insert(chosen.end(), points.begin(), points.end());
    }
    return chosen;
}

// Each job has a world of its own and takes every n-th point; the results go to a file, a line a point.
int RunJob(const Options& options)
{
    const PowerCutWorld world;
    Player player(world, options.seed + static_cast<unsigned>(options.job));
    const auto points = ChoosePoints(world, options);
    std::ofstream results(options.results);
    for (size_t i = static_cast<size_t>(options.job); i < points.size(); i += static_cast<size_t>(options.jobs)) {
        std::string wrong = player.Play(points[i]);
        std::replace(wrong.begin(), wrong.end(), '\n', ' ');
        results << points[i].mode->name << '\t' << points[i].operation->name << '\t' << points[i].at << '\t' << wrong
                << std::endl;
    }
    return results.good() ? EXIT_SUCCESS : EXIT_FAILURE;
}

struct Tally {
    int points = 0;
    int held = 0;
    std::vector<std::string> failures;
};

int Report(const std::vector<std::string>& resultFiles)
{
    std::map<std::string, Tally> tallies;
    for (const auto& path : resultFiles) {
        std::ifstream results(path);
        std::string mode;
        std::string operation;
        std::string at;
        for (std::string wrong; std::getline(results, mode, '\t') && std::getline(results, operation, '\t') &&
                                std::getline(results, at, '\t') && std::getline(results, wrong);) {
            Tally& tally = tallies[mode];
            ++tally.points;
            tally.held += wrong.empty() ? 1 : 0;
            if (!wrong.empty()) {
                tally.failures.push_back("  " + operation + ", call " + at + ": " + wrong);
            }
        }
    }
    bool isHeld = !tallies.empty();
    printf("| mode | | points | held |\n|---|---|---|---|\n");
    for (const Mode& mode : MODES) {
        const Tally& tally = tallies[mode.name];
        isHeld = isHeld && tally.points == tally.held;
        if (tally.points != 0) {
            printf("| %s | %s | %d | %d |\n", mode.name, mode.meaning, tally.points, tally.held);
        }
    }
    for (const auto& [mode, tally] : tallies) {
        for (size_t i = 0; i < tally.failures.size(); ++i) {
            if (i < TOLD_FAILURES || getenv("POWERCUT_TELL_ALL") != nullptr) {
                printf("%s%s\n", mode.c_str(), tally.failures[i].c_str());
            }
        }
    }
    return isHeld ? EXIT_SUCCESS : EXIT_FAILURE;
}

int RunJobs(Options options)
{
    std::vector<std::string> files;
    std::vector<pid_t> children;
    std::string folder = "/tmp/powercut-resultsXXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        return EXIT_FAILURE;
    }
    for (options.job = 0; options.job < options.jobs; ++options.job) {
        options.results = folder + "/" + std::to_string(options.job);
        files.push_back(options.results);
        const pid_t child = fork();
        if (child == 0) {
            try {
                _exit(RunJob(options));
            } catch (const std::exception& error) {
                fprintf(stderr, "%s\n", error.what());
                _exit(EXIT_FAILURE);
            }
        }
        children.push_back(child);
    }
    bool isPlayed = true;
    for (const pid_t child : children) {
        int status = 0;
        isPlayed = waitpid(child, &status, 0) == child && status == 0 && isPlayed;
    }
    const int reported = Report(files);
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    printf("seed %u\n", options.seed);
    return isPlayed ? reported : EXIT_FAILURE;
}

bool ReadOptions(int count, char** words, Options& options)
{
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string name = words[i];
        const std::string value = words[i + 1];
        if (name == "--modes") {
            options.modes = value;
        } else if (name == "--operation") {
            options.operation = value;
        } else if (name == "--at") {
            options.at = std::atoi(value.c_str());
        } else if (name == "--sample") {
            options.sample = std::strtoul(value.c_str(), nullptr, 10);
        } else if (name == "--seed") {
            options.seed = static_cast<unsigned>(std::strtoul(value.c_str(), nullptr, 10));
        } else if (name == "--jobs") {
            options.jobs = std::max(1, std::atoi(value.c_str()));
        } else {
            return false;
        }
    }
    return count % 2 == 1;
}
} // namespace
} // namespace ORVX::TavomendTest

int main(int argc, char** argv)
{
    using namespace ORVX::TavomendTest;
    Options options;
    if (!ReadOptions(argc, argv, options)) {
        fprintf(stderr,
                "powercut [--modes M,...] [--operation NAME] [--at CALL] [--sample POINTS] [--seed N] [--jobs N]\n");
        return 2;
    }
    if (!Tracer::IsAllowed()) {
        printf("skipped: programs cannot be traced here\n");
        return EXIT_SKIPPED;
    }
    DiskImage::KeepMountsPrivate();
    options.modes = PlayableModes(options);
    return options.modes.empty() ? EXIT_SKIPPED : RunJobs(options);
}
