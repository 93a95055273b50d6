// The system calls of a test program, which fail on demand. The program's own functions of these names
// stand before the C library's for everything that is linked to it.
#ifndef TAVOMEND_TESTS_UNIT_DIFF_MISBEHAVING_SYSTEM_H
#define TAVOMEND_TESTS_UNIT_DIFF_MISBEHAVING_SYSTEM_H

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace ORVX::TavomendTest {
struct Fault {
    std::atomic<int> calls{0};
    std::atomic<int> error{0}; // of each call; EINTR of the next one alone

    // Counts a call; the error that is due, or 0.
    int Take()
    {
        ++calls;
        const int due = error;
        if (due == EINTR) {
            error = 0;
        }
        errno = due != 0 ? due : errno;
        return due;
    }
};

struct MisbehavingSystem {
    Fault fsync;
    Fault fallocate;
    Fault write;
    Fault read;
    Fault pread;
    Fault mlock;
    Fault populate;                               // madvise, MADV_POPULATE_WRITE
    std::atomic<size_t> bytesMax{SIZE_MAX};       // of one write, read or pread
    std::atomic<void (*)()> beforeWrite{nullptr}; // called at each write

    // Everything works again, and no call was counted.
    void Mend()
    {
        for (Fault* const fault : {&fsync, &fallocate, &write, &read, &pread, &mlock, &populate}) {
            fault->calls = 0;
            fault->error = 0;
        }
        bytesMax = SIZE_MAX;
        beforeWrite = nullptr;
    }
};
extern MisbehavingSystem g_system;
} // namespace ORVX::TavomendTest

#endif
