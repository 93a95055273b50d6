// The status record, with its checksum made to fit. There is one reader; what it has read and writes again reads the
// same.
#include <zlib.h>

#include "fuzz/fuzz_target.h"
#include "platform/utility/tavomend_status_record.h"

namespace {
constexpr const char* CHECKSUM_KEY = "crc32=";

std::string MadeToFit(const std::string& record)
{
    const size_t end = record.rfind(CHECKSUM_KEY);
    if (end == std::string::npos) {
        return record;
    }
    char checksum[16];
    const auto crc = crc32(0, reinterpret_cast<const Bytef*>(record.data()), static_cast<uInt>(end));
    static_cast<void>(snprintf(checksum, sizeof(checksum), "%08lx\n", crc));
    return record.substr(0, end) + CHECKSUM_KEY + checksum;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace ORVX::TavomendTest;
    Store("/tmp/record", MadeToFit(TextOf(data, size)));
    ORVX::TavomendEngine::TavomendStatusRecord record;
    record.InitStatusRecord("/tmp", "record");
    std::string version;
    const std::string status = record.GetStatus(version);
    const std::string detail = record.GetStatusFromFile();
    if (version.empty() && status.empty() && detail.empty()) {
        return 0;
    }
    Require(record.SetStatus(version, status, detail), "a record is written");
    ORVX::TavomendEngine::TavomendStatusRecord again;
    again.InitStatusRecord("/tmp", "record");
    std::string versionAgain;
    Require(again.GetStatus(versionAgain) == status && versionAgain == version && again.GetStatusFromFile() == detail,
            "a written record reads as it was");
    return 0;
}
