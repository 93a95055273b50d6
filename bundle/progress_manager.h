// Counts the applications installed during a patch run and tells the client.
#ifndef TAVOMEND_BUNDLE_PROGRESS_MANAGER_H
#define TAVOMEND_BUNDLE_PROGRESS_MANAGER_H

#include <cstdint>

#include "platform/api/core_engine_callback.h"
#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendEngine {
// Process-wide. The facade sets and clears the callback; the activites state sets the total and counts.
class ProgressManager {
public:
    virtual ~ProgressManager() = default;

    // The installed counter is not touched: a second run of one process counts on, as clients know it.
    void SetTotal(int32_t total);
    // Counts one and reports (installed, total) as long as the count before was below the total.
    void AddInstalled();

    sptr<ICoreEngineCallback> progressCallback_;

private:
    int32_t total_ = -1;
    int32_t installed_ = -1; // so that the first report says 0
};
} // namespace ORVX::TavomendEngine

#endif
