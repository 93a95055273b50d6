// The error codes of one engine operation, and their text in the status record.
#ifndef TAVOMEND_ERROR_APP_ERROR_CODE_H
#define TAVOMEND_ERROR_APP_ERROR_CODE_H

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/utility/delayed_singleton.h"

namespace ORVX::TavomendEngine {
// The aggregate of the operation under way.
struct AppErrCodeInfo {
    int32_t stage = -1; // 0 init stage, 1 system-service stage, -1 no operation
    int32_t state = -1; // 0 load, 1 apply, -1 no operation
    std::unordered_map<int32_t, std::vector<int32_t>> codes;
};

// Process-wide. The facade opens it with Init and closes it with SetStop; every room records into it. Nothing here
// fails. The facade serialises load and apply, the only operations that open and close it; every operation may be
// called from any thread all the same: a query for the version, whose failed check records, runs beside them.
class AppErrorCode {
public:
    AppErrorCode();
    ~AppErrorCode();
    AppErrorCode(const AppErrorCode&) = delete;
    AppErrorCode& operator=(const AppErrorCode&) = delete;

    // Opens an operation. preStatus: the error text of the operation before, kept as the first piece of history when it
    // is not empty. Ignored while an operation is open. Codes recorded before are kept: the query for the version that
    // comes first in an operation may already have failed.
    void Init(int32_t stage, int32_t state, const std::string& preStatus);
    // key: ERROR_KEY_* or an application's sequence number.
    void AddErrMsgs(const int32_t& key, const int32_t& code);
    // Notes the key alone.
    void AddErrMsgs(const int32_t& key);
    // Closes the operation: its text joins the history, its codes are forgotten. Without an operation open the text
    // says stage and state -1.
    void SetStop();
    // "1|1(100|30,20)": stage, state, and for each key its codes, the last added first; a key alone is "(100)".
    [[nodiscard]] std::string ToString(const AppErrCodeInfo& info) const;
    // The history joined by ";", cut to its last 256 characters; empty when there is none.
    [[nodiscard]] std::string GetAppErrorCode() const;
    // The last 256 characters of a longer text: the end tells of the latest operations.
    [[nodiscard]] std::string DisposalErrCode(const std::string& text) const;

private:
    AppErrCodeInfo info_;
    std::vector<std::string> history_;
    bool started_ = false;
    mutable std::mutex mutex_;
};
} // namespace ORVX::TavomendEngine

#endif
