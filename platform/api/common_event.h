// Common events of the platform. They are sticky for a boot: who subscribes after an event was published gets it at
// once.
#ifndef TAVOMEND_PLATFORM_API_COMMON_EVENT_H
#define TAVOMEND_PLATFORM_API_COMMON_EVENT_H

#include <cstdint>

#include "platform/api/ref_base.h"

namespace ORVX {
constexpr int32_t COMMON_EVENT_BUNDLE_SCAN_FINISHED = 1;
constexpr int32_t COMMON_EVENT_USER_ADDED = 2;

// Held by the platform from its subscription until it unsubscribes.
class CommonEventSubscriber : public virtual RefBase {
public:
    // Called on the publisher's thread (on the subscriber's own for an event that was already there).
    // May subscribe and unsubscribe, itself too. One that unsubscribes may still get an event that was on its way.
    virtual void OnReceiveEvent(int32_t eventId) = 0;
};

// Used by EventManager; the port publishes. Safe from any thread.
class CommonEventManager {
public:
    // False for an empty subscriber.
    static bool SubscribeCommonEvent(int32_t eventId, const sptr<CommonEventSubscriber>& subscriber);
    // From all events. False for one who had none.
    static bool UnSubscribeCommonEvent(const sptr<CommonEventSubscriber>& subscriber);
    // Returns when every subscriber has been told.
    static bool PublishCommonEvent(int32_t eventId);
};
} // namespace ORVX

#endif
