#include "apps/tvpk/diff_commands.h"

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_maker.h"
#include "diff/difference_result.h"
#include "diff/mapped_file.h"

namespace ORVX::Tvpk {
namespace {
constexpr int EXIT_DONE = 0;
constexpr int EXIT_FAILED = 1;
constexpr int SCHEMA = 1;

int Fail(const std::string& reason)
{
    std::fprintf(stderr, "tvpk: %s\n", reason.c_str());
    return EXIT_FAILED;
}

// One line that is written over, on a terminal only.
void ShowProgress(const std::string& step, uint64_t done, uint64_t total)
{
    std::fprintf(stderr, "\r%-8s %llu/%llu\033[K", step.c_str(), static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(total));
    if (step == "verify" && done == total) {
        std::fprintf(stderr, "\r\033[K");
    }
}

// "tvdf" for the archive-aware format, "zstd" for a plain frame.
const char* FormatName(const std::string& differencePath)
{
    const auto difference = Difference::MappedFile::Open(differencePath);
    return difference.has_value() && Difference::IsArchiveDifference(difference->View()) ? "tvdf" : "zstd";
}

uint64_t SizeOf(const std::string& path)
{
    std::error_code error;
    const uintmax_t size = std::filesystem::file_size(path, error);
    return error ? 0 : size;
}

nlohmann::ordered_json ToJson(const Difference::DifferenceReport& report)
{
    return {{"schema", SCHEMA},
            {"command", "diff"},
            {"kind", Difference::DifferenceKindName(report.kind)},
            {"oldSize", report.oldSize},
            {"newSize", report.newSize},
            {"diffSize", report.differenceSize},
            {"plainSize", report.plainSize},
            {"entries", report.entries}};
}
} // namespace

DiffCommands::DiffCommands(CLI::App& program, int& result)
{
    CLI::App* const diff = program.add_subcommand("diff", "Make the difference between two files");
    diff->add_option("OLD", oldPath_, "The old file")->required();
    diff->add_option("NEW", newPath_, "The new file")->required();
    diff->add_option("OUT", differencePath_, "The difference to write")->required();
    diff->add_flag("--json", json_, "JSON on standard output");
    diff->callback([this, &result] { result = Diff(); });

    CLI::App* const patch = program.add_subcommand("patch", "Make the new file from a difference and the old file");
    patch->add_option("DIFF", differencePath_, "The difference")->required();
    patch->add_option("OLD", oldPath_, "The old file")->required();
    patch->add_option("OUT", newPath_, "The new file to write")->required();
    patch->add_flag("--json", json_, "JSON on standard output");
    patch->callback([this, &result] { result = Patch(); });
}

int DiffCommands::Diff() const
{
    Difference::DifferenceOptions options;
    if (isatty(STDERR_FILENO) != 0) {
        options.progress = ShowProgress;
    }
    Difference::DifferenceReport report;
    std::string error;
    if (!Difference::MakeDifference({oldPath_, newPath_, differencePath_}, options, report, error)) {
        return Fail(error);
    }
    if (json_) {
        std::printf("%s\n", ToJson(report).dump(2).c_str());
        return EXIT_DONE;
    }
    const double share = report.newSize != 0
                             ? 100.0 * static_cast<double>(report.differenceSize) / static_cast<double>(report.newSize)
                             : 0;
    std::printf("%s: %llu bytes for a file of %llu (%.1f %%); plain zstd: %llu\n",
                Difference::DifferenceKindName(report.kind), static_cast<unsigned long long>(report.differenceSize),
                static_cast<unsigned long long>(report.newSize), share,
                static_cast<unsigned long long>(report.plainSize));
    return EXIT_DONE;
}

int DiffCommands::Patch() const
{
    const int result = Difference::ApplyDifference(differencePath_, oldPath_, newPath_);
    const std::string text = Difference::DifferenceResultText(result);
    const bool isDone = result == Difference::DIFFERENCE_OK;
    if (json_) {
        nlohmann::ordered_json report = {{"schema", SCHEMA}, {"command", "patch"}, {"code", result}, {"text", text}};
        if (isDone) {
            report["format"] = FormatName(differencePath_);
            report["diffSize"] = SizeOf(differencePath_);
            report["newSize"] = SizeOf(newPath_);
        }
        std::printf("%s\n", report.dump(2).c_str());
    } else if (isDone) {
        std::printf("%s: %llu bytes brought forth %llu\n", FormatName(differencePath_),
                    static_cast<unsigned long long>(SizeOf(differencePath_)),
                    static_cast<unsigned long long>(SizeOf(newPath_)));
    }
    return isDone ? EXIT_DONE : Fail(text + " (code " + std::to_string(result) + ")");
}
} // namespace ORVX::Tvpk
