// Waiting for common events: the bundle scan (1) and the first user (2).
#ifndef TAVOMEND_PLATFORM_UTILITY_EVENT_MANAGER_H
#define TAVOMEND_PLATFORM_UTILITY_EVENT_MANAGER_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <set>

#include "platform/api/common_event.h"
#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendEngine {
// Process-wide; taken by the facade, the activites state, the app patch manager and the bundle manager. Safe from any
// thread; several may wait at a time.
class EventManager {
public:
    EventManager();
    ~EventManager();
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;

    // From now on arrivals of the event are remembered; one that was published before counts as arrived. True also for
    // a second subscription to one event, which changes nothing; false when the platform refuses.
    bool SubscribeEvent(int32_t eventId);
    // True as soon as the event has arrived since it was subscribed to (events are sticky for a boot); waits for it at
    // most `limit` seconds. False for an event that nobody subscribed to, without waiting.
    [[nodiscard]] bool CheckEventListenRes(int32_t eventId, int32_t limit);

    // How long one unit of a limit is; a second unless a test shortens it.
    void SetLimitUnit(std::chrono::milliseconds unit);

private:
    class Subscriber;
    void OnEvent(int32_t eventId);

    std::mutex mutex_;
    std::condition_variable arrival_;
    std::set<int32_t> subscribed_;
    std::set<int32_t> arrived_;
    std::chrono::milliseconds limitUnit_{1000};
    sptr<Subscriber> subscriber_;
};

extern template class DelayedSingleton<EventManager>;
} // namespace ORVX::TavomendEngine

#endif
