// A directory of its own for one test, and the files in it.
#ifndef TAVOMEND_TESTS_UNIT_DIFF_SCRATCH_DIRECTORY_H
#define TAVOMEND_TESTS_UNIT_DIFF_SCRATCH_DIRECTORY_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace ORVX::TavomendTest {
class ScratchDirectory {
public:
    ScratchDirectory()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "tavomend-diff-XXXXXX").string();
        path_ = mkdtemp(pattern.data()) != nullptr ? pattern : "";
    }
    ~ScratchDirectory() { std::filesystem::remove_all(path_); }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    [[nodiscard]] std::string Path(const std::string& name) const { return path_ + "/" + name; }

    std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }

    [[nodiscard]] std::string Read(const std::string& name) const
    {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    [[nodiscard]] bool Has(const std::string& name) const
    {
        return std::filesystem::exists(std::filesystem::symlink_status(Path(name)));
    }

    // Runs a command line of a tool in the directory; a failing tool fails the test.
    void Run(const std::string& command) const
    {
        ASSERT_EQ(std::system(("cd '" + path_ + "' && { " + command + "; } >/dev/null 2>&1").c_str()), 0) << command;
    }

private:
    std::string path_;
};
} // namespace ORVX::TavomendTest

#endif
