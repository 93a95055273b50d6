#include <gtest/gtest.h>

#include "ports/host/common_event_hub.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace {
class Listener : public CommonEventSubscriber {
public:
    void OnReceiveEvent(int32_t eventId) override
    {
        heard.push_back(eventId);
        CommonEventManager::UnSubscribeCommonEvent(nullptr); // no lock is held meanwhile
    }
    std::vector<int32_t> heard;
};

class CommonEventHubTest : public DeviceTest {};

TEST_F(CommonEventHubTest, TellsSubscribersOfWhatComesAndOfWhatHasCome)
{
    const auto early = MakeSptr<Listener>();
    const auto late = MakeSptr<Listener>();
    EXPECT_FALSE(CommonEventManager::SubscribeCommonEvent(1, nullptr));
    EXPECT_TRUE(CommonEventManager::SubscribeCommonEvent(1, early));
    EXPECT_TRUE(CommonEventManager::SubscribeCommonEvent(2, early));
    EXPECT_TRUE(CommonEventManager::PublishCommonEvent(1));
    EXPECT_TRUE(CommonEventManager::SubscribeCommonEvent(1, late));
    EXPECT_TRUE(CommonEventManager::SubscribeCommonEvent(2, late));
    EXPECT_TRUE(CommonEventManager::PublishCommonEvent(2));
    EXPECT_EQ(early->heard, (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(late->heard, (std::vector<int32_t>{1, 2}));

    EXPECT_TRUE(CommonEventManager::UnSubscribeCommonEvent(early));
    EXPECT_FALSE(CommonEventManager::UnSubscribeCommonEvent(early));
    CommonEventManager::PublishCommonEvent(1);
    CommonEventManager::PublishCommonEvent(2);
    EXPECT_EQ(early->heard.size(), 2U);
    EXPECT_EQ(late->heard, (std::vector<int32_t>{1, 2, 1, 2}));
}

TEST_F(CommonEventHubTest, ABootForgetsEventsAndSubscribers)
{
    const auto before = MakeSptr<Listener>();
    const auto after = MakeSptr<Listener>();
    CommonEventManager::SubscribeCommonEvent(1, before);
    CommonEventManager::PublishCommonEvent(1);
    TavomendHost::CommonEventHub::GetInstance().NewBoot();
    CommonEventManager::SubscribeCommonEvent(1, after);
    EXPECT_TRUE(after->heard.empty());
    CommonEventManager::PublishCommonEvent(1);
    EXPECT_EQ(before->heard.size(), 1U);
    EXPECT_EQ(after->heard.size(), 1U);
}
} // namespace
} // namespace ORVX::TavomendTest
