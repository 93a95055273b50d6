// Independent jobs on all the cores there are.
#ifndef TAVOMEND_DIFF_PARALLEL_H
#define TAVOMEND_DIFF_PARALLEL_H

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <system_error>
#include <thread>
#include <vector>

namespace ORVX::Difference {
// For the maker: calls job(i) for each i below count, each once, in no particular order, on the caller's thread and as
// many others as there are cores for, on `most` at a time; returns when all are done. The job must be safe from several
// threads and may call this again; it must not throw.
template <class Job>
void InParallel(size_t count, const Job& job, size_t most = SIZE_MAX)
{
    std::atomic<size_t> next{0};
    const auto work = [&next, count, &job]() {
        for (size_t i = next++; i < count; i = next++) {
            job(i);
        }
    };
    const size_t cores = std::max<size_t>(1, std::min<size_t>(most, std::thread::hardware_concurrency()));
    std::vector<std::thread> threads;
    try {
        for (size_t i = 1; i < std::min(cores, count); ++i) {
            threads.emplace_back(work);
        }
    } catch (const std::system_error&) {
        // No more threads to be had: those that there are do it all.
    }
    work();
    for (std::thread& thread : threads) {
        thread.join();
    }
}
} // namespace ORVX::Difference

#endif
