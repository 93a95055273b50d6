// Owner of a stdio stream.
#ifndef TAVOMEND_HANDLES_FILE_H
#define TAVOMEND_HANDLES_FILE_H

#include <cstdio>
#include <memory>

namespace ORVX::Handles {
struct FileCloser {
    void operator()(FILE* file) const { static_cast<void>(fclose(file)); }
};

// A writer that must know whether its last bytes arrived releases the stream and closes it: a full disk may show only
// there.
using File = std::unique_ptr<FILE, FileCloser>;
} // namespace ORVX::Handles

#endif
