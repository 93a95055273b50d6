#include "tests/unit/diff/misbehaving_system.h"

#include <algorithm>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

namespace ORVX::TavomendTest {
MisbehavingSystem g_system;
} // namespace ORVX::TavomendTest

using ORVX::TavomendTest::g_system;

namespace {
template <class Function>
Function Real(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
} // namespace

extern "C" {
int fsync(int file)
{
    static const auto real = Real<int (*)(int)>("fsync");
    return g_system.fsync.Take() != 0 ? -1 : real(file);
}
int posix_fallocate(int file, off_t offset, off_t size)
{
    static const auto real = Real<int (*)(int, off_t, off_t)>("posix_fallocate");
    const int error = g_system.fallocate.Take();
    return error != 0 ? error : real(file, offset, size);
}
ssize_t write(int file, const void* bytes, size_t size)
{
    static const auto real = Real<ssize_t (*)(int, const void*, size_t)>("write");
    if (auto* const before = g_system.beforeWrite.load(); before != nullptr) {
        before();
    }
    return g_system.write.Take() != 0 ? -1 : real(file, bytes, std::min(size, g_system.bytesMax.load()));
}
ssize_t read(int file, void* room, size_t size)
{
    static const auto real = Real<ssize_t (*)(int, void*, size_t)>("read");
    return g_system.read.Take() != 0 ? -1 : real(file, room, std::min(size, g_system.bytesMax.load()));
}
ssize_t pread(int file, void* room, size_t size, off_t offset)
{
    static const auto real = Real<ssize_t (*)(int, void*, size_t, off_t)>("pread");
    return g_system.pread.Take() != 0 ? -1 : real(file, room, std::min(size, g_system.bytesMax.load()), offset);
}
int mlock(const void* memory, size_t size)
{
    static const auto real = Real<int (*)(const void*, size_t)>("mlock");
    return g_system.mlock.Take() != 0 ? -1 : real(memory, size);
}
int madvise(void* memory, size_t size, int advice)
{
    static const auto real = Real<int (*)(void*, size_t, int)>("madvise");
    return advice == MADV_POPULATE_WRITE && g_system.populate.Take() != 0 ? -1 : real(memory, size, advice);
}
}
