#include <gtest/gtest.h>
#include <thread>

#include "platform/utility/event_manager.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::EventManager;

// Numbers of their own: events stay published for the life of a process.
constexpr int32_t NEVER = 70;
constexpr int32_t FROM_A_THREAD = 71;
constexpr int32_t BEFORE = 72;

TEST(EventManagerTest, KnowsOnlyWhatItSubscribedTo)
{
    EventManager events;
    EXPECT_FALSE(events.CheckEventListenRes(NEVER, 300)); // at once: nobody listens
    CommonEventManager::PublishCommonEvent(NEVER);
    EXPECT_FALSE(events.CheckEventListenRes(NEVER, 300));
}

TEST(EventManagerTest, WaitsForAnEventFromAnotherThread)
{
    EventManager events;
    ASSERT_TRUE(events.SubscribeEvent(FROM_A_THREAD));
    ASSERT_TRUE(events.SubscribeEvent(FROM_A_THREAD));
    events.SetLimitUnit(std::chrono::milliseconds(1));
    EXPECT_FALSE(events.CheckEventListenRes(FROM_A_THREAD, 1));
    events.SetLimitUnit(std::chrono::seconds(1));
    std::thread publisher([] { CommonEventManager::PublishCommonEvent(FROM_A_THREAD); });
    EXPECT_TRUE(events.CheckEventListenRes(FROM_A_THREAD, 300));
    publisher.join();
}

TEST(EventManagerTest, EventsAreStickyAndManagersMayGo)
{
    CommonEventManager::PublishCommonEvent(BEFORE);
    {
        EventManager events;
        ASSERT_TRUE(events.SubscribeEvent(BEFORE));
        EXPECT_TRUE(events.CheckEventListenRes(BEFORE, 0));
    }
    CommonEventManager::PublishCommonEvent(BEFORE); // reaches nobody
}
} // namespace
} // namespace ORVX::TavomendTest
