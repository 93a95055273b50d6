// A test on an empty device of its own; its main is device_main.cpp.
#ifndef TAVOMEND_TESTS_SUPPORT_DEVICE_FIXTURE_H
#define TAVOMEND_TESTS_SUPPORT_DEVICE_FIXTURE_H

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ORVX::TavomendTest {
// Parent directories are created; failures fail the test.
void WriteFile(const std::string& path, const std::string& content);
// Fails the test when there is no such file.
[[nodiscard]] std::string ReadFile(const std::string& path);
[[nodiscard]] bool Exists(const std::string& path);
// Every regular file below a directory, sorted, with its content's hash: "PATH HASH".
[[nodiscard]] std::vector<std::string> ListTree(const std::string& directory);
// The number that the next descriptor gets: the same before and after what gives all of its own back.
[[nodiscard]] int NextDescriptor();
[[nodiscard]] std::string Sha256Hex(const std::string& content);

// In the root of a folder that tests may empty; device_main.cpp puts it there.
constexpr const char* DEVICE_MARK = "/.tavomend-test-device";

// Makes the process look as if it had just started: no singleton of the engine or the utility library, nothing
// published, registered or cached, the log's level and listener as at the start. Nothing of an earlier test may still
// run.
void MakeProcessFresh();

// Before each test the process is fresh, the device is empty but for /etc/os-release (1.0.0) and the engine's
// directories, the stage is the system-service stage, and every message reaches the platform log.
class DeviceTest : public testing::Test {
protected:
    void SetUp() override;
};

// Collects what goes to the platform log as long as it lives; one at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    // A line that ends with the text, behind its prefix.
    [[nodiscard]] bool Contains(const std::string& text) const;
    [[nodiscard]] size_t Count(const std::string& text) const;

private:
    struct Lines {
        std::mutex mutex;
        std::vector<std::string> texts;
    };
    std::shared_ptr<Lines> lines_;
};
} // namespace ORVX::TavomendTest

#endif
