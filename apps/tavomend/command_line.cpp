#include "apps/tavomend/command_line.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <iostream>

#include "apps/common/description.h"
#include "apps/common/usage.h"
#include "apps/tavomend/commands.h"
#include "apps/tavomend/device_setup.h"
#include "apps/tavomend/device_users.h"
#include "apps/tavomend/session.h"
#include "apps/tavomend/system_setup.h"

namespace ORVX::TavomendCli {
using TavomendHosting::Refused;

namespace {
constexpr int WAIT_FOR_EVER = -1;
constexpr int WAIT_MAX = 1 << 30;

// The command line: what every command takes, and which one was asked for.
class CommandLine {
public:
    CommandLine()
    {
        program_.set_version_flag("--version", std::string(TAVOMEND_VERSION));
        program_.require_subcommand(1);
        program_.fallthrough();
        program_.add_option("--root", options_.root, "The device's folder; this machine itself without it")
            ->type_name("DIR");
        program_.add_flag("-v", options_.verbosity, "Platform log on standard error: -v warnings, -vv all, -vvv debug");
        program_.add_flag("--json", options_.isJson, "JSON lines on standard output");
        program_
            .add_option("--wait", options_.wait, "Wait for a busy device: SECONDS at most, without a number for ever")
            ->type_name("[SECONDS]")
            ->check(CLI::Range(WAIT_FOR_EVER, WAIT_MAX));
        AddDeviceCommands();
        AddPatchCommands();
        AddQueries();
    }

    int Run(int argc, char** argv)
    {
        try {
            program_.parse(ReadArguments(argc, argv));
        } catch (const CLI::ParseError& error) {
            return Cli::ShowUsage(Cli::Console("tavomend", Cli::WantsJson(argc, argv)), program_, error);
        }
        if (!Cli::IsComplete(Cli::Console("tavomend", options_.isJson), program_)) {
            return Cli::WRONG_USAGE.exitCode;
        }
        if (description_.IsAsked()) {
            std::cout << description_.Text() << std::flush;
            return EXIT_DONE;
        }
        while (options_.root.size() > 1 && options_.root.back() == '/') {
            options_.root.pop_back();
        }
        return command_();
    }

private:
    using Command = std::function<int(Session&)>;

    // From the last one to the first, as the parser takes them. A "--wait" that no number follows waits for ever: an
    // option with a value that may be missing would take the next argument for it.
    static std::vector<std::string> ReadArguments(int argc, char** argv)
    {
        std::vector<std::string> arguments;
        for (int i = argc - 1; i > 0; --i) {
            const std::string word = argv[i];
            const bool isNumberNext = !arguments.empty() && !arguments.back().empty() &&
                                      arguments.back().find_first_not_of("0123456789") == std::string::npos;
            if (word == "--wait" && !isNumberNext) {
                arguments.push_back(word + "=" + std::to_string(WAIT_FOR_EVER));
            } else {
                arguments.push_back(word);
            }
        }
        return arguments;
    }

    // A command that changes the device, or that moves packages to ask the engine: one at a time.
    CLI::App* AddLocked(CLI::App& parent, const char* name, const char* help, const Command& command)
    {
        return Add(parent, name, help, [command](Session& session) {
            if (!session.CheckDevice()) {
                return EXIT_FAILED;
            }
            const int locked = session.Lock();
            return locked == EXIT_DONE ? command(session) : locked;
        });
    }

    CLI::App* Add(CLI::App& parent, const char* name, const char* help, const Command& command)
    {
        CLI::App* sub = parent.add_subcommand(name, help);
        const std::string operation = (&parent == &program_ ? "" : parent.get_name() + " ") + name;
        sub->callback([this, operation, command] {
            command_ = [this, operation, command] {
                Session session(options_, operation);
                return command(session);
            };
        });
        return sub;
    }

    void AddDeviceCommands()
    {
        CLI::App* device = program_.add_subcommand("device", "Make a device in a folder, and look after it");
        device->require_subcommand(1);
        AddDeviceInit(*device);
        CLI::App* install = AddLocked(*device, "install", "Install the bundle files of one application",
                                      [this](Session& session) { return RunDeviceInstall(session, files_, user_); });
        install->add_option("FILE", files_, "Bundle files (.vab)")->required();
        install->add_option("--user", user_, "For which user; 0 for a singleton")->capture_default_str();
        CLI::App* users = AddLocked(*device, "users", "List, add or remove users",
                                    [this](Session& session) { return RunDeviceUsers(session, added_, removed_); });
        users->add_option("--add", added_, "Users to add");
        users->add_option("--remove", removed_, "Users to remove");
        Add(*device, "list", "List the installed applications", RunDeviceList);
    }

    void AddDeviceInit(CLI::App& device)
    {
        CLI::App* init = Add(device, "init", "Lay out an empty device in --root, or make a system a device",
                             [this](Session& session) { return RunInit(session); });
        baseVersion_ = init->add_option("--base-version", setup_.baseVersion, "The device's base version")
                           ->capture_default_str()
                           ->type_name("VERSION");
        init->add_option("--public-key", setup_.publicKey, "Public key of patch packages")->type_name("PEM");
        init->add_option("--factory", setup_.factoryFiles, "Factory applications (.vab)")->type_name("FILE");
        init->add_flag("--system", isSystem_, "Make this machine, or the system image in --root, a device");
    }

    int RunInit(Session& session)
    {
        if (!isSystem_) {
            return RunDeviceInit(session, setup_);
        }
        if (baseVersion_->count() > 0) {
            return session.Out().Fail("--base-version does not go with --system: the system's os-release tells it",
                                      Cli::WRONG_USAGE);
        }
        if (!setup_.factoryFiles.empty()) {
            return session.Out().Fail("--factory does not go with --system: the system has its own below /system/app",
                                      Cli::WRONG_USAGE);
        }
        return RunSystemInit(session, setup_.publicKey);
    }

    void AddPatchCommands()
    {
        CLI::App* deliver =
            AddLocked(program_, "deliver", "Bring a patch package onto the device", [this](Session& session) {
                return RunDeliver(session, delivery_, isForced_ ? Refused::IS_DELIVERED : Refused::IS_SENT_BACK);
            });
        deliver->add_flag("--force", isForced_, "Also a package that this device will refuse");
        deliver->add_option("PACKAGE", delivery_.package, "app.tvpk")->required();
        deliver->add_option("SIGNATURE", delivery_.signature, "tavomend_sign.bin")->required();
        CLI::App* install = AddLocked(program_, "install", "Deliver a package, and apply it where that takes no boot",
                                      [this](Session& session) { return RunInstall(session, delivery_); });
        install->add_option("PACKAGE", delivery_.package, "app.tvpk")->required();
        install->add_option("SIGNATURE", delivery_.signature, "tavomend_sign.bin")->required();
        AddLocked(program_, "apply", "Load and apply the delivered package", RunApply);
        CLI::App* load = AddLocked(program_, "load", "Load the delivered package at one stage of a boot",
                                   [this](Session& session) { return RunLoad(session, stage_); });
        load->add_option("--stage", stage_, "init, or sa: the system-service stage")
            ->required()
            ->check(CLI::IsMember({"init", "sa"}));
        CLI::App* boot = AddLocked(program_, "boot", "Play one whole boot, each stage in a process of its own",
                                   [this](Session& session) { return RunBoot(session, bootStage_); });
        boot->add_option("--stage", bootStage_, "One stage of the machine's own boot; a failed patch does not fail it")
            ->check(CLI::IsMember({"init", "scan", "service"}));
        CLI::App* revoke =
            AddLocked(program_, "revoke", "Take applications of the patch in force back at the next boot",
                      [this](Session& session) { return RunRevoke(session, bundles_); });
        revoke->add_option("BUNDLE", bundles_, "Bundle names")->required()->type_name("NAME");
        CLI::App* clear = AddLocked(program_, "clear", "Forget delivered and applied patches",
                                    [this](Session& session) { return RunClear(session, isSure_); });
        clear->add_flag("--yes", isSure_, "Also a patch in force, which then can no longer be taken off");
    }

    void AddQueries()
    {
        AddLocked(program_, "test", "Run the test hook", RunTest);
        AddLocked(program_, "version", "Show the patch version", RunVersion);
        Add(program_, "status", "Show the status record, with its error codes in words", RunStatus);
        AddLocked(program_, "info", "Show which applications carry the patch", RunInfo);
    }

    CLI::App program_{"Hosts the hot-patch engine on a device in a folder.", "tavomend"};
    Cli::Description description_{program_};
    Options options_;
    std::function<int()> command_;
    DeviceSetup setup_;
    std::vector<std::string> files_;
    std::vector<std::string> bundles_;
    std::vector<int32_t> added_;
    std::vector<int32_t> removed_;
    TavomendHosting::PackageFiles delivery_;
    std::string stage_;
    std::string bootStage_;
    bool isForced_ = false;
    bool isSure_ = false;
    bool isSystem_ = false;
    const CLI::Option* baseVersion_ = nullptr;
    int32_t user_ = 100;
};
} // namespace

int RunTavomend(int argc, char** argv)
{
    return CommandLine().Run(argc, argv);
}
} // namespace ORVX::TavomendCli
