#include "apps/tavomend/commands.h"

#include <CLI/CLI.hpp>
#include <functional>

#include "apps/common/text_table.h"
#include "apps/tavomend/boot.h"
#include "apps/tavomend/device_setup.h"
#include "apps/tavomend/patch_run.h"
#include "apps/tavomend/session.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "hosting/delivery.h"
#include "hosting/device_view.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/sys_utils.h"

namespace ORVX::TavomendCli {
using namespace TavomendHosting;
using TavomendEngine::CreateEngineApp;
using TavomendEngine::FileUtils;

namespace {
int RunDeliver(Session& session, const std::string& package, const std::string& signature)
{
    const std::string& root = session.GetOptions().root;
    if (!session.CheckDevice()) {
        return EXIT_FAILED;
    }
    // Both come from outside of the device: onto its own disk first, from where one rename puts each in place.
    for (const auto& [source, target] :
         {std::pair{package, INCOMING_PACKAGE}, std::pair{signature, INCOMING_SIGNATURE}}) {
        if (!FileUtils::FileIsExist(source)) {
            return session.Out().Fail("there is no file " + source);
        }
        if (!FileUtils::ReplaceFileByCopy(source, root + target, 0600)) {
            return session.Out().Fail("cannot copy " + source + " to the device");
        }
    }
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    std::string refusal;
    std::string error;
    if (!Deliver(refusal, error)) {
        return session.Out().Fail(error);
    }
    session.Out().Emit({{"delivered", true}, {"refusal", refusal}});
    session.Out().Say(refusal.empty() ? "delivered" : "delivered, but this device will refuse it: " + refusal);
    return EXIT_DONE;
}

int RunApply(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    RepairPackagePlaces();
    FinishDelivery();
    TavomendEngine::SysUtils::SetRunningStage(TavomendEngine::RUNNING_STAGE_SA);
    const auto platform = session.StartPlatform(ServiceStart::SCAN);
    return platform == nullptr ? EXIT_FAILED : LoadAndApply(session);
}

int RunLoad(Session& session, const std::string& stage)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    RepairPackagePlaces();
    if (stage == "init") {
        return LoadOnce(session, TavomendEngine::RUNNING_STAGE_INIT);
    }
    const auto platform = session.StartPlatform(ServiceStart::SCAN);
    return platform == nullptr ? EXIT_FAILED : LoadOnce(session, TavomendEngine::RUNNING_STAGE_SA);
}

int RunRevoke(Session& session, const std::vector<std::string>& bundleNames)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto engine = CreateEngineApp();
    if (engine->RevokeTavomend(bundleNames) == 0) {
        return EXIT_DONE;
    }
    return session.Out().Fail("only the process that applied a patch can revoke single applications of it; to take the "
                              "patch back, make a revoke package (tvpk make with \"action\": \"revoke\"), deliver it "
                              "and boot");
}

int RunClear(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto engine = CreateEngineApp();
    if (engine->ClearTavomend() != 0) {
        return session.Out().Fail("the engine could not go back to idle");
    }
    session.Out().Say("cleared: no patch is delivered for keeping or in force; applications stay as they are");
    session.Out().Emit({{"cleared", true}});
    return EXIT_DONE;
}

int RunTest(Session& session)
{
    const auto platform = session.EnterDevice() ? session.StartPlatform(ServiceStart::ATTACH) : nullptr;
    if (platform == nullptr) {
        return EXIT_FAILED;
    }
    const auto engine = CreateEngineApp();
    const std::string text = engine->TestTavomend();
    session.Out().Say(text);
    session.Out().Emit({{"test", text}});
    return EXIT_DONE;
}

int RunVersion(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const auto engine = CreateEngineApp();
    const std::string version = engine->GetTavomendVersion();
    session.Out().Emit({{"version", version}});
    if (version.empty()) {
        std::string reason;
        static_cast<void>(JudgePackage(Formats::PACKAGE_PATH, Formats::SIGN_PATH, reason));
        return session.Out().Fail("the delivered package does not pass its check" +
                                  (reason.empty() ? "" : ": " + reason));
    }
    session.Out().Say(version);
    return EXIT_DONE;
}

int RunStatus(Session& session)
{
    if (!session.EnterDevice()) {
        return EXIT_FAILED;
    }
    const StatusView view = ReadStatus(session.Port(), ReadBundleNames());
    session.Out().Emit({{"status", view.status},
                        {"version", view.version},
                        {"detail", view.detail},
                        {"explanation", view.explanation}});
    if (view.status.empty()) {
        session.Out().Say("no operation has been recorded");
        return EXIT_DONE;
    }
    session.Out().Say(view.status + (view.version.empty() ? "" : ", version " + view.version) +
                      (view.detail.empty() ? "" : ", detail " + view.detail));
    if (!view.explanation.empty()) {
        session.Out().Say(view.explanation);
    }
    return EXIT_DONE;
}

int RunInfo(Session& session)
{
    const auto platform = session.EnterDevice() ? session.StartPlatform(ServiceStart::ATTACH) : nullptr;
    if (platform == nullptr) {
        return EXIT_FAILED;
    }
    if (IsPackageDelivered() || !IsBackupThere()) {
        const bool isPending = IsPackageDelivered();
        session.Out().Emit({{"pending", isPending}, {"applications", nlohmann::ordered_json::object()}});
        session.Out().Say(isPending ? "a delivered package is waiting: apply it, or boot, first"
                                    : "no patch is in force");
        return EXIT_NOTHING;
    }
    const auto engine = CreateEngineApp();
    const auto infos = engine->GetTavomendInfo();
    Cli::TextTable table({"BUNDLE", "PATCH"});
    auto applications = nlohmann::ordered_json::object();
    for (const auto& [name, status] : infos) {
        const char* word = status == TavomendEngine::PATCH_FIXED ? "fixed" : "not fixed";
        table.Add({name, word});
        applications[name] = word;
    }
    session.Out().Emit({{"pending", false}, {"applications", applications}});
    if (infos.empty()) {
        session.Out().Say("the patch in force names no applications");
        return EXIT_NOTHING;
    }
    if (!session.Out().IsJson()) {
        session.Out().Say(table.ToString());
    }
    return EXIT_DONE;
}

// The command line: what every command takes, and which one was asked for.
class CommandLine {
public:
    CommandLine()
    {
        program_.set_version_flag("--version", std::string(TAVOMEND_VERSION));
        program_.require_subcommand(1);
        program_.fallthrough();
        program_.add_option("--root", options_.root, "The device's folder; this machine itself without it");
        program_.add_flag("-v", options_.verbosity, "Platform log on standard error: -v warnings, -vv all, -vvv debug");
        program_.add_flag("--json", options_.isJson, "JSON lines on standard output");
        AddDeviceCommands();
        AddPatchCommands();
        AddQueries();
    }

    int Run(int argc, char** argv)
    {
        try {
            program_.parse(argc, argv);
        } catch (const CLI::ParseError& error) {
            const auto unknown = program_.remaining();
            if (error.get_exit_code() != 0 && !unknown.empty()) {
                Console(false).Fail(unknown.front() + " is no command; --help lists them");
                return EXIT_USAGE;
            }
            return program_.exit(error) == 0 ? EXIT_DONE : EXIT_USAGE;
        }
        while (options_.root.size() > 1 && options_.root.back() == '/') {
            options_.root.pop_back();
        }
        return command_();
    }

private:
    using Command = std::function<int(Session&)>;

    CLI::App* Add(CLI::App& parent, const char* name, const char* help, const Command& command)
    {
        CLI::App* sub = parent.add_subcommand(name, help);
        sub->callback([this, command] {
            command_ = [this, command] {
                Session session(options_);
                return command(session);
            };
        });
        return sub;
    }

    void AddDeviceCommands()
    {
        CLI::App* device = program_.add_subcommand("device", "Make a device in a folder, and look after it");
        device->require_subcommand(1);
        CLI::App* init = Add(*device, "init", "Lay out an empty device in --root",
                             [this](Session& session) { return RunDeviceInit(session, setup_); });
        init->add_option("--base-version", setup_.baseVersion, "The device's base version")->capture_default_str();
        init->add_option("--public-key", setup_.publicKey, "Public key of patch packages (PEM)");
        init->add_option("--factory", setup_.factoryFiles, "Factory applications (.vab)");
        CLI::App* install = Add(*device, "install", "Install the package files of one application",
                                [this](Session& session) { return RunDeviceInstall(session, files_, user_); });
        install->add_option("FILE", files_, "Package files (.vab)")->required();
        install->add_option("--user", user_, "For which user; 0 for a singleton")->capture_default_str();
        CLI::App* users = Add(*device, "users", "List, add or remove users",
                              [this](Session& session) { return RunDeviceUsers(session, added_, removed_); });
        users->add_option("--add", added_, "Users to add");
        users->add_option("--remove", removed_, "Users to remove");
        Add(*device, "list", "List the installed applications", RunDeviceList);
    }

    void AddPatchCommands()
    {
        CLI::App* deliver = Add(program_, "deliver", "Bring a patch package onto the device",
                                [this](Session& session) { return RunDeliver(session, package_, signature_); });
        deliver->add_option("PACKAGE", package_, "app.tvpk")->required();
        deliver->add_option("SIGNATURE", signature_, "tavomend_sign.bin")->required();
        Add(program_, "apply", "Load and apply the delivered package", RunApply);
        CLI::App* load = Add(program_, "load", "Load the delivered package at one stage of a boot",
                             [this](Session& session) { return RunLoad(session, stage_); });
        load->add_option("--stage", stage_, "init, or sa: the system-service stage")
            ->required()
            ->check(CLI::IsMember({"init", "sa"}));
        Add(program_, "boot", "Play one whole boot, each stage in a process of its own",
            [](Session& session) { return session.CheckDevice() ? RunBoot(session.GetOptions()) : EXIT_FAILED; });
        CLI::App* revoke = Add(program_, "revoke", "Take the patch off applications",
                               [this](Session& session) { return RunRevoke(session, bundles_); });
        revoke->add_option("BUNDLE", bundles_, "Bundle names")->required();
        Add(program_, "clear", "Forget delivered and applied patches", RunClear);
    }

    void AddQueries()
    {
        Add(program_, "test", "Run the test hook", RunTest);
        Add(program_, "version", "Show the patch version", RunVersion);
        Add(program_, "status", "Show the status record, with its error codes in words", RunStatus);
        Add(program_, "info", "Show which applications carry the patch", RunInfo);
    }

    CLI::App program_{"Hosts the hot-patch engine on a device in a folder.", "tavomend"};
    Options options_;
    std::function<int()> command_;
    DeviceSetup setup_;
    std::vector<std::string> files_;
    std::vector<std::string> bundles_;
    std::vector<int32_t> added_;
    std::vector<int32_t> removed_;
    std::string package_;
    std::string signature_;
    std::string stage_;
    int32_t user_ = 100;
};
} // namespace

int RunTavomend(int argc, char** argv)
{
    return CommandLine().Run(argc, argv);
}
} // namespace ORVX::TavomendCli
