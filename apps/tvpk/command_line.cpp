#include "apps/tvpk/command_line.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>

#include "apps/common/description.h"
#include "apps/common/usage.h"
#include "apps/tvpk/commands.h"
#include "apps/tvpk/diff_commands.h"
#include "formats/signature.h"

namespace ORVX::Tvpk {
using Cli::Console;

namespace {
constexpr const char* PROGRAM_NAME = "tvpk";
constexpr int MAX_KEY_BITS = 8192;

// What every command takes, and which one was asked for.
class CommandLine {
public:
    CommandLine()
    {
        program_.set_version_flag("--version", std::string(TAVOMEND_VERSION));
        program_.require_subcommand(1);
        program_.fallthrough();
        program_.add_flag("--json", isJson_, "JSON lines on standard output");
        AddKeygenAndPack();
        AddPackageCommands();
        AddDiffCommands();
    }

    int Run(int argc, char** argv)
    {
        try {
            program_.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            return Cli::ShowUsage(Console(PROGRAM_NAME, Cli::WantsJson(argc, argv)), program_, error);
        }
        const Console console(PROGRAM_NAME, isJson_);
        if (!Cli::IsComplete(console, program_)) {
            return Cli::WRONG_USAGE.exitCode;
        }
        if (description_.IsAsked()) {
            std::cout << description_.Text() << std::flush;
            return Cli::EXIT_DONE;
        }
        return command_(console);
    }

private:
    using Command = std::function<int(const Console&)>;

    CLI::App* Add(const char* name, const char* help, const Command& command)
    {
        CLI::App* sub = program_.add_subcommand(name, help);
        sub->callback([this, command] { command_ = command; });
        return sub;
    }

    void AddKeygenAndPack()
    {
        CLI::App* keygen = Add("keygen", "Make a signing key and the public key that devices get",
                               [this](const Console& console) { return RunKeygen(console, make_.outDir, bits_); });
        keygen->add_option("--out", make_.outDir, "Directory of the two files")->required()->type_name("DIR");
        keygen->add_option("--bits", bits_, "Size of the RSA key")
            ->check(CLI::Range(Formats::MIN_KEY_BITS, MAX_KEY_BITS))
            ->capture_default_str();
        CLI::App* pack = Add("pack", "Pack an application directory into a bundle file (.vab)",
                             [this](const Console& console) { return RunPack(console, directory_, packed_, level_); });
        pack->add_option("DIR", directory_, "Directory with a manifest.json at its top")->required();
        pack->add_option("OUT", packed_, "The bundle file to write")->required();
        pack->add_option("--level", level_, "Deflate level")->check(CLI::Range(0, 9))->capture_default_str();
    }

    void AddPackageCommands()
    {
        CLI::App* make = Add("make", "Make a signed patch package from a release file",
                             [this](const Console& console) { return RunMake(console, make_); });
        make->add_option("RELEASE", make_.release, "The release file (docs/package-format.md)")->required();
        make->add_option("--key", make_.privateKey, "Private key")->required()->type_name("PEM");
        make->add_option("--out", make_.outDir, "Directory of app.tvpk and tavomend_sign.bin")
            ->required()
            ->type_name("DIR");
        make->add_flag("--plain", make_.isPlainOnly, "Plain zstd differences only");
        AddWork(*make);
        CLI::App* inspect = Add("inspect", "Show what is inside a patch package",
                                [this](const Console& console) { return RunInspect(console, verify_.package); });
        inspect->add_option("PACKAGE", verify_.package, "The package (app.tvpk)")->required();
        CLI::App* verify = Add("verify", "Check a patch package as a device would",
                               [this](const Console& console) { return RunVerify(console, verify_); });
        verify->add_option("PACKAGE", verify_.package, "The package (app.tvpk)")->required();
        verify->add_option("SIGNATURE", verify_.signature, "Its signature (tavomend_sign.bin)")->required();
        verify->add_option("--public-key", verify_.publicKey, "Public key")->required()->type_name("PEM");
    }

    void AddDiffCommands()
    {
        CLI::App* diff = Add("diff", "Make the difference between two files",
                             [this](const Console& console) { return RunDiff(console, diff_, limits_, make_.work); });
        diff->add_option("OLD", diff_.old, "The old file")->required();
        diff->add_option("NEW", diff_.fresh, "The new file")->required();
        diff->add_option("OUT", diff_.difference, "The difference to write")->required();
        constexpr int WINDOW_MAX = Difference::DifferenceWindowMax(Difference::DIFFERENCE_VERSION_MAX) >> 20;
        diff->add_option("--format", limits_.format, "Highest version of the format that the device reads")
            ->check(CLI::Range(int{Difference::DIFFERENCE_VERSION_MIN}, int{Difference::DIFFERENCE_VERSION_MAX}))
            ->capture_default_str();
        diff->add_option("--window", limits_.window, "Memory of the device for old content; with format 1 at most 12")
            ->check(CLI::Range(1, WINDOW_MAX))
            ->type_name("MIB")
            ->capture_default_str();
        AddWork(*diff);
        CLI::App* patch = Add("patch", "Make the new file from a difference and the old file",
                              [this](const Console& console) { return RunPatch(console, diff_); });
        patch->add_option("DIFF", diff_.difference, "The difference")->required();
        patch->add_option("OLD", diff_.old, "The old file")->required();
        patch->add_option("OUT", diff_.fresh, "The new file to write")->required();
    }

    void AddWork(CLI::App& command)
    {
        command
            .add_option("--memory", make_.work.memory, "Most that the work takes: a quarter of the machine's without")
            ->check(CLI::Range(1, 1 << 20))
            ->type_name("MIB");
        command.add_option("--cache", make_.work.cacheFolder, "Keep differences here, and make none that is kept")
            ->type_name("DIR");
        command.add_option("--cache-size", make_.work.cacheMax, "Most that they take; those used last stay")
            ->check(CLI::Range(1, 1 << 20))
            ->type_name("MIB")
            ->capture_default_str();
    }

    CLI::App program_{"Makes, signs and checks patch packages.", PROGRAM_NAME};
    Cli::Description description_{program_};
    bool isJson_ = false;
    Command command_;
    MakeRequest make_;
    VerifyRequest verify_;
    DiffPaths diff_;
    DiffLimits limits_;
    std::string directory_;
    std::string packed_;
    int bits_ = 3072;
    int level_ = 6; // at 9 it is 0.3 % smaller, and a device that deflates it anew takes far longer
};
} // namespace

int RunTvpk(int argc, char** argv)
{
    return CommandLine().Run(argc, argv);
}
} // namespace ORVX::Tvpk
