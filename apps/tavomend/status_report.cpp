#include "apps/tavomend/status_report.h"

#include <array>
#include <nlohmann/json.hpp>
#include <string>

#include "apps/common/printable.h"

namespace ORVX::TavomendCli {
using TavomendHosting::DeviceView;
using TavomendHosting::LastOperation;
using TavomendHosting::NextStep;
using TavomendHosting::Operation;
using TavomendHosting::PackageState;
using TavomendHosting::PackageView;

namespace {
const char* WordOf(PackageState state)
{
    constexpr std::array WORDS = {"none", "known", "unreadable", "key"};
    return WORDS.at(static_cast<size_t>(state));
}

const char* WordOf(Operation operation)
{
    constexpr std::array WORDS = {"none", "load", "apply", "clear"};
    return WORDS.at(static_cast<size_t>(operation));
}

const char* WordOf(NextStep step)
{
    constexpr std::array WORDS = {"nothing", "apply", "boot", "deliver a package"};
    return WORDS.at(static_cast<size_t>(step));
}

// ISO 8601, in UTC: a device in a folder has no time zone of its own.
std::string TextOf(std::time_t time)
{
    std::tm parts{};
    std::array<char, sizeof("9999-12-31T23:59:59Z")> text{};
    const bool isTime = gmtime_r(&time, &parts) != nullptr &&
                        std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts) != 0;
    return isTime ? text.data() : "";
}

std::string Listed(const std::string& lead, const std::set<std::string>& names)
{
    std::string text;
    for (const auto& name : names) {
        text += (text.empty() ? lead : ", ") + name;
    }
    return text;
}

std::string NamesOf(const PackageView& view)
{
    std::string names;
    for (const auto& app : view.apps) {
        names += (names.empty() ? ": " : ", ") + app.bundleName;
    }
    return names;
}

// What is to be said of a package whose content is not the matter; empty for one that can be told.
std::string LackOf(const PackageView& view)
{
    switch (view.state) {
    case PackageState::NONE:
        return "none";
    case PackageState::UNREADABLE:
        return "cannot be read: " + view.problem;
    case PackageState::KEY_MISFITS:
        return "the key does not fit: " + view.problem;
    default:
        return "";
    }
}

std::string InForceLine(const DeviceView& view)
{
    const PackageView& patch = view.inForce;
    if (patch.state != PackageState::KNOWN) {
        return LackOf(patch);
    }
    const std::string since = " since " + TextOf(view.since);
    if (patch.isRevoke) {
        return "none" + since + ": " + patch.version +
               (view.isWhole ? " has taken the patch back" : " has not taken all of the patch back");
    }
    return patch.version + since + (view.isWhole ? "" : ", not all of it") + NamesOf(patch) +
           Listed("; taken back: ", view.takenBack) + Listed("; the next boot takes back: ", view.revoking) +
           (patch.refusal.empty() ? "" : "; this device does not take it any more: " + patch.refusal);
}

std::string PendingLine(const DeviceView& view)
{
    const PackageView& patch = view.pending;
    if (patch.state != PackageState::KNOWN) {
        return LackOf(patch);
    }
    if (!patch.refusal.empty()) {
        return patch.version + ", which this device does not take: " + patch.refusal;
    }
    return patch.version + (patch.isRevoke ? ", which takes the patch back" : "") +
           (view.needsBoot ? ", by a boot" : "") + NamesOf(patch);
}

std::string LastLine(const DeviceView& view)
{
    const LastOperation last = LastOperationOf(view.record);
    if (last.operation == Operation::NONE) {
        return view.record.status.empty() ? "no operation has been recorded" : "last operation: none on a patch";
    }
    return std::string("last operation: ") + WordOf(last.operation) + (last.isFailed ? " failed" : " succeeded");
}

nlohmann::ordered_json ObjectOf(const PackageView& view)
{
    nlohmann::ordered_json object = {{"state", WordOf(view.state)}};
    if (view.state == PackageState::KNOWN) {
        object["version"] = view.version;
        object["action"] = view.isRevoke ? "revoke" : "enable";
        auto& apps = object["applications"] = nlohmann::ordered_json::array();
        for (const auto& app : view.apps) {
            apps.push_back({{"bundle", app.bundleName}, {"versionCode", app.version}, {"patch", app.appPatchType}});
        }
    }
    object["reason"] = view.problem + view.refusal;
    return object;
}

void EmitStatus(const Cli::Console& console, const DeviceView& view)
{
    const auto& record = view.record;
    const LastOperation last = LastOperationOf(record);
    nlohmann::ordered_json inForce = ObjectOf(view.inForce);
    if (view.inForce.state == PackageState::KNOWN) {
        inForce["since"] = TextOf(view.since);
        inForce["whole"] = view.isWhole;
        inForce["takenBack"] = view.takenBack;
        inForce["revoking"] = view.revoking;
    }
    nlohmann::ordered_json pending = ObjectOf(view.pending);
    pending["needsBoot"] = view.needsBoot;
    const char* outcome = last.operation == Operation::NONE ? "nothing" : last.isFailed ? "failed" : "done";
    console.Emit("status", {{"inForce", inForce},
                            {"pending", pending},
                            {"last", {{"operation", WordOf(last.operation)}, {"outcome", outcome}}},
                            {"status", record.status},
                            {"version", record.version},
                            {"detail", record.detail},
                            {"explanation", record.explanation},
                            {"next", WordOf(view.next)}});
}
} // namespace

void ShowStatus(const Cli::Console& console, const DeviceView& view)
{
    const auto& record = view.record;
    EmitStatus(console, view);
    const std::string recorded = record.status + (record.version.empty() ? "" : ", version " + record.version) +
                                 (record.detail.empty() ? "" : ", detail " + record.detail);
    for (const std::string& line : {"in force: " + InForceLine(view), "pending: " + PendingLine(view), LastLine(view),
                                    recorded, record.explanation, std::string("next step: ") + WordOf(view.next)}) {
        if (!line.empty()) {
            console.Say(Cli::Printable(line));
        }
    }
}
} // namespace ORVX::TavomendCli
