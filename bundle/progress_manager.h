// Counts the applications installed during a patch run and tells the client.
#ifndef TAVOMEND_BUNDLE_PROGRESS_MANAGER_H
#define TAVOMEND_BUNDLE_PROGRESS_MANAGER_H

#include <cstdint>
#include <mutex>

#include "bundle/callback_slot.h"
#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendEngine {
// Process-wide. The facade sets and clears the callback; the activites state sets the total and counts. Safe from any
// thread; no lock is held while the client is told, so that it may come back to the engine.
class ProgressManager {
public:
    virtual ~ProgressManager() = default;

    // total: applications of the run. The installed counter is not touched: a second run of one process counts on, as
    // clients know it.
    void SetTotal(int32_t total);
    // Counts one; reports (installed, total) to the callback if there is one and the count before was below the total.
    // Without a total nothing is ever reported.
    void AddInstalled();

    CallbackSlot progressCallback_;

private:
    int32_t total_ = -1;
    int32_t installed_ = -1; // so that the first report says 0
    std::mutex mutex_;       // guards the counters
};
} // namespace ORVX::TavomendEngine

#endif
