#include "platform/utility/delayed_singleton.h"

#include <algorithm>
#include <vector>

namespace ORVX::TavomendEngine {
namespace {
struct Created {
    std::mutex mutex;
    std::vector<void (*)()> destroyers; // in the order of creation
};

Created& GetCreated()
{
    static auto* created = new Created; // never released: singletons are still created while the process ends
    return *created;
}
} // namespace

void DelayedSingletons::Add(Destroy destroy)
{
    Created& created = GetCreated();
    const std::lock_guard<std::mutex> lock(created.mutex);
    auto& list = created.destroyers;
    list.erase(std::remove(list.begin(), list.end(), destroy), list.end()); // of an instance that was dropped
    list.push_back(destroy);
}

void DelayedSingletons::DestroyAll()
{
    Created& created = GetCreated();
    std::vector<Destroy> destroyers;
    {
        const std::lock_guard<std::mutex> lock(created.mutex);
        destroyers.swap(created.destroyers);
    }
    std::for_each(destroyers.rbegin(), destroyers.rend(), [](Destroy destroy) { destroy(); });
}
} // namespace ORVX::TavomendEngine
