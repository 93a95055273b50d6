#include "bundle/callback_slot.h"

#include <utility>

namespace ORVX::TavomendEngine {
CallbackSlot& CallbackSlot::operator=(const sptr<ICoreEngineCallback>& callback)
{
    sptr<ICoreEngineCallback> replaced = callback; // released after the lock: its destructor is the client's code
    const std::lock_guard<std::mutex> lock(mutex_);
    std::swap(callback_, replaced);
    return *this;
}

sptr<ICoreEngineCallback> CallbackSlot::Get() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return callback_;
}

bool CallbackSlot::ClearIf(const sptr<ICoreEngineCallback>& callback)
{
    sptr<ICoreEngineCallback> cleared;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (callback_ != callback) {
        return false;
    }
    std::swap(callback_, cleared);
    return true;
}
} // namespace ORVX::TavomendEngine
