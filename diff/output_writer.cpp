#include "diff/output_writer.h"

#include <system_error>

namespace ORVX::Difference {
namespace {
// Entries differ in what they cost to decode and to deflate; the queue evens that out.
constexpr size_t QUEUED_BYTES_MAX = size_t{1} << 20;
constexpr size_t QUEUED_STEPS_MAX = 1024;
} // namespace

OutputWriter::~OutputWriter()
{
    Close(true);
}

bool OutputWriter::Start()
{
    try {
        thread_ = std::thread([this] { Run(); });
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

bool OutputWriter::Put(Step step)
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] {
        return (queuedBytes_ < QUEUED_BYTES_MAX && queue_.size() < QUEUED_STEPS_MAX) || result_ != DIFFERENCE_OK;
    });
    if (result_ != DIFFERENCE_OK) {
        return false;
    }
    queuedBytes_ += step.bytes.size();
    queue_.push_back(std::move(step));
    changed_.notify_all();
    return true;
}

DifferenceResult OutputWriter::Finish()
{
    Close(false);
    return result_;
}

void OutputWriter::Close(bool isAbandoned)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isClosed_ = true;
        if (isAbandoned) {
            queue_.clear();
        }
        changed_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void OutputWriter::Run()
{
    DifferenceResult result = DIFFERENCE_OK;
    while (result == DIFFERENCE_OK) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return !queue_.empty() || isClosed_; });
        if (queue_.empty()) {
            return;
        }
        const Step step = std::move(queue_.front());
        queue_.pop_front();
        queuedBytes_ -= step.bytes.size();
        changed_.notify_all();
        lock.unlock();
        result = Write(step);
        written_ = size_ - output_.Room();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    result_ = result;
    changed_.notify_all();
}

DifferenceResult OutputWriter::Write(const Step& step)
{
    if (step.level != 0) {
        return Deflate(step);
    }
    const ByteView bytes = {step.bytes.data(), step.bytes.size()};
    if (bytes.size > output_.Room()) {
        return DIFFERENCE_ZLIB_DIFFERS;
    }
    return output_.Write(bytes) ? DIFFERENCE_OK : DIFFERENCE_OUTPUT_UNWRITABLE;
}

DifferenceResult OutputWriter::Deflate(const Step& step)
{
    if (!isInEntry_ && !deflater_.Begin(step.level)) {
        return DIFFERENCE_NO_MEMORY;
    }
    isInEntry_ = !step.isLast;
    DifferenceResult result = DIFFERENCE_OK;
    const ByteView plain = {step.bytes.data(), step.bytes.size()};
    const bool isWritten = deflater_.Write(plain, step.isLast, [this, &result](ByteView deflated) {
        // Base and difference are intact: only a deflate that writes other bytes can run over the end.
        if (deflated.size > output_.Room()) {
            result = DIFFERENCE_ZLIB_DIFFERS;
        } else if (!output_.Write(deflated)) {
            result = DIFFERENCE_OUTPUT_UNWRITABLE;
        }
        return result == DIFFERENCE_OK;
    });
    return isWritten || result != DIFFERENCE_OK ? result : DIFFERENCE_NO_MEMORY;
}
} // namespace ORVX::Difference
