// Waits for the bundle service's verdict on one install.
#ifndef TAVOMEND_TESTS_SUPPORT_INSTALL_VERDICT_H
#define TAVOMEND_TESTS_SUPPORT_INSTALL_VERDICT_H

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "platform/api/bundle_mgr.h"

namespace ORVX::TavomendTest {
// A second verdict fails the test.
class VerdictReceiver : public StatusReceiverHost {
public:
    void OnStatusNotify(int32_t progress) override { EXPECT_TRUE(progress >= 0 && progress <= 100) << progress; }
    void OnFinished(int32_t code, const std::string& message) override
    {
        EXPECT_FALSE(isFinished_.exchange(true)) << "two verdicts";
        promise_.set_value({code, message});
    }
    void SetStreamInstallId(uint32_t /*installId*/) override {}
    std::pair<int32_t, std::string> Wait() { return promise_.get_future().get(); }

private:
    std::atomic<bool> isFinished_{false};
    std::promise<std::pair<int32_t, std::string>> promise_;
};

// Installs, replacing, and gives the verdict.
inline std::pair<int32_t, std::string> InstallAndWait(IBundleMgr& service, const std::vector<std::string>& paths,
                                                      int32_t userId, InstallFlag flag = InstallFlag::REPLACE_EXISTING)
{
    const auto receiver = MakeSptr<VerdictReceiver>();
    InstallParam param;
    param.installFlag = flag;
    param.userId = userId;
    EXPECT_EQ(service.GetBundleInstaller()->Install(paths, param, receiver), 0);
    return receiver->Wait();
}
} // namespace ORVX::TavomendTest

#endif
