// Feeds the applier with differences and bases. Input: two bytes, little-endian, the length of the base; the base; the
// difference. The difference's checksum, the base's size and digest, and the output's size are made to fit, so that
// the input reaches what lies behind them.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "diff/difference_applier.h"
#include "diff/difference_header.h"
#include "diff/difference_result.h"
#include "handles/sha256.h"

namespace {
using namespace ORVX::Difference;

constexpr size_t INPUT_MAX = size_t{64} << 10;
constexpr uint32_t OUTPUT_MAX = uint32_t{1} << 20;
constexpr uint32_t WINDOW_MAX = uint32_t{1} << 16;

// Goes away with the process.
struct WorkDirectory {
    WorkDirectory()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tavomend-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        path = pattern;
    }
    ~WorkDirectory() { std::filesystem::remove_all(path); }
    WorkDirectory(const WorkDirectory&) = delete;
    WorkDirectory& operator=(const WorkDirectory&) = delete;

    std::string path;
};

void Write(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

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
    static const WorkDirectory work;
    const std::string& directory = work.path;
    if (size < 2 || size > INPUT_MAX) {
        return 0;
    }
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t baseSize = std::min<size_t>(data[0] | data[1] << 8, size - 2);
    const std::string base = input.substr(2, baseSize);
    Write(directory + "/base", base);
    Write(directory + "/difference", MadeToFit(input.substr(2 + baseSize), base));
    const int result =
        ORVX::Difference::ApplyDifference(directory + "/difference", directory + "/base", directory + "/output");
    if (std::filesystem::exists(directory + "/output") != (result == DIFFERENCE_OK)) {
        std::abort();
    }
    std::filesystem::remove_all(directory + "/output");
    return 0;
}
