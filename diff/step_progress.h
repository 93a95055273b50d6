// How far the maker has come, told in steps.
#ifndef TAVOMEND_DIFF_STEP_PROGRESS_H
#define TAVOMEND_DIFF_STEP_PROGRESS_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace ORVX::Difference {
// step: "inflate", "match", "encode", "compress" or "verify"; done counts up to total, both in bytes that the step goes
// through. Called from any thread, one at a time.
using DifferenceProgress = std::function<void(const std::string& step, uint64_t done, uint64_t total)>;

// Adds up what the maker's threads have done. Safe from any thread.
class StepProgress {
public:
    // listener may be empty; it must outlive this.
    explicit StepProgress(const DifferenceProgress& listener) : listener_(listener) {}

    // A step stands at so many bytes.
    void Tell(const char* step, uint64_t done, uint64_t total)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        Set(step, done, total);
    }
    // A step has gone through so many bytes more.
    void Advance(const char* step, uint64_t bytes, uint64_t total)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        Set(step, (step_ == step ? done_ : 0) + bytes, total);
    }

private:
    void Set(const char* step, uint64_t done, uint64_t total)
    {
        step_ = step;
        done_ = done;
        if (listener_) {
            listener_(step_, done_, total);
        }
    }

    const DifferenceProgress& listener_;
    std::mutex mutex_; // over what follows
    std::string step_;
    uint64_t done_ = 0; // of the step
};
} // namespace ORVX::Difference

#endif
