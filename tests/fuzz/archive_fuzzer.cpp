// The patch package's archive, behind its signature. Two readers remain: the engine's ParseZipTool, and ZipArchive of
// hosts and the maker. What both can take out of an archive is the same, and whatever is whole for ZipArchive the
// engine can take out as well. (ParseZipTool compares no checksum: the signature stands for it.)
#include "formats/device_paths.h"
#include "formats/zip_archive.h"
#include "platform/utility/file_utils.h"
#include "tests/fuzz/fuzz_target.h"
#include "tests/fuzz/zip_checksums.h"
#include "tools/parse_zip_tool.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX;
    using namespace ORVX::TavomendTest;
    const std::string path = "/tmp/package";
    const std::string out = "/tmp/member";
    Store(path, WithFittingChecksums(TextOf(data, size)));
    std::string error;
    const auto archive = Formats::ZipArchive::Open(path, error);
    Require(archive.has_value() == error.empty(), "a refusal has a reason");
    const bool isWhole = archive && archive->CheckWhole(error);
    for (const std::string name : {Formats::CONFIG_MEMBER, "/com.a/A.vab.diff"}) {
        unlink(out.c_str());
        const auto tool = MakeSptr<TavomendEngine::ParseZipTool>(path);
        const bool isTaken = tool->UnZipTargetFiles({{name, out}});
        tool->Reset();
        const std::string plainName = name.substr(1);
        const auto content = archive ? archive->ReadMember(plainName, INFLATED_MAX, error) : std::nullopt;
        Require(!isTaken || !content || TavomendEngine::FileUtils::GetFileStream(out) == *content,
                "the engine and its hosts take out the same bytes");
        Require(isTaken || !isWhole || !content, "the engine takes what is whole");
    }
    return 0;
}
