// Bundle files. There is one reader (Formats::BundleFile). The first byte says what follows: 'm' a manifest's text,
// which is put into an archive, anything else the file itself.
#include "formats/bundle_file.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/zip_checksums.h"
#include "tests/support/zip_builder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX::TavomendTest;
    using ORVX::Formats::BundleFile;
    const std::string input = size == 0 ? "" : TextOf(data + 1, size - 1);
    const bool isManifest = size != 0 && data[0] == 'm';
    Store("/tmp/App.vab",
          isManifest ? ZipBuilder().Add("manifest.json", input, 0).Build() : WithFittingChecksums(input));
    std::string error;
    const auto manifest = BundleFile::Read("/tmp/App.vab", error);
    Require(manifest.has_value() == error.empty(), "a refusal has a reason");
    Require(!isManifest || BundleFile::ParseManifest(input, error).has_value() == manifest.has_value(),
            "a file is taken for its manifest");
    if (manifest) {
        for (const auto& name : {manifest->bundleName, manifest->module}) {
            Require(!name.empty() && name[0] != '.' && name.find('/') == std::string::npos &&
                        std::filesystem::path(name).filename() == name,
                    "names are names of files");
        }
        Require(manifest->versionCode <= INT32_MAX && !manifest->versionName.empty(), "a version is one");
    }
    return 0;
}
