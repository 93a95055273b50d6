#include "apps/tavomend/session.h"

#include "apps/common/stop_request.h"
#include "apps/tavomend/reports.h"
#include "platform/api/kalog.h"
#include "platform/utility/file_utils.h"
#include "platform/utility/tavomend_kalog_wrapper.h"
#include "ports/host/bundle_store.h"
#include "ports/host/host_log.h"

namespace ORVX::TavomendCli {
using TavomendEngine::FileUtils;
using TavomendHosting::HostEvent;
using TavomendHosting::Outcome;

namespace {
int32_t StderrLevelOf(int verbosity)
{
    switch (verbosity) {
    case 0:
        return TavomendHost::HOST_LOG_NOTHING;
    case 1:
        return KALOG_WARN;
    case 2:
        return KALOG_INFO;
    default:
        return KALOG_DEBUG;
    }
}

int32_t LevelOf(HostEvent::Kind kind)
{
    return kind == HostEvent::Kind::ERROR ? KALOG_ERROR : kind == HostEvent::Kind::WARNING ? KALOG_WARN : KALOG_INFO;
}
} // namespace

bool Session::EnterRoot()
{
    journal_ = TavomendHost::JournalSink::Open(operation_); // its socket is the machine's, not the device's
    if (journal_ != nullptr) {
        TavomendHost::HostLog::SetSink(journal_);
    } else {
        TavomendHost::HostLog::OpenSyslog();
    }
    TavomendHost::HostLog::SetStderrLevel(StderrLevelOf(options_.verbosity));
    if (options_.verbosity > 2) {
        TavomendEngine::TavomendKalogWrapper::SetLevel(TavomendEngine::TAVOMEND_LOG_DEBUG);
    }
    if (options_.root == "/") {
        return true;
    }
    std::string error;
    root_ = TavomendHost::DeviceRoot::Enter(options_.root, error);
    if (root_ == nullptr) {
        console_.Fail(error);
    }
    return root_ != nullptr;
}

bool Session::CheckDevice() const
{
    if (!FileUtils::FileIsExist(options_.root + TavomendHost::BUNDLE_STORE_PATH)) {
        console_.Fail(options_.root + " is no device; `tavomend --root DIR device init` makes one in a folder");
        return false;
    }
    return true;
}

int Session::Lock()
{
    const auto result =
        lock_.Take(DeviceFolder(), operation_, options_.wait, [] { return Cli::StopRequest::Signal() != 0; });
    return result.outcome == Outcome::DONE ? EXIT_DONE : FailAs(console_, result.outcome, result.reason);
}

TavomendHosting::EventObserver::Log Session::Events() const
{
    return [this](const HostEvent& event) {
        if (journal_ != nullptr) {
            journal_->Report(LevelOf(event.kind), event.text,
                             {{"TAVOMEND_BUNDLE", event.bundleName},
                              {"TAVOMEND_CODE", event.code ? std::to_string(*event.code) : ""}});
        }
    };
}

bool Session::EnterDevice()
{
    return CheckDevice() && EnterRoot();
}

std::unique_ptr<IDevicePlatform> Session::StartPlatform(ServiceStart start) const
{
    std::string error;
    auto platform = port_.Start(start, error);
    if (platform == nullptr) {
        console_.Fail(error);
    }
    return platform;
}
} // namespace ORVX::TavomendCli
