#include "apps/common/console.h"

#include <cstdlib>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <unistd.h>

#include "apps/common/printable.h"

namespace ORVX::Cli {
namespace {
constexpr int BAR_WIDTH = 30;
constexpr int SCHEMA = 1;

// A bar that went on in the next row of the terminal could not be written over.
std::string CutToTerminal(const std::string& bar)
{
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || bar.size() < size.ws_col) {
        return bar;
    }
    size_t end = size.ws_col - 1U;
    while (end > 0 && (static_cast<unsigned char>(bar[end]) & 0xC0U) == 0x80) {
        --end; // not within a character
    }
    return bar.substr(0, end);
}
} // namespace

Console::Console(const char* program, bool isJson)
    : program_(program), isJson_(isJson), isTerminal_(!isJson && isatty(STDOUT_FILENO) != 0),
      hasColour_(isatty(STDERR_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr),
      hasBar_(!isJson && isatty(STDERR_FILENO) != 0)
{
}

void Console::Write(std::ostream& stream, const std::string& text) const
{
    TakeBarAway();
    const std::lock_guard<std::mutex> lock(mutex_);
    stream << text << std::flush;
}

void Console::Say(const std::string& text) const
{
    const char* end = text.empty() || text.back() != '\n' ? "\n" : "";
    Write(isJson_ ? std::cerr : std::cout, PrintableLines(text) + end);
}

void Console::Remark(const std::string& text) const
{
    Write(std::cerr, Printable(text) + "\n");
}

void Console::Note(const std::string& text) const
{
    Emit("note", {{"message", Printable(text)}});
    Remark("note: " + text);
}

int Console::Fail(const std::string& text, const Failure& kind) const
{
    Emit("error", {{"error", {{"code", kind.code}, {"message", Printable(text)}}}});
    const std::string name = std::string(program_) + ":";
    Write(std::cerr, (hasColour_ ? "\033[31m" + name + "\033[0m" : name) + " " + Printable(text) + "\n");
    return kind.exitCode;
}

void Console::Emit(const char* event, const nlohmann::ordered_json& fields) const
{
    if (!isJson_) {
        return;
    }
    nlohmann::ordered_json line = {{"schema", SCHEMA}, {"event", event}};
    line.update(fields);
    Write(std::cout, line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

void Console::ShowBar(const std::string& bar) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    std::cerr << '\r' << CutToTerminal(Printable(bar)) << "\033[K" << std::flush;
    isBarShown_ = true;
}

void Console::TakeBarAway() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isBarShown_) {
        std::cerr << "\r\033[K" << std::flush;
        isBarShown_ = false;
    }
}

void Console::Progress(const std::string& step, int32_t done, int32_t total) const
{
    Emit("progress", {{"step", step}, {"done", done}, {"total", total}, {"unit", "applications"}});
    if (isJson_) {
        return;
    }
    const std::string count = step + " " + std::to_string(done) + " of " + std::to_string(total);
    if (!isTerminal_) {
        Say(count);
        return;
    }
    const int filled = total > 0 ? BAR_WIDTH * done / total : BAR_WIDTH;
    Write(std::cout, "\r[" + std::string(static_cast<size_t>(filled), '#') +
                         std::string(static_cast<size_t>(BAR_WIDTH - filled), '.') + "] " + count +
                         (done >= total ? "\n" : ""));
}
} // namespace ORVX::Cli
