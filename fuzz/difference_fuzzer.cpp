// Differences; the applier is their one reader. Input: two bytes, little-endian, the length of the base; the base; the
// difference. The difference's checksum, the base's size and digest, and the output's size are made to fit, so that
// the input reaches what lies behind them.
#include <algorithm>

#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_result.h"
#include "fuzz/fuzz_target.h"
#include "handles/sha256.h"

namespace {
using namespace ORVX::Difference;

constexpr size_t INPUT_MAX = size_t{16} << 10;
constexpr uint32_t OUTPUT_MAX = uint32_t{1} << 16;
constexpr uint32_t WINDOW_MAX = uint32_t{1} << 16;

// Gives the difference again with a header that fits; what is no archive-aware difference stays as it is.
std::string MadeToFit(const std::string& difference, const std::string& base)
{
    const ByteView view = {reinterpret_cast<const uint8_t*>(difference.data()), difference.size()};
    DifferenceHeader header;
    if (!IsArchiveDifference(view) || difference.size() < DIFFERENCE_HEADER_SIZE + DIFFERENCE_CHECKSUM_SIZE) {
        return difference;
    }
    ReadDifferenceFields(view, header);
    const size_t content = difference.size() - DIFFERENCE_HEADER_SIZE - DIFFERENCE_CHECKSUM_SIZE;
    const size_t model = std::min<size_t>(header.modelSize, content);
    header.outputSize %= OUTPUT_MAX;
    header.windowSize %= WINDOW_MAX;
    header.baseSize = static_cast<uint32_t>(base.size());
    if (!ORVX::Handles::Sha256::Of(base.data(), base.size(), header.baseDigest)) {
        std::abort();
    }
    return AssembleDifference(header, difference.substr(DIFFERENCE_HEADER_SIZE, model),
                              difference.substr(DIFFERENCE_HEADER_SIZE + model, content - model));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX::TavomendTest;
    if (size < 2 || size > INPUT_MAX) {
        return 0;
    }
    const std::string input = TextOf(data, size);
    const size_t baseSize = std::min<size_t>(data[0] | data[1] << 8, size - 2);
    const std::string base = input.substr(2, baseSize);
    Store("/tmp/base", base);
    Store("/tmp/difference", MadeToFit(input.substr(2 + baseSize), base));
    const int result = ApplyDifference("/tmp/difference", "/tmp/base", "/tmp/output");
    Require((unlink("/tmp/output") == 0) == (result == DIFFERENCE_OK), "an output is there when all went well");
    return 0;
}
