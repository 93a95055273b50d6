// The patch package's archive, behind its signature. Two readers remain: the engine's ParseZipTool, which reads the
// bytes that were verified, and ZipArchive of hosts and the maker, which reads the file. What both can take out of an
// archive is the same, and whatever is whole for ZipArchive the engine can take out as well. (The engine extracts
// without a look at checksums: the signature stands for them.)
#include "formats/device_paths.h"
#include "formats/zip_archive.h"
#include "fuzz/fuzz_target.h"
#include "fuzz/zip_checksums.h"
#include "platform/utility/file_utils.h"
#include "tools/parse_zip_tool.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX;
    using namespace ORVX::TavomendTest;
    const std::string path = "/tmp/package";
    const std::string out = "/tmp/member";
    const std::string bytes = WithFittingChecksums(TextOf(data, size));
    Store(path, bytes);
    std::string error;
    const auto archive = Formats::ZipArchive::Open(path, error);
    Require(archive.has_value() == error.empty(), "a refusal has a reason");
    const bool isWhole = archive && archive->CheckWhole(error);
    const auto content = archive ? archive->ReadMember("app_tavomend_config.json", INFLATED_MAX, error) : std::nullopt;
    const auto tool = MakeSptr<TavomendEngine::ParseZipTool>(path);
    tool->Pin({}, TavomendEngine::SealedFile::Read(path, [](const void* /*bytes*/, size_t /*size*/) {}));
    unlink(out.c_str());
    const bool isTaken = tool->UnZipTargetFiles({{Formats::CONFIG_MEMBER, out}});
    const auto text = tool->ReadMember(Formats::CONFIG_MEMBER, INFLATED_MAX);
    tool->Reset();
    if (content) {
        Require(text == content, "the engine reads the same bytes as its hosts");
        Require(!isTaken || TavomendEngine::FileUtils::GetFileStream(out) == *content,
                "the engine extracts the same bytes as its hosts");
        Require(isTaken || !isWhole, "the engine extracts what is whole");
    }
    return 0;
}
