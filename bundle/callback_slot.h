// Holds the one client that is told of a run, for threads that come and go beside the reports.
#ifndef TAVOMEND_BUNDLE_CALLBACK_SLOT_H
#define TAVOMEND_BUNDLE_CALLBACK_SLOT_H

#include <cstddef>
#include <mutex>

#include "platform/api/core_engine_callback.h"

namespace ORVX::TavomendEngine {
// Used by the facade and the progress manager, and written to like the strong pointer that it guards. Every operation
// is one step for all threads. Who reports takes the client with Get, looks whether there is one, and calls it: then no
// lock is held, and the client lives as long as the call, whoever replaces it meanwhile. So a report that was under way
// may still reach a client that has just been cleared.
class CallbackSlot {
public:
    CallbackSlot() = default;
    CallbackSlot(const CallbackSlot&) = delete;
    CallbackSlot& operator=(const CallbackSlot&) = delete;

    // Replaces the client; an empty pointer clears the slot. The replaced one is released outside of the lock.
    CallbackSlot& operator=(const sptr<ICoreEngineCallback>& callback);
    // The client, kept alive by the result; empty when there is none.
    [[nodiscard]] sptr<ICoreEngineCallback> Get() const;
    // Clears the slot if this client is in it. False, and nothing changes, when it is not.
    [[nodiscard]] bool ClearIf(const sptr<ICoreEngineCallback>& callback);

    friend bool operator==(const CallbackSlot& slot, std::nullptr_t) { return slot.Get() == nullptr; }
    friend bool operator!=(const CallbackSlot& slot, std::nullptr_t) { return slot.Get() != nullptr; }
    friend bool operator==(const CallbackSlot& slot, const sptr<ICoreEngineCallback>& other)
    {
        return slot.Get() == other;
    }
    friend bool operator!=(const CallbackSlot& slot, const sptr<ICoreEngineCallback>& other)
    {
        return slot.Get() != other;
    }

private:
    mutable std::mutex mutex_;
    sptr<ICoreEngineCallback> callback_;
};
} // namespace ORVX::TavomendEngine

#endif
