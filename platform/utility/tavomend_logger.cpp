#include "platform/utility/tavomend_logger.h"

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t MAX_FILE_SIZE = 1024 * 1024;
constexpr size_t FILE_COUNT = 3;

std::shared_ptr<spdlog::logger> OpenLog()
{
    const std::string path = TAVOMEND_LOG_FILE;
    if (!FileUtils::MakeDirs(path.substr(0, path.rfind('/')))) {
        return nullptr;
    }
    try {
        auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(path, MAX_FILE_SIZE, FILE_COUNT);
        sink->set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
        auto logger = std::make_shared<spdlog::logger>("tavomend", std::move(sink));
        logger->flush_on(spdlog::level::trace);
        return logger;
    } catch (const spdlog::spdlog_ex&) {
        return nullptr; // a device without a log directory goes without this log
    }
}

struct InstanceHolder {
    std::mutex mutex;
    std::shared_ptr<TavomendLogger> instance;
};

InstanceHolder& Holder()
{
    // Never released: singletons that go at process end still log.
    static auto* const holder = new InstanceHolder;
    return *holder;
}
} // namespace

TavomendLogger::TavomendLogger() = default;
TavomendLogger::~TavomendLogger() = default;

std::string TavomendLogger::FormatLog(const std::string& message)
{
    std::string format;
    for (size_t at = 0; at < message.size();) {
        if (message[at] == '%' && message.compare(at + 1, 8, "{public}") == 0) {
            format += '%';
            at += 9;
        } else if (message[at] == '%' && message.compare(at + 1, 9, "{private}") == 0) {
            format += '%';
            at += 10;
        } else {
            format += message[at++];
        }
    }
    return format;
}

void TavomendLogger::OutputLog(const char* message, const char* fileName, const char* function, int line)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!isOpened_) {
        isOpened_ = true;
        logger_ = OpenLog();
    }
    if (logger_ != nullptr) {
        logger_->info("[{}({}):{}] {}", fileName, function, line, message);
    }
}

template <>
std::shared_ptr<TavomendLogger> DelayedSingleton<TavomendLogger>::GetInstance()
{
    InstanceHolder& holder = Holder();
    const std::lock_guard<std::mutex> lock(holder.mutex);
    if (holder.instance == nullptr) {
        holder.instance = std::make_shared<TavomendLogger>();
    }
    return holder.instance;
}

template <>
void DelayedSingleton<TavomendLogger>::DestroyInstance()
{
    InstanceHolder& holder = Holder();
    const std::lock_guard<std::mutex> lock(holder.mutex);
    holder.instance.reset();
}
} // namespace ORVX::TavomendEngine
