// A disk that is full after so many bytes of each file; what a stream still buffers shows only when it is closed.
#ifndef TAVOMEND_TESTS_UNIT_FORMATS_FILE_SIZE_LIMIT_H
#define TAVOMEND_TESTS_UNIT_FORMATS_FILE_SIZE_LIMIT_H

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace ORVX::TavomendTest {
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : oldHandler_(std::signal(SIGXFSZ, SIG_IGN))
    {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &old_), 0);
        const rlimit limit{bytes, old_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit()
    {
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &old_), 0);
        std::signal(SIGXFSZ, oldHandler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit old_{};
    void (*oldHandler_)(int);
};
} // namespace ORVX::TavomendTest

#endif
