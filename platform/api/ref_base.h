// Reference counting of platform objects: RefBase, the strong pointer sptr and the weak pointer wptr.
//
// An object that derives from RefBase is created with new and handed to an sptr at once; the last sptr deletes it.
// A wptr does not keep the object alive; promote() gives an sptr, empty once the object is gone. All operations may be
// used from any thread. Do not make an sptr of `this` in a constructor: the object would be deleted before it is built.
#ifndef TAVOMEND_PLATFORM_API_REF_BASE_H
#define TAVOMEND_PLATFORM_API_REF_BASE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace ORVX {
class RefBase;

// The counts of one object; outlives the object while a wptr still points at it.
class RefCounter {
public:
    void IncStrong() { strong_.fetch_add(1, std::memory_order_relaxed); }
    // True when the caller gave back the last strong reference and must delete the object.
    [[nodiscard]] bool DecStrong() { return strong_.fetch_sub(1, std::memory_order_acq_rel) == 1; }
    [[nodiscard]] bool TryIncStrong()
    {
        int32_t count = strong_.load(std::memory_order_relaxed);
        while (count > 0) {
            if (strong_.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) {
                return true;
            }
        }
        return false;
    }
    [[nodiscard]] int32_t GetStrong() const { return strong_.load(std::memory_order_relaxed); }

    void IncWeak() { weak_.fetch_add(1, std::memory_order_relaxed); }
    void DecWeak()
    {
        if (weak_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

private:
    std::atomic<int32_t> strong_{0};
    std::atomic<int32_t> weak_{1}; // the object itself holds one
};

class RefBase {
public:
    RefBase() : counter_(new RefCounter) {}
    virtual ~RefBase() { counter_->DecWeak(); }
    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void IncStrongRef() const { counter_->IncStrong(); }
    void DecStrongRef() const
    {
        if (counter_->DecStrong()) {
            delete this;
        }
    }
    [[nodiscard]] int32_t GetSptrRefCount() const { return counter_->GetStrong(); }
    [[nodiscard]] RefCounter* GetRefCounter() const { return counter_; }

private:
    RefCounter* counter_;
};

template <typename T>
class wptr;

template <typename T>
class sptr {
public:
    sptr() = default;
    sptr(std::nullptr_t) {}
    sptr(T* object) : object_(object)
    {
        if (object_ != nullptr) {
            object_->IncStrongRef();
        }
    }
    sptr(const sptr& other) : sptr(other.object_) {}
    sptr(sptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <typename U>
    sptr(const sptr<U>& other) : sptr(static_cast<T*>(other.GetRefPtr()))
    {
    }
    ~sptr()
    {
        if (object_ != nullptr) {
            object_->DecStrongRef();
        }
    }
    sptr& operator=(sptr other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }

    [[nodiscard]] T* GetRefPtr() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    friend bool operator==(const sptr& left, const sptr& right) { return left.object_ == right.object_; }
    friend bool operator!=(const sptr& left, const sptr& right) { return left.object_ != right.object_; }
    friend bool operator==(const sptr& left, std::nullptr_t) { return left.object_ == nullptr; }
    friend bool operator!=(const sptr& left, std::nullptr_t) { return left.object_ != nullptr; }

private:
    friend class wptr<T>;
    struct Adopt {};
    sptr(T* object, Adopt) : object_(object) {}

    T* object_ = nullptr;
};

template <typename T>
class wptr {
public:
    wptr() = default;
    wptr(std::nullptr_t) {}
    wptr(T* object) : object_(object), counter_(object == nullptr ? nullptr : object->GetRefCounter()) { Hold(); }
    wptr(const sptr<T>& strong) : wptr(strong.GetRefPtr()) {}
    wptr(const wptr& other) : object_(other.object_), counter_(other.counter_) { Hold(); }
    wptr(wptr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)), counter_(std::exchange(other.counter_, nullptr))
    {
    }
    ~wptr()
    {
        if (counter_ != nullptr) {
            counter_->DecWeak();
        }
    }
    wptr& operator=(wptr other) noexcept
    {
        std::swap(object_, other.object_);
        std::swap(counter_, other.counter_);
        return *this;
    }

    // The object, kept alive by the result; empty when it is gone or nobody held it yet.
    [[nodiscard]] sptr<T> promote() const
    {
        if (counter_ == nullptr || !counter_->TryIncStrong()) {
            return nullptr;
        }
        return sptr<T>(object_, typename sptr<T>::Adopt{});
    }

private:
    void Hold()
    {
        if (counter_ != nullptr) {
            counter_->IncWeak();
        }
    }

    T* object_ = nullptr;
    RefCounter* counter_ = nullptr;
};

template <typename T, typename... Args>
[[nodiscard]] sptr<T> MakeSptr(Args&&... args)
{
    return sptr<T>(new T(std::forward<Args>(args)...));
}
} // namespace ORVX

#endif
