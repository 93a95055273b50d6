#include "hosting/revoke_request.h"

#include <cstdio>

#include "common/results.h"
#include "engine/engine_factory.h"
#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::FileUtils;

namespace {
constexpr uint32_t REQUEST_MODE = 0600;
constexpr const char* REQUEST_DIR = "/data/update/tavomend/app";

std::set<std::string> AsSet(const std::vector<std::string>& names)
{
    return {names.begin(), names.end()};
}

// Splits the request: what the patch in force has, and what it has not (any more).
struct Wish {
    Wish(const std::set<std::string>& names, const PackageView& patch)
    {
        for (const auto& name : names) {
            (FindApp(patch, name) != nullptr ? known : unknown).push_back(name);
        }
    }
    std::vector<std::string> known;
    std::vector<std::string> unknown;
};

// The engine's list replaces the earlier one.
std::vector<std::string> WithEarlierOnes(const std::vector<std::string>& names, const PackageView& patch)
{
    std::set<std::string> all(names.begin(), names.end());
    for (const auto& name : TakenBack()) {
        if (FindApp(patch, name) != nullptr) {
            all.insert(name);
        }
    }
    return {all.begin(), all.end()};
}
} // namespace

std::set<std::string> ReadRevokeRequest()
{
    const auto list = Formats::ReadRecoverList(REVOKE_REQUEST);
    return list.kind == Formats::RecoverList::Kind::WHOLE ? AsSet(list.names) : std::set<std::string>{};
}

bool WriteRevokeRequest(const std::set<std::string>& bundleNames)
{
    if (!bundleNames.empty()) {
        return FileUtils::ReplaceFile(
            REVOKE_REQUEST, Formats::PrintRecoverList({bundleNames.begin(), bundleNames.end()}), REQUEST_MODE);
    }
    return !FileUtils::FileIsExist(REVOKE_REQUEST) ||
           (std::remove(REVOKE_REQUEST) == 0 && FileUtils::SyncDir(REQUEST_DIR));
}

std::set<std::string> TakenBack()
{
    return AsSet(Formats::ReadRecoverList(Formats::RecoverListInForce()).names);
}

bool HandOverRevokeRequest(TavomendEngine::IEngineApp& engine, IHostObserver* observer, std::string& error)
{
    const auto names = ReadRevokeRequest();
    if (names.empty()) {
        return true;
    }
    const PackageView patch = ViewPackages().inForce;
    if (error = ProblemOf(patch, "the patch in force"); !error.empty()) {
        return false;
    }
    const Wish wish(names, patch);
    if (!wish.known.empty() &&
        (!TavomendEngine::RecallPatchInForce(engine) ||
         engine.RevokeTavomend(WithEarlierOnes(wish.known, patch)) != TavomendEngine::RESULT_SUCCESS)) {
        error = "the engine could not take back what was asked for; the request stays";
        return false;
    }
    if (observer != nullptr) {
        observer->OnRevoking(wish.known, wish.unknown);
    }
    if (!WriteRevokeRequest({})) {
        error = "the request to take applications back cannot be removed";
        return false;
    }
    return true;
}
} // namespace ORVX::TavomendHosting
