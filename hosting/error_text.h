// Says in words what the error codes of a status detail mean. The detail's grammar and the codes are in
// docs/status-record.md. Hosts show these words with a failure; nothing here fails or keeps state, and what cannot be
// read is left out. The port says what its bundle service's own verdicts mean.
#ifndef TAVOMEND_HOSTING_ERROR_TEXT_H
#define TAVOMEND_HOSTING_ERROR_TEXT_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/api/device_port.h"

namespace ORVX::TavomendHosting {
// One operation of the history.
struct ErrorOperation {
    int32_t stage = -1;                            // 0 init, 1 system service
    int32_t state = -1;                            // 0 load, 1 apply
    std::map<int32_t, std::vector<int32_t>> codes; // by key, newest first
};

// The operations in order, oldest first; what was cut off at the front is left out.
[[nodiscard]] std::vector<ErrorOperation> ParseDetail(const std::string& detail);
// One code in words; an unknown one by its number.
[[nodiscard]] std::string ErrorCodeText(const IDevicePort& port, int32_t key, int32_t code);
// The failures of the last operation, with what earlier ones say about the same applications, each with its (key|code);
// empty when it recorded none. bundleNames: of the package, by sequence number. noPublicKey: why the device
// cannot verify any package, which stands in place of a signature's failure; empty when it can.
[[nodiscard]] std::string ExplainDetail(const IDevicePort& port, const std::string& detail,
                                        const std::vector<std::string>& bundleNames,
                                        const std::string& noPublicKey = "");
} // namespace ORVX::TavomendHosting

#endif
