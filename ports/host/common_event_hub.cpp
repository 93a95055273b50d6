#include "ports/host/common_event_hub.h"

#include <algorithm>

namespace ORVX {
using TavomendHost::CommonEventHub;

bool CommonEventManager::SubscribeCommonEvent(int32_t eventId, const sptr<CommonEventSubscriber>& subscriber)
{
    if (subscriber == nullptr) {
        return false;
    }
    CommonEventHub::GetInstance().Subscribe(eventId, subscriber);
    return true;
}

bool CommonEventManager::UnSubscribeCommonEvent(const sptr<CommonEventSubscriber>& subscriber)
{
    return CommonEventHub::GetInstance().UnSubscribe(subscriber);
}

bool CommonEventManager::PublishCommonEvent(int32_t eventId)
{
    CommonEventHub::GetInstance().Publish(eventId);
    return true;
}
} // namespace ORVX

namespace ORVX::TavomendHost {
CommonEventHub& CommonEventHub::GetInstance()
{
    static auto* hub = new CommonEventHub;
    return *hub;
}

void CommonEventHub::Subscribe(int32_t eventId, const sptr<CommonEventSubscriber>& subscriber)
{
    bool isThere = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        subscribers_[eventId].push_back(subscriber);
        isThere = published_.count(eventId) != 0;
    }
    if (isThere) {
        subscriber->OnReceiveEvent(eventId);
    }
}

bool CommonEventHub::UnSubscribe(const sptr<CommonEventSubscriber>& subscriber)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    bool wasThere = false;
    for (auto& entry : subscribers_) {
        auto& list = entry.second;
        const auto gone = std::remove(list.begin(), list.end(), subscriber);
        wasThere = wasThere || gone != list.end();
        list.erase(gone, list.end());
    }
    return wasThere;
}

void CommonEventHub::Publish(int32_t eventId)
{
    std::vector<sptr<CommonEventSubscriber>> subscribers;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        published_.insert(eventId);
        subscribers = subscribers_[eventId];
    }
    for (const auto& subscriber : subscribers) {
        subscriber->OnReceiveEvent(eventId);
    }
}

void CommonEventHub::NewBoot()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    published_.clear();
    subscribers_.clear();
}
} // namespace ORVX::TavomendHost
