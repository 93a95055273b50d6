#include <gtest/gtest.h>
#include <string>

#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::DelayedSingleton;
using TavomendEngine::DelayedSingletons;

std::string g_gone; // the names of the instances that went, in order

template <char NAME>
struct Named {
    ~Named() { g_gone += NAME; }
};

TEST(DelayedSingletonTest, AllGoTheYoungestFirst)
{
    DelayedSingletons::DestroyAll();
    g_gone.clear();
    EXPECT_NE(DelayedSingleton<Named<'a'>>::GetInstance(), nullptr);
    EXPECT_NE(DelayedSingleton<Named<'b'>>::GetInstance(), nullptr);
    const auto held = DelayedSingleton<Named<'c'>>::GetInstance();
    EXPECT_EQ(DelayedSingleton<Named<'c'>>::GetInstance(), held);
    DelayedSingleton<Named<'a'>>::DestroyInstance();
    EXPECT_EQ(g_gone, "a");
    EXPECT_NE(DelayedSingleton<Named<'a'>>::GetInstance(), nullptr); // now the youngest
    DelayedSingletons::DestroyAll();
    EXPECT_EQ(g_gone, "aab"); // who is held stays with its holder
    EXPECT_NE(DelayedSingleton<Named<'c'>>::GetInstance(), held);
    DelayedSingletons::DestroyAll();
    EXPECT_EQ(g_gone, "aabc");
}
} // namespace
} // namespace ORVX::TavomendTest
