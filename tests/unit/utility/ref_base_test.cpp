#include <gtest/gtest.h>

#include "platform/api/ref_base.h"

namespace ORVX {
namespace {
class Counted : public virtual RefBase {
public:
    explicit Counted(int& alive) : alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }

private:
    int& alive_;
};

TEST(RefBaseTest, TheLastStrongPointerDeletes)
{
    int alive = 0;
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

} // namespace
} // namespace ORVX
