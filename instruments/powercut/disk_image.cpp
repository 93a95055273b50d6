#include "instruments/powercut/disk_image.h"

#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <vector>

#include "handles/unique_descriptor.h"
#include "tests/support/cli_runner.h"
#include "tests/support/device_fixture.h"

namespace ORVX::TavomendTest {
namespace fs = std::filesystem;

namespace {
constexpr uintmax_t IMAGE_SIZE = 1500ULL << 20U; // sparse; a device wants more than 512 MiB free

// EXT4_IOC_SHUTDOWN and XFS_IOC_GOINGDOWN are one call; no header of the kernel's that programs may include has it.
constexpr unsigned long SHUT_DOWN = _IOR('X', 125, uint32_t);
constexpr uint32_t WITHOUT_FLUSHING = 2;

void MustRun(const std::vector<std::string>& command)
{
    const CliResult result = RunProgram(command);
    if (result.exitCode != 0) {
        throw std::runtime_error(command[0] + ": " + result.err);
    }
}
} // namespace

void DiskImage::KeepMountsPrivate()
{
    if (unshare(CLONE_NEWNS) == 0) {
        static_cast<void>(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
    }
}

bool DiskImage::IsAllowed(const Format& format, std::string& reason)
{
    std::string folder = fs::temp_directory_path() / "powercut-imageXXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        reason = "cannot make a folder below " + folder;
        return false;
    }
    try {
        fs::create_directories(folder + "/content");
        fs::create_directory(folder + "/mounted");
        Make(format, folder + "/image", folder + "/content", folder + "/mounted");
        DiskImage(format, folder + "/image", folder + "/mounted").CutPower(false);
    } catch (const std::runtime_error& error) {
        reason = error.what();
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return reason.empty();
}

void DiskImage::Make(const Format& format, const std::string& image, const std::string& folder,
                     const std::string& mountPoint)
{
    WriteFile(image, "");
    fs::resize_file(image, IMAGE_SIZE);
    MustRun({std::string("mkfs.") + format.name, "-q", image});
    const DiskImage made(format, image, mountPoint);
    fs::remove(mountPoint + "/lost+found");
    fs::copy(folder, mountPoint, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

DiskImage::DiskImage(const Format& format, std::string image, std::string mountPoint)
    : format_(format), image_(std::move(image)), mountPoint_(std::move(mountPoint))
{
    Mount();
}

DiskImage::~DiskImage()
{
    static_cast<void>(RunProgram({"umount", mountPoint_}));
}

void DiskImage::CutPower(bool flushAnother)
{
    const std::string another = mountPoint_ + "/another";
    {
        const Handles::UniqueDescriptor root(open(mountPoint_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (flushAnother) {
            const Handles::UniqueDescriptor file(open(another.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
            if (write(file.Get(), "x", 1) != 1 || fsync(file.Get()) != 0) {
                throw std::runtime_error("cannot flush " + another);
            }
        }
        uint32_t how = WITHOUT_FLUSHING;
        if (ioctl(root.Get(), SHUT_DOWN, &how) != 0) {
            throw std::runtime_error("cannot shut down " + mountPoint_);
        }
    }
    MustRun({"umount", mountPoint_});
    Mount();
    fs::remove(another);
}

void DiskImage::Mount() const
{
    MustRun({"mount", "-t", format_.name, "-o", std::string("loop") + format_.mountOptions, image_, mountPoint_});
}

} // namespace ORVX::TavomendTest
