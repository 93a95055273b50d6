#include "hosting/error_text.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "common/app_constants.h"

namespace ORVX::TavomendHosting {
using TavomendEngine::ERROR_KEY_PACKAGE;
using TavomendEngine::ERROR_KEY_STATE;
using TavomendEngine::ERROR_KEY_UNKNOWN_APP;

namespace {
using Texts = std::map<int32_t, std::string>;

constexpr int32_t ERROR_SIGNATURE = 20;

const Texts PACKAGE_TEXTS = {
    {0, "the package or its signature file is missing"},
    {10, "there is not enough free space for the rebuilt applications"},
    {ERROR_SIGNATURE, "the signature does not verify"},
    {30, "the package's configuration is missing or not valid"},
    {40, "the package is not made for this device's base version"},
};
const Texts STATE_TEXTS = {
    {50, "a state refused the switch"},
    {60, "a state was asked for another state's work"},
    {70, "the package's action could not be read"},
};
const Texts APP_TEXTS = {
    {200, "its patch record could not be made"},
    {210, "the package had not passed its check"},
    {220, "the configuration is not there"},
    {230, "the package does not name it"},
    {400, "its files could not be taken out of the package"},
    {410, "there is no patch record to take files out for"},
    {420, "its files were already taken out, or that had failed"},
    {430, "its cold files do not all lie in place"},
    {431, "a file is missing from the work directory"},
    {440, "a file is missing from the package or damaged in it"},
    {600, "its new files could not be rebuilt"},
    {610, "there is no patch record to rebuild files for"},
    {611, "its new files could not be rebuilt"},
    {612, "a file could not be rebuilt: the installed file is not the one that the difference was made for, or the "
          "difference is damaged"},
    {613, "its half-built files could not be removed"},
    {620, "it has no files to rebuild"},
    {640, "a rebuilt file does not have the stated hash"},
    {802, "its kind of application cannot be installed this way"},
    {803, "its kind of patch cannot be installed this way"},
    {805, "there is nothing to install"},
    {810, "the first attempt to install it failed"},
    {811, "the second attempt to install it failed"},
    {812, "its patch record could not be read"},
    {813, "its files had not been taken out"},
    {814, "its patch record had not been made"},
    {815, "its installed version could not be read"},
    {816, "its installed version is below the patch's"},
    {818, "the user number is not valid"},
    {819, "the bundle service cannot be reached"},
    {820, "the bundle service has no installer"},
    {821, "there is no memory for the install"},
    {822, "its new files had not been rebuilt"},
    {9568391, "the bundle service died during the install"},
    {9568392, "the bundle service gave no verdict in time"},
};
// What a caller adds to the codes of those it called: left out where those say more.
const std::set<int32_t> GENERAL_CODES = {200, 400, 430, 600, 611, 810, 811, 812, 813, 814, 822};

std::string Find(const Texts& texts, int32_t code)
{
    const auto found = texts.find(code);
    return found == texts.end() ? "" : found->second;
}

// The distinct codes in the order in which they came.
std::vector<int32_t> CodesOf(const std::vector<ErrorOperation>& operations, int32_t key)
{
    std::vector<int32_t> codes;
    for (const auto& operation : operations) {
        const auto found = operation.codes.find(key);
        if (found == operation.codes.end()) {
            continue;
        }
        for (auto code = found->second.rbegin(); code != found->second.rend(); ++code) {
            if (std::find(codes.begin(), codes.end(), *code) == codes.end()) {
                codes.push_back(*code);
            }
        }
    }
    const auto isGeneral = [](int32_t code) { return GENERAL_CODES.count(code) != 0; };
    if (!std::all_of(codes.begin(), codes.end(), isGeneral)) {
        codes.erase(std::remove_if(codes.begin(), codes.end(), isGeneral), codes.end());
    }
    return codes;
}

// "(KEY|CODE,CODE)" or "(KEY)" from the stream.
bool ParseEntry(std::istream& text, ErrorOperation& operation)
{
    char mark = 0;
    int32_t key = 0;
    if (!(text >> mark >> key) || mark != '(' || !(text >> mark)) {
        return false;
    }
    auto& codes = operation.codes[key];
    for (int32_t code = 0; mark == '|' || mark == ',';) {
        if (!(text >> code >> mark)) {
            return false;
        }
        codes.push_back(code);
    }
    return mark == ')';
}

// "STAGE|STATE(...)(...)", with ":NN" behind the last one; false for what the cut at the front has left.
bool ParseOperation(const std::string& line, ErrorOperation& operation)
{
    std::istringstream text(line);
    char mark = 0;
    if (!(text >> operation.stage >> mark >> operation.state) || mark != '|') {
        return false;
    }
    while (text.peek() == '(') {
        if (!ParseEntry(text, operation)) {
            return false;
        }
    }
    return text.peek() == std::istringstream::traits_type::eof() || text.peek() == ':';
}

std::string SubjectOf(int32_t key, const std::vector<std::string>& bundleNames)
{
    if (key == ERROR_KEY_PACKAGE || key == ERROR_KEY_STATE) {
        return "";
    }
    if (key == ERROR_KEY_UNKNOWN_APP) {
        return "an unknown application: ";
    }
    const auto index = static_cast<size_t>(key);
    return (key >= 0 && index < bundleNames.size() ? bundleNames[index] : "application " + std::to_string(key)) + ": ";
}
} // namespace

std::vector<ErrorOperation> ParseDetail(const std::string& detail)
{
    std::vector<ErrorOperation> operations;
    std::istringstream history(detail);
    for (std::string text; std::getline(history, text, ';');) {
        ErrorOperation operation;
        if (ParseOperation(text, operation)) {
            operations.push_back(std::move(operation));
        }
    }
    return operations;
}

std::string ErrorCodeText(const IDevicePort& port, int32_t key, int32_t code)
{
    std::string text = key == ERROR_KEY_PACKAGE ? Find(PACKAGE_TEXTS, code)
                       : key == ERROR_KEY_STATE ? Find(STATE_TEXTS, code)
                                                : Find(APP_TEXTS, code);
    if (text.empty()) {
        text = port.InstallCodeText(code);
    }
    return text.empty() ? "code " + std::to_string(code) : text;
}

std::string ExplainDetail(const IDevicePort& port, const std::string& detail,
                          const std::vector<std::string>& bundleNames, const std::string& noPublicKey)
{
    const auto operations = ParseDetail(detail);
    std::string text;
    if (operations.empty()) {
        return text;
    }
    for (const auto& entry : operations.back().codes) {
        const int32_t key = entry.first;
        std::string reasons;
        for (const int32_t code : CodesOf(operations, key)) {
            const bool isForWantOfAKey = key == ERROR_KEY_PACKAGE && code == ERROR_SIGNATURE && !noPublicKey.empty();
            reasons += (reasons.empty() ? "" : ", ") +
                       (isForWantOfAKey ? noPublicKey : ErrorCodeText(port, key, code)) + " (" + std::to_string(key) +
                       "|" + std::to_string(code) + ")";
        }
        if (!reasons.empty()) {
            text += (text.empty() ? "" : "; ") + SubjectOf(key, bundleNames) + reasons;
        }
    }
    return text;
}
} // namespace ORVX::TavomendHosting
