#include "apps/common/progress.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace ORVX::Cli {
namespace {
constexpr auto BETWEEN_BARS = std::chrono::milliseconds(100);
constexpr auto BETWEEN_LINES = std::chrono::seconds(1);
constexpr size_t BAR_WIDTH = 30;
constexpr double MEGABYTE = 1e6;
constexpr double KILOBYTE = 1e3;

std::string HowFar(uint64_t done, uint64_t total)
{
    const bool isLarge = static_cast<double>(total) >= MEGABYTE;
    const double unit = isLarge ? MEGABYTE : KILOBYTE;
    char text[64];
    snprintf(text, sizeof(text), "%.1f of %.1f %s", static_cast<double>(done) / unit, static_cast<double>(total) / unit,
             isLarge ? "MB" : "kB");
    return text;
}

size_t FilledOf(uint64_t done, uint64_t total)
{
    const double share = total == 0 ? 1 : static_cast<double>(done) / static_cast<double>(total);
    return static_cast<size_t>(std::min(share, 1.0) * static_cast<double>(BAR_WIDTH));
}
} // namespace

Progress::Progress(const Console& console, Clock clock)
    : console_(console), clock_(std::move(clock)), next_(clock_() + BETWEEN_LINES)
{
}

Progress::~Progress()
{
    console_.TakeBarAway();
}

void Progress::Report(const std::string& step, uint64_t done, uint64_t total)
{
    const auto now = clock_();
    const bool isNewOnBar = console_.HasBar() && step != step_;
    const bool isEndOfShown = step == step_ && done >= total && !isEndShown_;
    if (now < next_ && !isNewOnBar && !isEndOfShown) {
        return;
    }
    step_ = step;
    isEndShown_ = done >= total;
    const std::string text = step + ", " + HowFar(done, total);
    if (console_.HasBar()) {
        next_ = now + BETWEEN_BARS;
        const size_t filled = FilledOf(done, total);
        console_.ShowBar("[" + std::string(filled, '#') + std::string(BAR_WIDTH - filled, '.') + "] " + text);
        return;
    }
    next_ = now + BETWEEN_LINES;
    console_.Emit("progress", {{"step", step}, {"done", done}, {"total", total}, {"unit", "bytes"}});
    if (!console_.IsJson()) {
        console_.Remark(text);
    }
}
} // namespace ORVX::Cli
