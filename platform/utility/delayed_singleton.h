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
template <typename T>
class DelayedSingleton {
public:
    DelayedSingleton() = delete;

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
    std::lock_guard<std::mutex> lock(mutex_);
    if (instance_ == nullptr) {
        instance_ = std::make_shared<T>();
    }
    return instance_;
}

template <typename T>
void DelayedSingleton<T>::DestroyInstance()
{
    std::lock_guard<std::mutex> lock(mutex_);
    instance_.reset();
}
} // namespace ORVX::TavomendEngine

#endif
