// Remote objects of the inter-process framework, as far as the engine uses them.
//
// A service is an IRemoteBroker (its interface) that stands on an IRemoteObject (its address). Who holds the address
// asks iface_cast for the interface, and may leave a death recipient that is told when the service dies. The engine
// finds the bundle service this way; the port's services and its clients' callbacks derive from IRemoteStub. All
// operations may be called from any thread, also from within a recipient.
#ifndef TAVOMEND_PLATFORM_API_REMOTE_OBJECT_H
#define TAVOMEND_PLATFORM_API_REMOTE_OBJECT_H

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "platform/api/ref_base.h"

namespace ORVX {
class IRemoteObject : public virtual RefBase {
public:
    class DeathRecipient : public virtual RefBase {
    public:
        // Called once, after the object died: on a thread of the framework, or on the adder's own when the object was
        // dead already. No lock of the object is held meanwhile.
        virtual void OnRemoteDied(const wptr<IRemoteObject>& object) = 0;
    };

    // Holds the recipient until the object dies or goes, or until it is removed. False when the recipient is empty or
    // the object is dead already; then nothing is held, and the recipient has been told before the call returns.
    virtual bool AddDeathRecipient(const sptr<DeathRecipient>& recipient) = 0;
    // False for a recipient that is not held (any more).
    virtual bool RemoveDeathRecipient(const sptr<DeathRecipient>& recipient) = 0;
    [[nodiscard]] virtual bool IsObjectDead() const = 0;
    // The descriptor of the interface that the object speaks.
    [[nodiscard]] virtual std::string GetObjectDescriptor() const = 0;
};

class IRemoteBroker : public virtual RefBase {
public:
    // The address of the broker; empty when it has none any more.
    [[nodiscard]] virtual sptr<IRemoteObject> AsObject() = 0;
};

// The interface I behind an address; empty when the object is empty or speaks another interface.
template <typename I>
[[nodiscard]] sptr<I> iface_cast(const sptr<IRemoteObject>& object)
{
    if (object == nullptr || object->GetObjectDescriptor() != I::GetDescriptor()) {
        return nullptr;
    }
    return sptr<I>(dynamic_cast<I*>(object.GetRefPtr()));
}

// The base of a service that lives in this process: interface and address are one object.
template <typename I>
class IRemoteStub : public I, public IRemoteObject {
public:
    sptr<IRemoteObject> AsObject() override { return sptr<IRemoteObject>(this); }
    [[nodiscard]] std::string GetObjectDescriptor() const override { return I::GetDescriptor(); }

    bool AddDeathRecipient(const sptr<DeathRecipient>& recipient) override
    {
        if (recipient == nullptr) {
            return false;
        }
        {
            const std::lock_guard<std::mutex> lock(deathMutex_);
            if (!isDead_) {
                deathRecipients_.push_back(recipient);
                return true;
            }
        }
        recipient->OnRemoteDied(wptr<IRemoteObject>(this)); // who came too late learns it at once
        return false;
    }
    bool RemoveDeathRecipient(const sptr<DeathRecipient>& recipient) override
    {
        const std::lock_guard<std::mutex> lock(deathMutex_);
        const auto found = std::find(deathRecipients_.begin(), deathRecipients_.end(), recipient);
        if (found == deathRecipients_.end()) {
            return false;
        }
        deathRecipients_.erase(found);
        return true;
    }
    [[nodiscard]] bool IsObjectDead() const override
    {
        const std::lock_guard<std::mutex> lock(deathMutex_);
        return isDead_;
    }

    // Marks the object dead and tells every recipient, on the calling thread. A second call does nothing.
    void NotifyDeath()
    {
        std::vector<sptr<DeathRecipient>> recipients;
        {
            const std::lock_guard<std::mutex> lock(deathMutex_);
            isDead_ = true;
            recipients.swap(deathRecipients_);
        }
        for (const auto& recipient : recipients) {
            recipient->OnRemoteDied(wptr<IRemoteObject>(this));
        }
    }

private:
    mutable std::mutex deathMutex_;
    std::vector<sptr<DeathRecipient>> deathRecipients_;
    bool isDead_ = false;
};
} // namespace ORVX

#endif
