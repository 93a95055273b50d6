// The recover list. There is one reader (Formats::ParseRecoverList); the engine's tool and the boot scan give it the
// same bytes.
#include "formats/device_paths.h"
#include "formats/recover_list.h"
#include "fuzz/fuzz_target.h"
#include "tools/recover_file_tool.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX;
    using namespace ORVX::TavomendTest;
    Store(Formats::RECOVER_LIST_PATH, TextOf(data, size));
    std::vector<std::string> names;
    const bool isTaken = MakeSptr<TavomendEngine::RecoverFileTool>()->GetRecoverBundleNameList(names);
    const auto list = Formats::ReadRecoverList(Formats::RecoverListInForce());
    Require(isTaken == (list.kind == Formats::RecoverList::Kind::WHOLE), "engine and scan judge alike");
    Require(names == list.names, "engine and scan read the same names");
    Store(Formats::RECOVER_LIST_PATH, Formats::PrintRecoverList(names));
    const auto again = Formats::ReadRecoverList(Formats::RECOVER_LIST_PATH);
    Require(again.kind == Formats::RecoverList::Kind::WHOLE && again.names == names, "a written list reads as it was");
    return 0;
}
