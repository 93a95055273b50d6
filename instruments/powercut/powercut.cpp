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

#include "instruments/powercut/journal.h"
#include "instruments/powercut/power_cut_world.h"
#include "instruments/powercut/tracer.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using Kind = SystemCall::Kind;
constexpr int EXIT_SKIPPED = 77;
constexpr int EXIT_NOTHING = 3; // of tavomend
constexpr int NEVER = 1 << 30;
constexpr int CALLS_OF_A_BOOT = 300; // about: where a second cut may fall
constexpr size_t TOLD_FAILURES = 12;

struct Mode {
    const char* name;
    const char* meaning;
    enum class Cut { KILL, TEAR, NO_ROOM, IO_ERROR } cut;
    enum class Loss { NOTHING, DATA, NAMES } loss;
    bool isTwice;
};
constexpr Mode MODES[] = {
    {"killed", "ended before the call", Mode::Cut::KILL, Mode::Loss::NOTHING, false},
    {"torn", "ended within a write", Mode::Cut::TEAR, Mode::Loss::NOTHING, false},
    {"zeros", "what was not flushed is zeros", Mode::Cut::KILL, Mode::Loss::DATA, false},
    {"names", "and names are as they were flushed", Mode::Cut::KILL, Mode::Loss::NAMES, false},
    {"killed-twice", "and again in the boot that repairs", Mode::Cut::KILL, Mode::Loss::NOTHING, true},
    {"names-twice", "the worst, and again in that boot", Mode::Cut::KILL, Mode::Loss::NAMES, true},
    {"no-room", "the disk is full from the call on", Mode::Cut::NO_ROOM, Mode::Loss::NOTHING, false},
    {"io-error", "this one call fails", Mode::Cut::IO_ERROR, Mode::Loss::NOTHING, false},
};

// Lets everything pass up to the n-th call of the mode's kind, from 1 on.
class Cutter : public CallWatcher {
public:
    Cutter(const Mode& mode, int at, Journal* journal) : mode_(mode), at_(at), journal_(journal) {}

    Verdict Before(const SystemCall& call) override
    {
        const bool isCut = Count(call);
        if (isCut && lastCall_.empty()) {
            lastCall_ = call.name + " " + call.path + (call.newPath.empty() ? "" : " to " + call.newPath);
        }
        if (call.kind == Kind::SPACE) {
            return mode_.cut == Mode::Cut::NO_ROOM && count_ >= at_ ? Verdict::NO_ROOM : Verdict::RUN;
        }
        if (isCut) {
            return mode_.cut == Mode::Cut::KILL   ? Verdict::KILL
                   : mode_.cut == Mode::Cut::TEAR ? Verdict::TEAR
                                                  : Verdict::FAIL;
        }
        if (journal_ != nullptr) {
            journal_->Before(call);
        }
        return Verdict::RUN;
    }
    void After(const SystemCall& call, int64_t result) override
    {
        if (journal_ != nullptr && mode_.cut != Mode::Cut::TEAR) {
            journal_->After(call, result);
        }
    }
    [[nodiscard]] int Error() const override { return mode_.cut == Mode::Cut::NO_ROOM ? ENOSPC : EIO; }
    [[nodiscard]] int Calls() const { return count_; }
    [[nodiscard]] const std::string& LastCall() const { return lastCall_; }

private:
    // The log's lines are no points: what is on disk between two of them is the same.
    bool Count(const SystemCall& call)
    {
        const bool isLog = call.path.find("/data/log/") != std::string::npos;
        const bool isFull = mode_.cut == Mode::Cut::NO_ROOM;
        const bool isPoint = !isLog && call.kind != Kind::SPACE && (!isFull || call.isGrowing) &&
                             (mode_.cut != Mode::Cut::TEAR || call.kind == Kind::WRITE);
        count_ += isPoint ? 1 : 0;
        return isFull ? call.isGrowing && count_ >= at_ : isPoint && count_ == at_;
    }

    const Mode& mode_;
    const int at_;
    Journal* const journal_;
    int count_ = 0;
    std::string lastCall_;
};

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
        Cutter cutter(mode, NEVER, nullptr);
        static_cast<void>(tracer_.Run(operation.command, cutter));
        return cutter.Calls() + (mode.loss == Mode::Loss::NOTHING ? 0 : 1); // and once it is over
    }
    // Empty when the point held.
    std::string Play(const Point& point)
    {
        PowerCutWorld::CopyDevice(point.operation->snapshot, device_);
        std::string where;
        const auto exitCode = Cut(point.operation->command, *point.mode, point.at, where);
        if (point.mode->isTwice) {
            std::string again;
            const int at = 1 + static_cast<int>(random_() % CALLS_OF_A_BOOT);
            static_cast<void>(Cut(PowerCutWorld::CommandOn(device_, "boot"), *point.mode, at, again));
            where += again.empty() ? "" : ", then at call " + std::to_string(at) + ", " + again;
        }
        const bool mustBeNew = exitCode && (*exitCode == 0 || *exitCode == EXIT_NOTHING);
        std::string wrong = Judge(point.operation->expected, mustBeNew);
        return wrong.empty() ? "" : wrong + " [" + (where.empty() ? "at its end" : where) + "]";
    }

private:
    std::optional<int> Cut(const std::vector<std::string>& command, const Mode& mode, int at, std::string& where)
    {
        Journal journal(device_, world_.At("attic"));
        Cutter cutter(mode, at, mode.loss == Mode::Loss::NOTHING ? nullptr : &journal);
        const auto exitCode = tracer_.Run(command, cutter);
        where = cutter.LastCall();
        for (size_t found = 0; (found = where.find(device_)) != std::string::npos;) {
            where.erase(found, device_.size());
        }
        if (mode.loss != Mode::Loss::NOTHING) {
            journal.Lose(mode.loss == Mode::Loss::NAMES);
        }
        return exitCode;
    }
    std::string Judge(const Expectation& expected, bool mustBeNew)
    {
        for (const bool isSettled : {false, true}) {
            const int exitCode = Boot();
            if (exitCode != EXIT_NOTHING && (exitCode != 0 || isSettled)) {
                return (isSettled ? "the second boot after it ends with " : "the next boot ends with ") +
                       std::to_string(exitCode) + ": " + ReadFile(world_.At("output"));
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
        Cutter cutter(MODES[0], NEVER, nullptr);
        return tracer_.Run(PowerCutWorld::CommandOn(device_, "boot"), cutter).value_or(-1);
    }

    const PowerCutWorld& world_;
    std::mt19937 random_;
    const std::string device_;
    Tracer tracer_;
};

struct Options {
    std::string modes;     // names, with commas; all when empty
    std::string operation; // the only one
    int at = 0;            // the only point
    size_t sample = 0;     // so many points of each mode; all when 0
    unsigned seed = std::random_device()();
    int jobs = 1;
    int job = -1; // of a job's process
    std::string results;
};

std::vector<Point> ChoosePoints(const PowerCutWorld& world, const Options& options)
{
    Player player(world, options.seed);
    std::mt19937 random(options.seed);
    std::vector<Point> chosen;
    for (const Mode& mode : MODES) {
        if (!options.modes.empty() &&
            ("," + options.modes + ",").find("," + std::string(mode.name) + ",") == std::string::npos) {
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
            points.resize(std::min(points.size(), options.sample));
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
    std::filesystem::remove_all(folder, ignored);
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
    return RunJobs(options);
}
