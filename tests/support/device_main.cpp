// Puts the process on an empty device root of its own before any thread exists, and takes it back afterwards.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

#include "ports/host/device_root.h"
#include "tests/support/device_fixture.h"

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    std::string directory = std::filesystem::temp_directory_path() / "tavomendXXXXXX";
    if (mkdtemp(directory.data()) == nullptr) {
        perror("a directory for the device root");
        return 1;
    }
    // What a test empties before it starts must be this folder and nothing else: DeviceTest looks for the mark.
    std::ofstream(directory + ORVX::TavomendTest::DEVICE_MARK).put('\n');
    std::string error;
    auto root = ORVX::TavomendHost::DeviceRoot::Enter(directory, error);
    if (root == nullptr) {
        fprintf(stderr, "%s\n", error.c_str());
    }
    const int result = root == nullptr ? 1 : RUN_ALL_TESTS();
    root.reset();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return result;
}
