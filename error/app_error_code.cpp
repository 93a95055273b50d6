#include "error/app_error_code.h"

#include "common/log.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr int32_t MAX_TEXT_LENGTH = 256;
} // namespace

AppErrorCode::AppErrorCode()
{
    TAVOMEND_LOG_I("app errorCode instance is created");
}

AppErrorCode::~AppErrorCode()
{
    TAVOMEND_LOG_I("app errorCode instance is release");
}

void AppErrorCode::Init(int32_t stage, int32_t state, const std::string& preStatus)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (started_) {
        return;
    }
    info_.stage = stage;
    info_.state = state;
    history_.clear();
    if (!preStatus.empty()) {
        history_.push_back(preStatus);
    }
    started_ = true;
}

void AppErrorCode::AddErrMsgs(const int32_t& key, const int32_t& code)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    info_.codes[key].push_back(code);
}

void AppErrorCode::AddErrMsgs(const int32_t& key)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    info_.codes.try_emplace(key);
}

void AppErrorCode::SetStop()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    history_.push_back(ToString(info_));
    started_ = false;
    info_ = AppErrCodeInfo();
}

std::string AppErrorCode::ToString(const AppErrCodeInfo& info) const
{
    std::string text = std::to_string(info.stage) + "|" + std::to_string(info.state);
    for (const auto& [key, codes] : info.codes) {
        text += "(" + std::to_string(key) + "|";
        for (auto code = codes.rbegin(); code != codes.rend(); ++code) {
            text += std::to_string(*code) + ",";
        }
        text.pop_back(); // the last comma, or the bar of a key without codes: clients know "(100)"
        text += ")";
    }
    return text;
}

std::string AppErrorCode::GetAppErrorCode() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string result;
    for (const auto& text : history_) {
        result += text + ";";
    }
    if (result.empty()) {
        TAVOMEND_LOG_I("GetAppErrorCode, result is empty");
        return result;
    }
    result.pop_back();
    TAVOMEND_LOG_I("GetAppErrorCode, result: %{public}s", result.c_str());
    return DisposalErrCode(result);
}

std::string AppErrorCode::DisposalErrCode(const std::string& text) const
{
    std::string result = text;
    if (static_cast<int32_t>(text.length()) > MAX_TEXT_LENGTH) {
        result = text.substr(text.length() - MAX_TEXT_LENGTH);
    }
    TAVOMEND_LOG_I("DisposalErrCode end, result: %{public}s", result.c_str());
    return result;
}
} // namespace ORVX::TavomendEngine
