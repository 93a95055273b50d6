// Common events of this process: one boot is one process, so what was published once counts for all who come later.
#include <algorithm>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "platform/api/common_event.h"

namespace ORVX {
namespace {
class CommonEventHub {
public:
    static CommonEventHub& GetInstance()
    {
        static auto* hub = new CommonEventHub; // never released: events may come while the process ends
        return *hub;
    }

    void Subscribe(int32_t eventId, const sptr<CommonEventSubscriber>& subscriber)
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

    bool UnSubscribe(const sptr<CommonEventSubscriber>& subscriber)
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

    void Publish(int32_t eventId)
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

private:
    std::mutex mutex_;
    std::set<int32_t> published_;
    std::map<int32_t, std::vector<sptr<CommonEventSubscriber>>> subscribers_;
};
} // namespace

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
