#include "apps/common/console.h"

#include <cstdlib>
#include <iostream>
#include <unistd.h>

#include "apps/common/printable.h"

namespace ORVX::Cli {
namespace {
constexpr int BAR_WIDTH = 30;
constexpr int SCHEMA = 1;
} // namespace

Console::Console(const char* program, bool isJson)
    : program_(program), isJson_(isJson), isTerminal_(!isJson && isatty(STDOUT_FILENO) != 0),
      hasColour_(isatty(STDERR_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr)
{
}

void Console::Say(const std::string& text) const
{
    (isJson_ ? std::cerr : std::cout) << PrintableLines(text) << (text.empty() || text.back() != '\n' ? "\n" : "")
                                      << std::flush;
}

int Console::Fail(const std::string& text, const Failure& kind) const
{
    Emit("error", {{"error", {{"code", kind.code}, {"message", text}}}});
    std::cerr << (hasColour_ ? "\033[31m" : "") << program_ << ":" << (hasColour_ ? "\033[0m " : " ") << Printable(text)
              << std::endl;
    return kind.exitCode;
}

void Console::Emit(const char* event, const nlohmann::ordered_json& fields) const
{
    if (!isJson_) {
        return;
    }
    nlohmann::ordered_json line = {{"schema", SCHEMA}, {"event", event}};
    line.update(fields);
    std::cout << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

void Console::Progress(const std::string& step, int32_t done, int32_t total) const
{
    Emit("progress", {{"step", step}, {"done", done}, {"total", total}});
    if (isJson_) {
        return;
    }
    const std::string count = step + " " + std::to_string(done) + " of " + std::to_string(total);
    if (!isTerminal_) {
        Say(count);
        return;
    }
    const int filled = total > 0 ? BAR_WIDTH * done / total : BAR_WIDTH;
    std::cout << "\r[" << std::string(static_cast<size_t>(filled), '#')
              << std::string(static_cast<size_t>(BAR_WIDTH - filled), '.') << "] " << count
              << (done >= total ? "\n" : "") << std::flush;
}
} // namespace ORVX::Cli
