#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <thread>

#include "platform/utility/event_manager.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::EventManager;

constexpr int32_t EVENT = 70;
constexpr int32_t OTHER = 71;

class EventManagerTest : public DeviceTest {};

TEST_F(EventManagerTest, KnowsOnlyWhatItSubscribedTo)
{
    EventManager events;
    ASSERT_TRUE(events.SubscribeEvent(OTHER));
    EXPECT_FALSE(events.CheckEventListenRes(EVENT, 300)); // at once: nobody listens
    CommonEventManager::PublishCommonEvent(EVENT);
    EXPECT_FALSE(events.CheckEventListenRes(EVENT, 300));
    EXPECT_FALSE(events.CheckEventListenRes(OTHER, 0));
    ASSERT_TRUE(events.SubscribeEvent(EVENT)); // sticky: there at once
    EXPECT_TRUE(events.CheckEventListenRes(EVENT, 0));
}

TEST_F(EventManagerTest, WaitsForAnEventFromAnotherThread)
{
    EventManager events;
    ASSERT_TRUE(events.SubscribeEvent(EVENT));
    ASSERT_TRUE(events.SubscribeEvent(EVENT));
    events.SetLimitUnit(std::chrono::milliseconds(1));
    EXPECT_FALSE(events.CheckEventListenRes(EVENT, 1));
    events.SetLimitUnit(std::chrono::seconds(1));
    std::thread publisher([] { CommonEventManager::PublishCommonEvent(EVENT); });
    EXPECT_TRUE(events.CheckEventListenRes(EVENT, 300));
    publisher.join();
}

// Ends a manager while an event is on its way to it.
class Ender : public CommonEventSubscriber {
public:
    explicit Ender(void* room) : manager_(new (room) EventManager) {}
    void OnReceiveEvent(int32_t /*eventId*/) override
    {
        manager_->~EventManager();
        memset(static_cast<void*>(manager_), 0xFF, sizeof(EventManager)); // a lock in there is never free again
    }
    EventManager* manager_;
};

TEST_F(EventManagerTest, MayEndWhileAnEventIsOnItsWay)
{
    alignas(EventManager) char room[sizeof(EventManager)];
    const auto ender = MakeSptr<Ender>(room);
    CommonEventManager::SubscribeCommonEvent(EVENT, ender);
    ASSERT_TRUE(ender->manager_->SubscribeEvent(EVENT));
    EXPECT_TRUE(CommonEventManager::PublishCommonEvent(EVENT));
}
} // namespace
} // namespace ORVX::TavomendTest
