// Waits for the verdict of one install.
#ifndef TAVOMEND_BUNDLE_INSTALLER_CALLBACK_H
#define TAVOMEND_BUNDLE_INSTALLER_CALLBACK_H

#include <cstdint>
#include <future>
#include <mutex>
#include <string>

#include "platform/api/status_receiver.h"

namespace ORVX::TavomendEngine {
// What GetResultCode gives when no verdict came in time.
constexpr int32_t INSTALL_WAIT_TIMEOUT_CODE = 9568392;

// Handed to the installer by the bundle proxy, one for each install. The verdict arrives on a thread of the bundle
// service (or of its death notice) and counts once: whatever comes after the first is only logged.
class InstallerCallback : public StatusReceiverHost {
public:
    // timeoutSeconds: how long each of the two getters waits.
    explicit InstallerCallback(int32_t timeoutSeconds);

    // The verdict, 0 for installed; wakes who waits. From any thread.
    void OnFinished(int32_t resultCode, const std::string& resultMsg) override;
    // Logs the progress.
    void OnStatusNotify(int32_t progress) override;
    // Plain installs have no stream: does nothing.
    void SetStreamInstallId(uint32_t installId) override;

    // The verdict's code, or INSTALL_WAIT_TIMEOUT_CODE. At most one call.
    [[nodiscard]] int32_t GetResultCode();
    // The verdict's message, empty when none came in time. At most one call.
    [[nodiscard]] std::string GetResultMsg();

private:
    std::promise<int32_t> resultCodeSignal_;
    std::promise<std::string> resultMsgSignal_;
    int32_t timeoutSeconds_;
    bool isSet_ = false;
    std::mutex mutex_;
};
} // namespace ORVX::TavomendEngine

#endif
