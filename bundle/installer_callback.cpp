#include "bundle/installer_callback.h"

#include <chrono>

#include "common/log.h"

namespace ORVX::TavomendEngine {
namespace {
template <typename T>
T WaitFor(std::promise<T>& signal, int32_t timeoutSeconds, const T& onTimeout)
{
    std::future<T> verdict = signal.get_future();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    return verdict.wait_until(deadline) == std::future_status::ready ? verdict.get() : onTimeout;
}
} // namespace

InstallerCallback::InstallerCallback(int32_t timeoutSeconds) : timeoutSeconds_(timeoutSeconds) {}

void InstallerCallback::OnFinished(int32_t resultCode, const std::string& resultMsg)
{
    TAVOMEND_LOG_I("on finished result is %{public}d, %{public}s", resultCode, resultMsg.c_str());
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isSet_) {
        TAVOMEND_LOG_W("resultCodeSignal_ is set");
        return;
    }
    isSet_ = true;
    resultCodeSignal_.set_value(resultCode);
    resultMsgSignal_.set_value(resultMsg);
}

void InstallerCallback::OnStatusNotify(int32_t progress)
{
    TAVOMEND_LOG_I("on OnStatusNotify is %{public}d", progress);
}

void InstallerCallback::SetStreamInstallId(uint32_t /*installId*/) {}

int32_t InstallerCallback::GetResultCode()
{
    return WaitFor(resultCodeSignal_, timeoutSeconds_, INSTALL_WAIT_TIMEOUT_CODE);
}

std::string InstallerCallback::GetResultMsg()
{
    return WaitFor(resultMsgSignal_, timeoutSeconds_, std::string());
}
} // namespace ORVX::TavomendEngine
