#include <gtest/gtest.h>
#include <thread>
#include <vector>

#include "platform/api/ref_base.h"
#include "platform/api/status_receiver.h"

namespace ORVX {
namespace {
class Counted : public virtual RefBase {
public:
    explicit Counted(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }

private:
    std::atomic<int>& alive_;
};

TEST(RefBaseTest, TheLastStrongPointerDeletes)
{
    std::atomic<int> alive{0};
    wptr<Counted> weak;
    {
        sptr<Counted> first(new Counted(alive));
        weak = first;
        sptr<Counted> second = first;
        first = nullptr;
        EXPECT_EQ(alive, 1);
        EXPECT_EQ(weak.promote(), second);
        second = second; // NOLINT: itself
        EXPECT_EQ(second->GetSptrRefCount(), 1);
        sptr<RefBase> base = second;
        EXPECT_EQ(base->GetSptrRefCount(), 2);
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(weak.promote(), nullptr);
}

TEST(RefBaseTest, PromotionRacesWithRelease)
{
    std::atomic<int> alive{0};
    for (int round = 0; round < 200; ++round) {
        sptr<Counted> strong(new Counted(alive));
        const wptr<Counted> weak(strong);
        std::vector<std::thread> threads;
        for (int i = 0; i < 2; ++i) {
            threads.emplace_back([weak] {
                while (weak.promote() != nullptr) {
                }
            });
        }
        strong = nullptr;
        for (auto& thread : threads) {
            thread.join();
        }
        ASSERT_EQ(alive, 0);
    }
}

class Receiver : public StatusReceiverHost {
    void OnStatusNotify(int32_t /*progress*/) override {}
    void OnFinished(int32_t /*code*/, const std::string& /*message*/) override {}
    void SetStreamInstallId(uint32_t /*id*/) override {}
};

class Recipient : public IRemoteObject::DeathRecipient {
public:
    void OnRemoteDied(const wptr<IRemoteObject>& object) override
    {
        ++count;
        died = object.promote();
        if (died != nullptr && died->IsObjectDead()) { // no lock is held meanwhile
            died->RemoveDeathRecipient(nullptr);
        }
    }
    int count = 0;
    sptr<IRemoteObject> died;
};

class IOther : public IRemoteBroker {
public:
    static std::string GetDescriptor() { return "other"; }
};

TEST(RemoteObjectTest, CastsByDescriptorAndTellsOfDeathOnce)
{
    const sptr<Receiver> receiver(new Receiver);
    const sptr<IRemoteObject> object = receiver->AsObject();
    EXPECT_NE(iface_cast<IStatusReceiver>(object), nullptr);
    EXPECT_EQ(iface_cast<IOther>(object), nullptr);
    EXPECT_EQ(iface_cast<IStatusReceiver>(nullptr), nullptr);

    const sptr<Recipient> told(new Recipient);
    const sptr<Recipient> gone(new Recipient);
    EXPECT_TRUE(object->AddDeathRecipient(told));
    EXPECT_TRUE(object->AddDeathRecipient(gone));
    EXPECT_TRUE(object->RemoveDeathRecipient(gone));
    EXPECT_FALSE(object->RemoveDeathRecipient(gone));
    EXPECT_FALSE(object->AddDeathRecipient(nullptr));
    EXPECT_FALSE(object->IsObjectDead());
    receiver->NotifyDeath();
    receiver->NotifyDeath();
    EXPECT_EQ(told->count, 1);
    EXPECT_EQ(told->died, object);
    EXPECT_EQ(gone->count, 0);
    EXPECT_TRUE(object->IsObjectDead());
    told->died = nullptr;

    EXPECT_FALSE(object->AddDeathRecipient(told)); // too late: told at once, and not held
    EXPECT_EQ(told->count, 2);
    EXPECT_EQ(told->died, object);
    EXPECT_FALSE(object->RemoveDeathRecipient(told));
    EXPECT_FALSE(object->AddDeathRecipient(nullptr));
    told->died = nullptr;
}
} // namespace
} // namespace ORVX
