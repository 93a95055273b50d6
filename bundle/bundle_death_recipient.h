// Ends the wait of an install whose bundle service dies.
#ifndef TAVOMEND_BUNDLE_BUNDLE_DEATH_RECIPIENT_H
#define TAVOMEND_BUNDLE_BUNDLE_DEATH_RECIPIENT_H

#include "platform/api/remote_object.h"
#include "platform/api/status_receiver.h"

namespace ORVX::TavomendEngine {
// The verdict that a dead service counts as.
constexpr int32_t SERVICE_DIED_CODE = 9568391;
constexpr const char* SERVICE_DIED_MESSAGE = "[BUNDLER_MANAGER_SERVICE_UNAVAILABLE]";

// Added by the bundle proxy to the installer's remote object, one for each install, and gone with it. A death after the
// verdict changes nothing.
class BundleDeathRecipient : public IRemoteObject::DeathRecipient {
public:
    // statusReceiver: of the install; empty is allowed, the death is only logged then.
    explicit BundleDeathRecipient(const sptr<StatusReceiverHost>& statusReceiver);
    // Gives the receiver the verdict of a dead service. On any thread.
    void OnRemoteDied(const wptr<IRemoteObject>& object) override;

private:
    sptr<StatusReceiverHost> statusReceiver_;
};
} // namespace ORVX::TavomendEngine

#endif
