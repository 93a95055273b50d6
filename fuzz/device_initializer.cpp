// A libFuzzer program takes the folder that it is started in as its device's root; corpus and findings are paths below.
#include "fuzz/fuzz_target.h"
#include "ports/host/device_root.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    std::string error;
    static const auto root = ORVX::TavomendHost::DeviceRoot::Enter(".", error);
    ORVX::TavomendTest::Require(root != nullptr, error.c_str());
    ORVX::TavomendTest::PrepareDevice();
    return 0;
}
