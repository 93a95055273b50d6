// Independent jobs on all the cores there are.
#ifndef TAVOMEND_DIFF_PARALLEL_H
#define TAVOMEND_DIFF_PARALLEL_H

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

namespace ORVX::Difference {
// Calls job(i) for each i below count, each once, in no particular order; returns when all are done.
template <class Job>
void InParallel(size_t count, const Job& job)
{
    std::atomic<size_t> next{0};
    const auto work = [&next, count, &job]() {
        for (size_t i = next++; i < count; i = next++) {
            job(i);
        }
    };
    const size_t cores = std::max<size_t>(1, std::thread::hardware_concurrency());
    std::vector<std::thread> threads;
    for (size_t i = 1; i < std::min(cores, count); ++i) {
        threads.emplace_back(work);
    }
    work();
    for (std::thread& thread : threads) {
        thread.join();
    }
}
} // namespace ORVX::Difference

#endif
