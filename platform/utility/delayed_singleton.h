// A process-wide instance, created on first use under a lock of its own and shared through shared pointers.
//
// A class of the platform library that is taken through DelayedSingleton declares
// `extern template class DelayedSingleton<T>` in its header and instantiates it in its source, so that everybody who
// links the library sees the same instance.
#ifndef TAVOMEND_PLATFORM_UTILITY_DELAYED_SINGLETON_H
#define TAVOMEND_PLATFORM_UTILITY_DELAYED_SINGLETON_H

#include <memory>
#include <mutex>

namespace ORVX::TavomendEngine {
// Knows every singleton that this process has created, whichever library it lives in.
class DelayedSingletons {
public:
    DelayedSingletons() = delete;

    // Drops all instances, the youngest first; who still holds one keeps it. The next GetInstance of each makes a new
    // one. For tests, which want a process that looks as if it had just started.
    static void DestroyAll();

private:
    template <typename T>
    friend class DelayedSingleton;
    using Destroy = void (*)();

    static void Add(Destroy destroy);
};

// T needs a default constructor. Safe from any thread; the constructor of T may take other singletons.
template <typename T>
class DelayedSingleton {
public:
    DelayedSingleton() = delete;

    // Never null.
    [[nodiscard]] static std::shared_ptr<T> GetInstance();
    // Drops the instance; who still holds it keeps it. The next GetInstance makes a new one. For tests and shutdown.
    static void DestroyInstance();

private:
    static std::shared_ptr<T> instance_;
    static std::mutex mutex_;
};

template <typename T>
std::shared_ptr<T> DelayedSingleton<T>::instance_;

template <typename T>
std::mutex DelayedSingleton<T>::mutex_;

template <typename T>
std::shared_ptr<T> DelayedSingleton<T>::GetInstance()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (instance_ == nullptr) {
        instance_ = std::make_shared<T>();
        DelayedSingletons::Add(&DelayedSingleton<T>::DestroyInstance);
    }
    return instance_;
}

template <typename T>
void DelayedSingleton<T>::DestroyInstance()
{
    std::shared_ptr<T> dropped; // goes after the lock: its destructor may ask for singletons
    const std::lock_guard<std::mutex> lock(mutex_);
    dropped.swap(instance_);
}
} // namespace ORVX::TavomendEngine

#endif
