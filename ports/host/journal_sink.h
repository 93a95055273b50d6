// The journal of a machine that systemd runs: the platform log's lines, and what a host reports, with fields to look
// for.
#ifndef TAVOMEND_PORTS_HOST_JOURNAL_SINK_H
#define TAVOMEND_PORTS_HOST_JOURNAL_SINK_H

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "handles/unique_descriptor.h"
#include "ports/host/log_sink.h"

namespace ORVX::TavomendHost {
constexpr const char* JOURNAL_SOCKET = "/run/systemd/journal/socket";

// Each entry is one datagram in the journal's own format: MESSAGE, PRIORITY, SYSLOG_IDENTIFIER, TAVOMEND_OPERATION, and
// of lines that tell their place CODE_FILE, CODE_FUNC and CODE_LINE. The socket stays open over a change of root, and
// in processes that are forked off. An entry waits for its place in the queue, a second at most; as long as the
// journal then takes nothing, entries are lost at once. Safe from any thread.
class JournalSink : public ILogSink {
public:
    // Null where no journal listens. operation: what this process does, of the command line.
    [[nodiscard]] static std::shared_ptr<JournalSink> Open(const std::string& operation,
                                                           const std::string& socketPath = JOURNAL_SOCKET);

    void Take(const LogLine& line) const override;
    // A name, in capital letters, and its value. Fields without a value are left out.
    using Fields = std::vector<std::pair<std::string, std::string>>;
    // level: a KalogLevel.
    void Report(int32_t level, const std::string& message, const Fields& fields) const;

private:
    JournalSink(Handles::UniqueDescriptor socket, std::string operation);

    const Handles::UniqueDescriptor socket_;
    const std::string operation_;
    mutable std::atomic<bool> isStuck_{false};
};
} // namespace ORVX::TavomendHost

#endif
