// The patch configuration. There is one reader (Formats::PatchConfigParser); the engine comes to it through a file and
// its tool, hosts and the maker through a text: both judge alike, and what is written again reads as it was.
#include "formats/device_paths.h"
#include "formats/patch_config.h"
#include "fuzz/fuzz_target.h"
#include "tools/parse_app_config_tool.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX;
    using namespace ORVX::TavomendTest;
    const std::string text = TextOf(data, size);
    Store(Formats::CONFIG_PATH, text);
    const auto tool = MakeSptr<TavomendEngine::ParseAppConfigTool>();
    const bool isTaken = tool->ParseTavomendConfig();
    std::vector<std::string> problems;
    const auto info = Formats::ParsePatchConfig(text, problems);
    Require(isTaken == info.has_value(), "the engine and its hosts judge alike");
    Require(isTaken == problems.empty(), "a refusal has a reason");
    if (!info) {
        return 0;
    }
    const std::string written = Formats::WritePatchConfig(*info);
    Require(written == Formats::WritePatchConfig(tool->GetPackageInfo()), "the engine and its hosts read alike");
    const auto again = Formats::ParsePatchConfig(written, problems);
    Require(again && Formats::WritePatchConfig(*again) == written, "a written configuration reads as it was");
    return 0;
}
