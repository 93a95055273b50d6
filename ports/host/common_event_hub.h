// Common events of this process: one boot is one process, so what was published once counts for all who come later.
#ifndef TAVOMEND_PORTS_HOST_COMMON_EVENT_HUB_H
#define TAVOMEND_PORTS_HOST_COMMON_EVENT_HUB_H

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <vector>

#include "platform/api/common_event.h"

namespace ORVX::TavomendHost {
// What stands behind CommonEventManager on a host. Safe from any thread; no lock is held while a subscriber is told, so
// that it may come back here.
class CommonEventHub {
public:
    // Never released: events may come while the process ends.
    static CommonEventHub& GetInstance();

    // Tells the subscriber before it returns when the event has been published already.
    void Subscribe(int32_t eventId, const sptr<CommonEventSubscriber>& subscriber);
    // From all its events. False when it had none.
    bool UnSubscribe(const sptr<CommonEventSubscriber>& subscriber);
    // Tells everybody who has subscribed, before it returns.
    void Publish(int32_t eventId);
    // Forgets what was published and who subscribed, as a boot does. For tests, which play several boots.
    void NewBoot();

private:
    std::mutex mutex_;
    std::set<int32_t> published_;
    std::map<int32_t, std::vector<sptr<CommonEventSubscriber>>> subscribers_;
};
} // namespace ORVX::TavomendHost

#endif
