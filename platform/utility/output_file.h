// A file that the engine writes.
#ifndef TAVOMEND_PLATFORM_UTILITY_OUTPUT_FILE_H
#define TAVOMEND_PLATFORM_UTILITY_OUTPUT_FILE_H

#include <functional>
#include <string>
#include <sys/types.h>

namespace ORVX::TavomendEngine {
// Made anew under its path: what was there, also a link, goes first, so that nobody else's file is written through the
// name. In the init stage it is given to the engine's account. Neither keeps nor removes what was written: an early
// return leaves what is there. All calls go through FileLayer; for one thread.
class OutputFile {
public:
    // mode: before the umask. Needs the directory. A directory under the path stays, and the file is not valid.
    explicit OutputFile(const std::string& path, mode_t mode = 0666);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    // False, with the reason in errno, when the file could not be made.
    [[nodiscard]] bool IsValid() const { return file_ >= 0; }
    // Writes behind what was written. False when not all of it arrived.
    [[nodiscard]] bool Write(const char* data, size_t size);
    // Writes what another file has from its place on, without taking it into this process; `told` is told the bytes of
    // each piece. NOT_POSSIBLE where the system has no way to, and then nothing was written.
    enum class Copy { DONE, FAILED, NOT_POSSIBLE };
    [[nodiscard]] Copy CopyRest(int source, const std::function<void(size_t piece)>& told);
    // Sets the mode, past the umask.
    [[nodiscard]] bool SetMode(mode_t mode);
    // Brings the content to the disk; its name is the directory's to flush.
    [[nodiscard]] bool Flush();
    // False when the file had been closed, or an error shows only now.
    bool Close();

private:
    int file_;
};
} // namespace ORVX::TavomendEngine

#endif
