// Deflates and writes on a thread of its own, so that a second core takes that off the one that decodes.
#ifndef TAVOMEND_DIFF_OUTPUT_WRITER_H
#define TAVOMEND_DIFF_OUTPUT_WRITER_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "diff/difference_output.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
// The applier of archives owns one for each output: it decodes and puts steps, the writer's thread takes them in order.
// All operations are for the one thread that puts; nobody else may touch the output between Start and Finish.
class OutputWriter {
public:
    // What one step brings: bytes for the file as they are (level 0), or the next part of an entry that is deflated at
    // a level; isLast ends the entry.
    struct Step {
        std::vector<uint8_t> bytes;
        int level = 0;
        bool isLast = false;
    };

    explicit OutputWriter(DifferenceOutput& output) : output_(output), size_(output.Room()) {}
    // Waits for the thread; steps that still queue are dropped.
    ~OutputWriter();
    OutputWriter(const OutputWriter&) = delete;
    OutputWriter& operator=(const OutputWriter&) = delete;

    // False when there can be no thread.
    [[nodiscard]] bool Start();
    // Queues a step; waits while the queue is full. False when an earlier step has failed: then Finish says why.
    [[nodiscard]] bool Put(Step step);
    // Bytes of the file that are written so far.
    [[nodiscard]] uint64_t Written() const { return written_; }
    // Waits until all is written and gives how that went: DIFFERENCE_ZLIB_DIFFERS when deflating gave more than the
    // file has room for. Nothing can be put afterwards.
    [[nodiscard]] DifferenceResult Finish();

private:
    void Run();
    [[nodiscard]] DifferenceResult Write(const Step& step);
    [[nodiscard]] DifferenceResult Deflate(const Step& step);
    void Close(bool isAbandoned);

    DifferenceOutput& output_;
    const uint64_t size_;
    RawDeflater deflater_;
    bool isInEntry_ = false;
    std::atomic<uint64_t> written_{0};

    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Step> queue_;
    size_t queuedBytes_ = 0;
    bool isClosed_ = false;
    DifferenceResult result_ = DIFFERENCE_OK;
};
} // namespace ORVX::Difference

#endif
