#include "bundle/bundle_death_recipient.h"

#include "common/log.h"

namespace ORVX::TavomendEngine {
BundleDeathRecipient::BundleDeathRecipient(const sptr<StatusReceiverHost>& statusReceiver)
    : statusReceiver_(statusReceiver)
{
}

void BundleDeathRecipient::OnRemoteDied(const wptr<IRemoteObject>& /*object*/)
{
    TAVOMEND_LOG_I("BundleManagerService is died");
    if (statusReceiver_ == nullptr) {
        TAVOMEND_LOG_W("statusReceiver_ is nullptr");
        return;
    }
    statusReceiver_->OnFinished(SERVICE_DIED_CODE, SERVICE_DIED_MESSAGE);
}
} // namespace ORVX::TavomendEngine
