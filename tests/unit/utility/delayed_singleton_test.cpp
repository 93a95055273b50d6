#include <gtest/gtest.h>
#include <string>

#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendTest {
namespace {
using TavomendEngine::DelayedSingleton;
using TavomendEngine::DelayedSingletons;

std::string* g_gone = nullptr; // the names of the instances that went, in order

template <char NAME>
struct Named {
    ~Named()
    {
        if (g_gone != nullptr) {
            *g_gone += NAME;
        }
    }
};

// Asks for itself when it goes, as who logs its end may.
struct Clinging {
    ~Clinging()
    {
        if (g_gone != nullptr) {
            EXPECT_NE(DelayedSingleton<Clinging>::GetInstance().get(), this);
        }
    }
};

template <typename T>
void Make()
{
    EXPECT_NE(DelayedSingleton<T>::GetInstance(), nullptr);
}

class DelayedSingletonTest : public testing::Test {
protected:
    void SetUp() override { g_gone = &gone_; }
    void TearDown() override
    {
        DelayedSingletons::DestroyAll();
        g_gone = nullptr;
        DelayedSingletons::DestroyAll();
    }
    std::string gone_;
};

TEST_F(DelayedSingletonTest, AllGoTheYoungestFirst)
{
    Make<Named<'a'>>();
    Make<Named<'b'>>();
    const auto held = DelayedSingleton<Named<'c'>>::GetInstance();
    EXPECT_EQ(DelayedSingleton<Named<'c'>>::GetInstance(), held);
    DelayedSingleton<Named<'a'>>::DestroyInstance();
    EXPECT_EQ(gone_, "a");
    Make<Named<'a'>>(); // now the youngest
    DelayedSingletons::DestroyAll();
    EXPECT_EQ(gone_, "aab"); // who is held stays with its holder
    EXPECT_NE(DelayedSingleton<Named<'c'>>::GetInstance(), held);
    DelayedSingletons::DestroyAll();
    EXPECT_EQ(gone_, "aabc");
}

TEST_F(DelayedSingletonTest, OneThatGoesMayAskForTheNext)
{
    Make<Clinging>();
    DelayedSingleton<Clinging>::DestroyInstance();
}
} // namespace
} // namespace ORVX::TavomendTest
