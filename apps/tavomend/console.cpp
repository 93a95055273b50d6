#include "apps/tavomend/console.h"

#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace ORVX::TavomendCli {
namespace {
constexpr int BAR_WIDTH = 30;
constexpr int SCHEMA = 1;
} // namespace

Console::Console(bool isJson)
    : isJson_(isJson), isTerminal_(!isJson && isatty(STDOUT_FILENO) != 0),
      hasColour_(isatty(STDERR_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr)
{
}

void Console::Say(const std::string& text) const
{
    (isJson_ ? std::cerr : std::cout) << text << (text.empty() || text.back() != '\n' ? "\n" : "") << std::flush;
}

int Console::Fail(const std::string& text) const
{
    Emit({{"event", "error"}, {"message", text}});
    std::cerr << (hasColour_ ? "\033[31mtavomend:\033[0m " : "tavomend: ") << text << std::endl;
    return EXIT_FAILED;
}

void Console::Emit(const nlohmann::ordered_json& object) const
{
    if (!isJson_) {
        return;
    }
    nlohmann::ordered_json line = {{"schema", SCHEMA}};
    line.update(object);
    std::cout << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
}

void Console::Progress(const std::string& step, int32_t done, int32_t total) const
{
    Emit({{"event", "progress"}, {"step", step}, {"done", done}, {"total", total}});
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
} // namespace ORVX::TavomendCli
