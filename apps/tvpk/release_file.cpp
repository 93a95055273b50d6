#include "apps/tvpk/release_file.h"

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "handles/file_error.h"
#include "platform/utility/file_utils.h"

namespace ORVX::Tvpk {
using Json = nlohmann::json;

namespace {
constexpr int WINDOW_MAX = Difference::DifferenceWindowMax(Difference::DIFFERENCE_VERSION_MAX) >> 20; // MiB

// Reads one object; the first mistake is kept.
class Reader {
public:
    Reader(const Json& object, std::string where, std::string& error)
        : object_(object), where_(std::move(where)), error_(error)
    {
        if (!object.is_object()) {
            Fail("is not an object");
        }
    }

    void Text(const char* key, std::string& value, bool isNeeded)
    {
        if (const Json* member = Find(key, isNeeded)) {
            if (member->is_string()) {
                value = member->get<std::string>();
            } else {
                Fail(std::string("\"") + key + "\" is not a text");
            }
        }
    }
    void Flag(const char* key, bool& value)
    {
        if (const Json* member = Find(key, false)) {
            if (member->is_boolean()) {
                value = member->get<bool>();
            } else {
                Fail(std::string("\"") + key + "\" is neither true nor false");
            }
        }
    }
    void Number(const char* key, int most, int& value)
    {
        if (const Json* member = Find(key, false)) {
            if (member->is_number_unsigned() && *member >= 1 && *member <= most) {
                value = member->get<int>();
            } else {
                Fail(std::string("\"") + key + "\" is no whole number from 1 to " + std::to_string(most));
            }
        }
    }
    const Json& List(const char* key, bool isNeeded)
    {
        static const Json EMPTY = Json::array();
        const Json* member = Find(key, isNeeded);
        if (member != nullptr && !member->is_array()) {
            Fail(std::string("\"") + key + "\" is not a list");
        }
        return member != nullptr && member->is_array() ? *member : EMPTY;
    }
    // Every key must have been asked for.
    void Finish()
    {
        for (auto member = object_.begin(); object_.is_object() && member != object_.end(); ++member) {
            if (std::find(known_.begin(), known_.end(), member.key()) == known_.end()) {
                Fail("the key \"" + member.key() + "\" is unknown");
            }
        }
    }
    void Fail(const std::string& text)
    {
        if (error_.empty()) {
            error_ = where_ + ": " + text;
        }
    }

private:
    const Json* Find(const char* key, bool isNeeded)
    {
        known_.emplace_back(key);
        if (object_.is_object() && object_.contains(key)) {
            return &object_[key];
        }
        if (isNeeded) {
            Fail(std::string("\"") + key + "\" is missing");
        }
        return nullptr;
    }

    const Json& object_;
    std::string where_;
    std::string& error_;
    std::vector<std::string> known_;
};

std::string FromFolder(const std::string& folder, const std::string& path)
{
    return path.empty() ? path : (std::filesystem::path(folder) / path).string();
}

ReleaseFile ReadFileEntry(const Json& entry, const std::string& where, const std::string& folder, std::string& error)
{
    ReleaseFile file;
    Reader reader(entry, where, error);
    reader.Text("base", file.base, true);
    reader.Flag("whole", file.isWhole);
    reader.Text("old", file.oldPath, true);
    reader.Text("new", file.newPath, true);
    reader.Finish();
    file.oldPath = FromFolder(folder, file.oldPath);
    file.newPath = FromFolder(folder, file.newPath);
    return file;
}

ReleaseApp ReadApp(const Json& entry, const std::string& where, const std::string& folder, std::string& error)
{
    ReleaseApp app;
    Reader reader(entry, where, error);
    reader.Text("patch", app.patch, true);
    reader.Text("type", app.type, false);
    const Json& files = reader.List("files", true);
    reader.Finish();
    for (size_t i = 0; i < files.size(); ++i) {
        app.files.push_back(ReadFileEntry(files[i], where + ", file " + std::to_string(i + 1), folder, error));
    }
    return app;
}
} // namespace

std::optional<Release> ReadReleaseFile(const std::string& path, std::string& error)
{
    if (!Handles::WhyUnreadable(path).empty()) {
        error = Handles::CannotRead(path);
        return std::nullopt;
    }
    const Json root = Json::parse(TavomendEngine::FileUtils::GetFileStream(path), nullptr, false, true);
    if (root.is_discarded()) {
        error = path + " is not JSON";
        return std::nullopt;
    }
    Release release;
    std::string action = "enable";
    Reader reader(root, path, error);
    reader.Text("version", release.version, true);
    reader.Text("preVersion", release.preVersion, false);
    reader.Text("action", action, false);
    reader.Flag("dataKept", release.dataKept);
    reader.Flag("needReboot", release.needReboot);
    reader.Number("format", Difference::DIFFERENCE_VERSION_MAX, release.format);
    reader.Number("window", WINDOW_MAX, release.window);
    for (const auto& entry : reader.List("products", true)) {
        Reader product(entry, path + ", products", error);
        release.models.emplace_back();
        release.baseVersions.emplace_back();
        product.Text("model", release.models.back(), true);
        product.Text("baseVersion", release.baseVersions.back(), true);
        product.Finish();
    }
    const Json& apps = reader.List("apps", false);
    const std::string folder = std::filesystem::path(path).parent_path().string();
    for (size_t i = 0; i < apps.size(); ++i) {
        release.apps.push_back(ReadApp(apps[i], path + ", application " + std::to_string(i + 1), folder, error));
    }
    reader.Finish();
    if (action != "enable" && action != "revoke") {
        reader.Fail("\"action\" is neither \"enable\" nor \"revoke\"");
    }
    release.isRevoke = action == "revoke";
    return error.empty() ? std::optional<Release>(std::move(release)) : std::nullopt;
}
} // namespace ORVX::Tvpk
