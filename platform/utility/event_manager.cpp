#include "platform/utility/event_manager.h"

namespace ORVX::TavomendEngine {
// What the platform holds; it may outlive the manager, which then has cut it off.
class EventManager::Subscriber : public CommonEventSubscriber {
public:
    explicit Subscriber(EventManager* manager) : manager_(manager) {}
    void OnReceiveEvent(int32_t eventId) override
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (manager_ != nullptr) {
            manager_->OnEvent(eventId);
        }
    }
    void CutOff()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        manager_ = nullptr;
    }

private:
    std::mutex mutex_;
    EventManager* manager_;
};

template class DelayedSingleton<EventManager>;

EventManager::EventManager() : subscriber_(MakeSptr<Subscriber>(this)) {}

EventManager::~EventManager()
{
    subscriber_->CutOff();
    CommonEventManager::UnSubscribeCommonEvent(subscriber_);
}

bool EventManager::SubscribeEvent(int32_t eventId)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!subscribed_.insert(eventId).second) {
            return true;
        }
    }
    return CommonEventManager::SubscribeCommonEvent(eventId, subscriber_);
}

bool EventManager::CheckEventListenRes(int32_t eventId, int32_t limit)
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (subscribed_.count(eventId) == 0) {
        return false;
    }
    return arrival_.wait_for(lock, limitUnit_ * limit, [this, eventId] { return arrived_.count(eventId) != 0; });
}

void EventManager::SetLimitUnit(std::chrono::milliseconds unit)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    limitUnit_ = unit;
}

void EventManager::OnEvent(int32_t eventId)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    arrived_.insert(eventId);
    arrival_.notify_all();
}
} // namespace ORVX::TavomendEngine
