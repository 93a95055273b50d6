// What the fuzz targets share. A target is one file with LLVMFuzzerTestOneInput, which aborts (Require) when what it
// sees is wrong, and a folder corpus/NAME with small inputs. It runs on a device root of its own: as a plain test over
// the corpus and mutations of it (corpus_test.cpp), and as a libFuzzer program (device_initializer.cpp).
#ifndef TAVOMEND_FUZZ_FUZZ_TARGET_H
#define TAVOMEND_FUZZ_FUZZ_TARGET_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace ORVX::TavomendTest {
// The directories that the targets use. A file stands in the place of the log's directory: lines are formatted, and not
// written.
inline void PrepareDevice()
{
    std::filesystem::create_directories("/tmp");
    std::filesystem::create_directories("/data/update/tavomend/app/temp");
    std::ofstream("/data/log").put('\n');
}

inline std::string TextOf(const uint8_t* data, size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

inline void Require(bool isTrue, const char* what)
{
    if (!isTrue) {
        fprintf(stderr, "does not hold: %s\n", what);
        std::abort();
    }
}

// Puts an input where the code under test reads it. In a new file: to empty one that is there makes some file systems
// flush it, which takes a hundred times as long.
inline void Store(const std::string& path, const std::string& content)
{
    unlink(path.c_str());
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    Require(write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()), "an input is stored");
    close(file);
}
} // namespace ORVX::TavomendTest

#endif
