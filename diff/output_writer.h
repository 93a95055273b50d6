// Deflates and writes on threads of its own: deflating takes several times as long as decoding, and entries do not
// depend on each other.
#ifndef TAVOMEND_DIFF_OUTPUT_WRITER_H
#define TAVOMEND_DIFF_OUTPUT_WRITER_H

#include <atomic>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

#include "diff/difference_output.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
// The applier of archives owns one for each output: it decodes and puts steps in the order of the file. Each entry is
// deflated by one of two threads; what comes before its turn waits in memory, which bounds how far they run ahead. All
// operations are for the one thread that puts; nobody else may touch the output between Start and Finish.
class OutputWriter {
public:
    // What one step brings: bytes for the file as they are (level 0), or the next part of an entry that is deflated at
    // a level; isLast ends the entry.
    struct Step {
        std::vector<uint8_t> bytes;
        int level = 0;
        bool isLast = false;
    };

    // waitingMax: see APPLY_WAITING_USUAL.
    OutputWriter(DifferenceOutput& output, size_t waitingMax)
        : output_(output), size_(output.Room()), waitingMax_(waitingMax)
    {
    }
    // Waits for the threads; steps that still queue are dropped.
    ~OutputWriter();
    OutputWriter(const OutputWriter&) = delete;
    OutputWriter& operator=(const OutputWriter&) = delete;

    // False when there can be no thread.
    [[nodiscard]] bool Start();
    // Queues a step; waits while too much waits to be written. False when an earlier step has failed: then Finish says
    // why.
    [[nodiscard]] bool Put(Step step);
    // Bytes of the file that are written so far.
    [[nodiscard]] uint64_t Written() const { return written_; }
    // Waits until all is written and gives how that went: DIFFERENCE_ZLIB_DIFFERS when deflating gave more than the
    // file has room for. Nothing can be put afterwards.
    [[nodiscard]] DifferenceResult Finish();

private:
    // What is written at one go: an entry, or the bytes of one step as they are.
    struct Part {
        std::deque<Step> steps; // still to be deflated
        bool isBegun = false;
        std::deque<std::vector<uint8_t>> bytes; // for the file
        bool isDone = false;                    // no more bytes come
    };

    void Run();
    void RunUntilClosed();
    void Enqueue(Step step);
    [[nodiscard]] bool CanWrite() const;
    void WriteFront(std::unique_lock<std::mutex>& lock);
    void DeflateStep(std::unique_lock<std::mutex>& lock, RawDeflater& deflater, Part& part);
    void Fail(DifferenceResult result);
    void Close(bool isAbandoned);

    DifferenceOutput& output_; // only for whoever writes
    const uint64_t size_;
    const size_t waitingMax_;
    std::atomic<uint64_t> written_{0};

    std::vector<std::thread> threads_;
    std::mutex mutex_; // for all below
    std::condition_variable changed_;
    std::list<Part> parts_;       // in the order of the file; the first one may be written
    std::deque<Part*> untouched_; // the entries among them that no thread has taken
    size_t waiting_ = 0;          // bytes in parts
    bool isInEntry_ = false;      // the last part takes the next step
    bool isWriting_ = false;
    bool isClosed_ = false;
    bool isAbandoned_ = false;
    DifferenceResult result_ = DIFFERENCE_OK;
};
} // namespace ORVX::Difference

#endif
