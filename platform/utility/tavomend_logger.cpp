#include "platform/utility/tavomend_logger.h"

#include <fcntl.h>
#include <spdlog/details/null_mutex.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>
#include <utility>

#include "platform/utility/file_layer.h"
#include "platform/utility/file_utils.h"

namespace ORVX::TavomendEngine {
namespace {
constexpr size_t MAX_FILE_SIZE = 1024 * 1024;
constexpr size_t FILE_COUNT = 3;

std::string LogPath(size_t age)
{
    const std::string path = TAVOMEND_LOG_FILE;
    const size_t dot = path.rfind('.');
    return age == 0 ? path : path.substr(0, dot) + "." + std::to_string(age) + path.substr(dot);
}

// Not the layer in force: the log goes on while a test's is.
FileLayer& Layer()
{
    return FileLayer::GetReal();
}

// Appends to the log file and rotates it. Not one of spdlog's sinks: those write through a link that somebody with less
// rights has put in the file's place.
class LogSink : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
public:
    LogSink() { Open(); }
    ~LogSink() override { Layer().Close(file_); }
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        if (size_ > 0 && size_ + line.size() > MAX_FILE_SIZE) {
            Rotate();
        }
        const ssize_t count = Layer().Write(file_, line.data(), line.size());
        size_ += count > 0 ? static_cast<size_t>(count) : 0;
    }
    void flush_() override {}

private:
    static constexpr int FLAGS = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    static constexpr mode_t MODE = 0666; // before the umask

    void Open()
    {
        const std::string path = LogPath(0);
        struct stat status {};
        file_ = Layer().Open(path, FLAGS, MODE);
        // Anything but a file with this one name is not the log.
        if (file_ < 0 || Layer().Fstat(file_, status) != 0 || !S_ISREG(status.st_mode) || status.st_nlink != 1) {
            Layer().Close(file_);
            Layer().Unlink(path);
            status.st_size = 0;
            file_ = Layer().Open(path, FLAGS | O_EXCL, MODE);
        }
        size_ = static_cast<size_t>(status.st_size);
        FileUtils::GiveAwayInInitStage(path);
    }

    void Rotate()
    {
        Layer().Close(std::exchange(file_, -1));
        for (size_t age = FILE_COUNT; age > 0; --age) {
            Layer().Rename(LogPath(age - 1), LogPath(age));
        }
        Open();
    }

    int file_ = -1;
    size_t size_ = 0;
};

std::shared_ptr<spdlog::logger> OpenLog()
{
    const std::string path = TAVOMEND_LOG_FILE;
    if (!FileUtils::MakeDirs(path.substr(0, path.rfind('/')))) {
        return nullptr;
    }
    try {
        auto sink = std::make_shared<LogSink>(); // a device without a log file goes without this log
        sink->set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
        return std::make_shared<spdlog::logger>("tavomend", std::move(sink));
    } catch (const spdlog::spdlog_ex&) {
        return nullptr;
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
