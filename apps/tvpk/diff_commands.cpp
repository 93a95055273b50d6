#include "apps/tvpk/diff_commands.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "apps/common/progress.h"
#include "apps/tvpk/free_room.h"
#include "apps/tvpk/interruption.h"
#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_maker.h"
#include "diff/difference_result.h"
#include "diff/mapped_file.h"
#include "handles/file_error.h"

namespace ORVX::Tvpk {
namespace fs = std::filesystem;

namespace {
// "tvdf" for the archive-aware format, "zstd" for a plain frame.
const char* FormatName(const std::string& differencePath)
{
    const auto difference = Difference::MappedFile::Open(differencePath);
    return difference.has_value() && Difference::IsArchiveDifference(difference->View()) ? "tvdf" : "zstd";
}

uint64_t SizeOf(const std::string& path)
{
    std::error_code error;
    const uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

// What not every device has.
std::string NeedText(const Difference::DifferenceReport& report)
{
    return report.version <= Difference::DIFFERENCE_VERSION_MIN
               ? ""
               : "; needs format " + std::to_string(report.version) + " and a window of " +
                     std::to_string(Difference::InMib(report.window)) + " MiB";
}

void ShowDiff(const Cli::Console& console, const Difference::DifferenceReport& report, bool isCacheAsked)
{
    const char* kind = Difference::DifferenceKindName(report.kind);
    nlohmann::ordered_json fields = {{"kind", kind},
                                     {"oldSize", report.oldSize},
                                     {"newSize", report.newSize},
                                     {"diffSize", report.differenceSize},
                                     {report.isPlainGivenUp ? "plainAbove" : "plainSize", report.plainSize},
                                     {"entries", report.entries},
                                     {"formatVersion", report.version},
                                     {"window", report.window}};
    if (isCacheAsked) {
        fields["cached"] = report.isCached;
    }
    console.Emit("diff", fields);
    if (console.IsJson()) {
        return;
    }
    const double share = report.newSize != 0
                             ? 100.0 * static_cast<double>(report.differenceSize) / static_cast<double>(report.newSize)
                             : 0;
    char percent[16];
    snprintf(percent, sizeof(percent), "%.1f", share);
    console.Say(std::string(kind) + ": " + std::to_string(report.differenceSize) + " bytes for a file of " +
                std::to_string(report.newSize) + " (" + percent +
                " %); plain zstd: " + (report.isPlainGivenUp ? "more than " : "") + std::to_string(report.plainSize) +
                NeedText(report) + (report.isCached ? "; made before" : ""));
}

// A regular file, which gives way to the new one, or a link, which does so itself.
bool MayReplace(const std::string& path)
{
    std::error_code error;
    const fs::file_type type = fs::symlink_status(path, error).type();
    return type == fs::file_type::not_found || type == fs::file_type::regular || type == fs::file_type::symlink;
}

bool IsSameFile(const std::string& one, const std::string& other)
{
    std::error_code error;
    return fs::equivalent(one, other, error);
}

int FailPatch(const Cli::Console& console, const DiffPaths& paths, int result, int error)
{
    const std::string code = " (code " + std::to_string(result) + ")";
    for (const auto& [unread, path] : {std::pair{Difference::DIFFERENCE_BASE_UNREADABLE, paths.old},
                                       std::pair{Difference::DIFFERENCE_UNREADABLE, paths.difference}}) {
        if (result == unread) {
            return console.Fail(Handles::CannotRead(path) + code);
        }
    }
    const bool isUnwritten =
        result == Difference::DIFFERENCE_OUTPUT_UNWRITABLE || result == Difference::DIFFERENCE_NO_ROOM;
    return console.Fail(
        (isUnwritten ? Handles::CannotWrite(paths.fresh, error) : Difference::DifferenceResultText(result)) + code);
}

// Applies the difference beside the new file's place and moves it there. error: errno of a file that cannot be written.
int ApplyBeside(const DiffPaths& paths, Interruption& interruption, int& error)
{
    if (IsSameFile(paths.fresh, paths.old) || IsSameFile(paths.fresh, paths.difference)) {
        return Difference::DIFFERENCE_OUTPUT_IS_INPUT;
    }
    if (!MayReplace(paths.fresh)) {
        return Difference::DIFFERENCE_OUTPUT_UNWRITABLE;
    }
    const std::string beside = paths.fresh + "." + std::to_string(getpid()) + ".part";
    interruption.SetCleanUp([&beside] { unlink(beside.c_str()); });
    int result = Difference::DIFFERENCE_OK;
    interruption.Allow([&] {
        errno = 0;
        result = Difference::ApplyDifference(paths.difference, paths.old, beside);
        error = result == Difference::DIFFERENCE_NO_ROOM ? ENOSPC : errno;
    });
    if (result == Difference::DIFFERENCE_OK && std::rename(beside.c_str(), paths.fresh.c_str()) != 0) {
        error = errno;
        unlink(beside.c_str());
        result = Difference::DIFFERENCE_OUTPUT_UNWRITABLE;
    }
    interruption.SetCleanUp(nullptr);
    return result;
}
} // namespace

int RunDiff(const Cli::Console& console, const DiffPaths& paths, const DiffLimits& limits, const WorkChoice& work)
{
    const Difference::DifferencePaths files{paths.old, paths.fresh, paths.difference};
    if (IsSameFile(paths.difference, paths.old) || IsSameFile(paths.difference, paths.fresh)) {
        return console.Fail("the difference would overwrite the old or the new file");
    }
    const std::string noRoom =
        WhyNoRoom(fs::path(paths.difference).parent_path().string(), SizeOf(paths.fresh), paths.difference);
    if (!noRoom.empty()) { // for the new file as the proof of the difference makes it
        return console.Fail(noRoom);
    }
    Interruption interruption(console);
    interruption.SetCleanUp([&files] {
        for (const auto& scratch : Difference::ScratchFilesOf(files)) {
            unlink(scratch.c_str());
        }
    });
    Cli::Progress progress(console);
    Difference::DifferenceOptions options;
    options.version = static_cast<uint8_t>(limits.format);
    options.window = static_cast<size_t>(limits.window) << 20;
    work.ApplyTo(options);
    options.progress = [&progress](const std::string& step, uint64_t done, uint64_t total) {
        progress.Report(step, done, total);
    };
    options.beforeMove = [&interruption] { interruption.Settle(); };
    Difference::DifferenceReport report;
    std::string error;
    bool isMade = false;
    interruption.Allow([&] { isMade = Difference::MakeDifference(files, options, report, error); });
    if (!isMade) {
        return console.Fail(error);
    }
    if (!report.failure.empty()) {
        console.Note("only the plain kind could be made: " + report.failure);
    }
    if (!report.unkept.empty()) {
        console.Note("the difference is not kept: " + report.unkept);
    }
    ShowDiff(console, report, !work.cacheFolder.empty());
    return Cli::EXIT_DONE;
}

int RunPatch(const Cli::Console& console, const DiffPaths& paths)
{
    Interruption interruption(console);
    int error = 0;
    const int result = ApplyBeside(paths, interruption, error);
    if (result != Difference::DIFFERENCE_OK) {
        return FailPatch(console, paths, result, error);
    }
    const char* format = FormatName(paths.difference);
    const uint64_t diffSize = SizeOf(paths.difference);
    const uint64_t newSize = SizeOf(paths.fresh);
    console.Emit("patch", {{"format", format}, {"diffSize", diffSize}, {"newSize", newSize}});
    if (!console.IsJson()) {
        console.Say(std::string(format) + ": " + std::to_string(diffSize) + " bytes brought forth " +
                    std::to_string(newSize));
    }
    return Cli::EXIT_DONE;
}
} // namespace ORVX::Tvpk
