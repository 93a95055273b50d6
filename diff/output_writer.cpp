#include "diff/output_writer.h"

#include <new>
#include <system_error>

namespace ORVX::Difference {
namespace {
constexpr size_t THREADS = 2;
constexpr size_t PARTS_MAX = 1024;
} // namespace

OutputWriter::~OutputWriter()
{
    Close(true);
}

bool OutputWriter::Start()
{
    try {
        while (threads_.size() < THREADS) {
            threads_.emplace_back([this] { Run(); });
        }
    } catch (const std::system_error&) {
        return !threads_.empty(); // one does it all
    }
    return true;
}

bool OutputWriter::Put(Step step)
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock,
                  [this] { return (waiting_ < waitingMax_ && parts_.size() < PARTS_MAX) || result_ != DIFFERENCE_OK; });
    if (result_ != DIFFERENCE_OK) {
        return false;
    }
    Enqueue(std::move(step));
    changed_.notify_all();
    return true;
}

void OutputWriter::Enqueue(Step step)
{
    waiting_ += step.bytes.size();
    if (!isInEntry_) {
        parts_.emplace_back();
    }
    Part& part = parts_.back();
    if (step.level == 0) {
        part.bytes.push_back(std::move(step.bytes));
        part.isDone = true;
        return;
    }
    if (!isInEntry_) {
        untouched_.push_back(&part);
    }
    isInEntry_ = !step.isLast;
    part.steps.push_back(std::move(step));
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
        isAbandoned_ = isAbandoned;
        changed_.notify_all();
    }
    for (std::thread& thread : threads_) {
        if (thread.joinable()) {
            thread.join();
        }
    }
}

void OutputWriter::Run()
{
    try {
        RunUntilClosed();
    } catch (const std::bad_alloc&) {
        const std::lock_guard<std::mutex> lock(mutex_);
        Fail(DIFFERENCE_NO_MEMORY);
    }
}

// Writing comes first: it makes room. An entry comes whole before anything behind it does, so that whoever waits for
// its next step never keeps others from being written.
void OutputWriter::RunUntilClosed()
{
    RawDeflater deflater;
    Part* entry = nullptr; // that this thread deflates
    std::unique_lock<std::mutex> lock(mutex_);
    while (result_ == DIFFERENCE_OK && !isAbandoned_) {
        if (CanWrite()) {
            WriteFront(lock);
        } else if (entry != nullptr && !entry->steps.empty()) {
            const bool isLast = entry->steps.front().isLast;
            DeflateStep(lock, deflater, *entry);
            entry = isLast ? nullptr : entry;
        } else if (entry == nullptr && !untouched_.empty()) {
            entry = untouched_.front();
            untouched_.pop_front();
        } else if (isClosed_) {
            return; // who still deflates writes the rest
        } else {
            changed_.wait(lock);
        }
    }
}

bool OutputWriter::CanWrite() const
{
    return !isWriting_ && !parts_.empty() && (parts_.front().isDone || !parts_.front().bytes.empty());
}

void OutputWriter::WriteFront(std::unique_lock<std::mutex>& lock)
{
    Part& part = parts_.front();
    if (part.bytes.empty()) {
        parts_.pop_front();
        changed_.notify_all();
        return;
    }
    const std::vector<uint8_t> bytes = std::move(part.bytes.front());
    part.bytes.pop_front();
    isWriting_ = true;
    lock.unlock();
    // Base and difference are intact: only a deflate that writes other bytes can run over the end.
    const bool isTooMuch = bytes.size() > output_.Room();
    const bool isWritten = !isTooMuch && output_.Write({bytes.data(), bytes.size()});
    written_ = size_ - output_.Room();
    lock.lock();
    isWriting_ = false;
    waiting_ -= bytes.size();
    if (!isWritten) {
        Fail(isTooMuch ? DIFFERENCE_ZLIB_DIFFERS : DIFFERENCE_OUTPUT_UNWRITABLE);
    }
    changed_.notify_all();
}

void OutputWriter::DeflateStep(std::unique_lock<std::mutex>& lock, RawDeflater& deflater, Part& part)
{
    const Step step = std::move(part.steps.front());
    part.steps.pop_front();
    const bool isFirst = !part.isBegun;
    part.isBegun = true;
    lock.unlock();
    std::deque<std::vector<uint8_t>> deflated;
    size_t size = 0;
    const ByteView plain = {step.bytes.data(), step.bytes.size()};
    const bool isDeflated =
        (!isFirst || deflater.Begin(step.level)) && deflater.Write(plain, step.isLast, [&](ByteView bytes) {
            deflated.emplace_back(bytes.data, bytes.data + bytes.size);
            size += bytes.size;
            return true;
        });
    lock.lock();
    if (!isDeflated) {
        Fail(DIFFERENCE_NO_MEMORY);
    }
    waiting_ += size;
    waiting_ -= step.bytes.size();
    std::move(deflated.begin(), deflated.end(), std::back_inserter(part.bytes));
    part.isDone = step.isLast;
    changed_.notify_all();
}

// The first failure counts.
void OutputWriter::Fail(DifferenceResult result)
{
    result_ = result_ == DIFFERENCE_OK ? result : result_;
    changed_.notify_all();
}
} // namespace ORVX::Difference
