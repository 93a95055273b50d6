#include "formats/patch_config.h"

#include <nlohmann/json.hpp>

namespace ORVX::Formats {
using Json = nlohmann::ordered_json;

namespace {
constexpr const char* WORK_DIR = "/data/update/tavomend/app/temp/";
constexpr const char* DIFF_SUFFIX = ".diff";
constexpr const char* INTERNAL = "internal";
constexpr const char* SERVICE_FWK = "appServiceFwk";
const std::vector<std::string> APP_TYPES = {INTERNAL, "shared_bundles", SERVICE_FWK};

// Reads members of one object; whatever is missing or of the wrong type becomes a problem that says where.
class ObjectReader {
public:
    ObjectReader(const Json& object, std::string where, std::vector<std::string>& problems)
        : object_(object), where_(std::move(where)), problems_(problems)
    {
    }
    int64_t Number(const char* key)
    {
        const Json* value = Member(key);
        if (value != nullptr && value->is_number_integer()) {
            return value->get<int64_t>();
        }
        Complain(key, "a number");
        return -1;
    }
    std::string Text(const char* key)
    {
        const Json* value = Member(key);
        if (value != nullptr && value->is_string()) {
            return value->get<std::string>();
        }
        Complain(key, "a text");
        return "";
    }
    bool Flag(const char* key, bool fallback)
    {
        const Json* value = Member(key);
        return value != nullptr && value->is_boolean() ? value->get<bool>() : fallback;
    }
    const Json* Object(const char* key)
    {
        const Json* value = Member(key);
        if (value != nullptr && value->is_object()) {
            return value;
        }
        Complain(key, "an object");
        return nullptr;
    }
    std::vector<std::string> Texts(const char* key, bool mayBeEmpty = false)
    {
        const Json* value = Member(key);
        std::vector<std::string> texts;
        bool isGood = value != nullptr && value->is_array() && (mayBeEmpty || !value->empty());
        for (size_t i = 0; isGood && i < value->size(); ++i) {
            isGood = (*value)[i].is_string();
            texts.push_back(isGood ? (*value)[i].get<std::string>() : "");
        }
        if (!isGood) {
            Complain(key, "a list of texts");
        }
        return texts;
    }
    void Problem(const std::string& text) { problems_.push_back(where_ + text); }

private:
    const Json* Member(const char* key) const
    {
        const auto found = object_.find(key);
        return found == object_.end() ? nullptr : &*found;
    }
    void Complain(const std::string& key, const std::string& wanted) { Problem("\"" + key + "\" is not " + wanted); }

    const Json& object_;
    std::string where_;
    std::vector<std::string>& problems_;
};

ConfigApp ReadApp(const std::string& name, const Json& entry, std::vector<std::string>& problems)
{
    ObjectReader reader(entry, name + ": ", problems);
    ConfigApp app;
    app.bundleName = name;
    app.version = static_cast<uint32_t>(reader.Number("version"));
    app.preVersion = static_cast<uint32_t>(reader.Number("pre_version"));
    app.patchType = reader.Text("app_patch_type");
    const int64_t type = reader.Number("app_type");
    const int64_t fileNum = reader.Number("file_num");
    const auto bases = reader.Texts("base_path");
    const auto members = reader.Texts("diff_path");
    const auto hashes = reader.Texts("apps_hash");
    if (app.version <= app.preVersion) {
        reader.Problem("its version is not above its pre-version");
    }
    if (app.patchType != "hot" && app.patchType != "cold") {
        reader.Problem("\"app_patch_type\" is neither \"hot\" nor \"cold\"");
    }
    if (type >= 0 && type < static_cast<int64_t>(APP_TYPES.size())) {
        app.appType = APP_TYPES[static_cast<size_t>(type)];
    }
    if (app.appType != INTERNAL && app.appType != SERVICE_FWK) {
        reader.Problem("\"app_type\" is neither 0 (internal) nor 2 (appServiceFwk)");
    }
    if (fileNum < 1 || bases.size() != static_cast<size_t>(fileNum) || members.size() != bases.size() ||
        hashes.size() != bases.size()) {
        reader.Problem("\"file_num\", \"base_path\", \"diff_path\" and \"apps_hash\" differ in number");
        return app;
    }
    for (size_t i = 0; i < bases.size(); ++i) {
        app.files.push_back({bases[i], members[i], hashes[i]});
    }
    return app;
}

void ReadApps(const Json& apps, PatchConfig& config, std::vector<std::string>& problems)
{
    ObjectReader reader(apps, "apps: ", problems);
    const int64_t size = reader.Number("size");
    for (const auto& name : reader.Texts("list", true)) {
        const Json* entry = reader.Object(name.c_str());
        if (entry != nullptr) {
            config.apps.push_back(ReadApp(name, *entry, problems));
        }
    }
    if (size < 0 || static_cast<size_t>(size) != config.apps.size()) {
        reader.Problem("\"size\" is not the number of applications");
    }
}
} // namespace

std::optional<PatchConfig> ParsePatchConfig(const std::string& text, std::vector<std::string>& problems)
{
    const Json root = Json::parse(text, nullptr, false);
    if (!root.is_object()) {
        problems.emplace_back("the configuration is not a JSON object");
        return std::nullopt;
    }
    const size_t before = problems.size();
    ObjectReader reader(root, "", problems);
    PatchConfig config;
    const int64_t space = reader.Number("space");
    config.space = static_cast<int>(space);
    config.version = reader.Text("version");
    config.preVersion = root.contains("pre_version") ? reader.Text("pre_version") : "";
    config.action = static_cast<int>(reader.Number("action"));
    config.dataKept = reader.Flag("data_kept", true);
    config.needReboot = reader.Flag("need_reboot", false);
    if (const Json* product = reader.Object("product")) {
        ObjectReader productReader(*product, "product: ", problems);
        config.models = productReader.Texts("model");
        config.baseVersions = productReader.Texts("version");
    }
    if (const Json* apps = reader.Object("apps")) {
        ReadApps(*apps, config, problems);
    }
    if (space < 1 || space > INT32_MAX) {
        reader.Problem("\"space\" is not above 0");
    }
    if (config.models.size() != config.baseVersions.size()) {
        reader.Problem("product: \"model\" and \"version\" differ in length");
    }
    if (config.action < 0 || config.action > ACTION_REVOKE) {
        reader.Problem("\"action\" is neither 0, 1 nor 2");
    }
    if (config.action == ACTION_ENABLE && config.apps.empty()) {
        reader.Problem("an enabling package names no application");
    }
    if (config.action == ACTION_REVOKE && !config.apps.empty()) {
        reader.Problem("a revoke package names applications");
    }
    return problems.size() == before ? std::optional<PatchConfig>(std::move(config)) : std::nullopt;
}

std::string WritePatchConfig(const PatchConfig& config)
{
    Json apps = {{"size", config.apps.size()}, {"list", Json::array()}};
    for (const auto& app : config.apps) {
        Json entry = {{"version", app.version},
                      {"pre_version", app.preVersion},
                      {"file_num", app.files.size()},
                      {"app_patch_type", app.patchType},
                      {"app_type", app.appType == SERVICE_FWK ? 2 : 0},
                      {"base_path", Json::array()},
                      {"diff_path", Json::array()},
                      {"apps_hash", Json::array()}};
        for (const auto& file : app.files) {
            entry["base_path"].push_back(file.base);
            entry["diff_path"].push_back(file.member);
            entry["apps_hash"].push_back(file.hash);
        }
        apps["list"].push_back(app.bundleName);
        apps[app.bundleName] = entry;
    }
    const Json root = {{"space", config.space},
                       {"version", config.version},
                       {"pre_version", config.preVersion},
                       {"product", {{"model", config.models}, {"version", config.baseVersions}}},
                       {"action", config.action},
                       {"data_kept", config.dataKept},
                       {"need_reboot", config.needReboot},
                       {"apps", apps}};
    return root.dump(2) + "\n";
}

std::string DevicePathOf(const ConfigApp& app, const ConfigFile& file)
{
    // A service framework's companion that lives among the ordinary applications.
    const bool isCompanion = app.appType == SERVICE_FWK && file.base.find(SERVICE_FWK) == std::string::npos;
    return WORK_DIR + app.patchType + "/" + (isCompanion ? INTERNAL : app.appType) + file.member;
}

bool IsDifference(const ConfigFile& file)
{
    const size_t dot = file.member.rfind('.');
    return dot != std::string::npos && file.member.substr(dot) == DIFF_SUFFIX;
}

std::string ProductPathOf(const ConfigApp& app, const ConfigFile& file)
{
    std::string path = DevicePathOf(app, file);
    if (!IsDifference(file)) {
        return path;
    }
    return path.substr(0, path.rfind('/') + 1) + file.base.substr(file.base.rfind('/') + 1);
}
} // namespace ORVX::Formats
