#include "instruments/powercut/call_decoder.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <map>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <vector>

#if defined(__x86_64__)
namespace ORVX::TavomendTest {
namespace fs = std::filesystem;
using Kind = SystemCall::Kind;

namespace {
constexpr size_t NO_OTHER = 6;
constexpr uint32_t WRITING_FLAGS = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;

// How a call says what it changes: by a descriptor, a path, or a path with its directory's descriptor just before it.
enum class By { DESCRIPTOR, PATH, PATH_AT };
struct TracedCall {
    uint64_t number;
    const char* name;
    Kind kind;
    By by;
    size_t at;               // the argument that says so
    size_t other = NO_OTHER; // the new path of a rename or a link, or the size of a write
};
constexpr TracedCall TRACED_CALLS[] = {
    {SYS_creat, "open", Kind::CREATE, By::PATH, 0},
    {SYS_open, "open", Kind::CREATE, By::PATH, 0},
    {SYS_openat, "open", Kind::CREATE, By::PATH_AT, 1},
    {SYS_write, "write", Kind::WRITE, By::DESCRIPTOR, 0, 2},
    {SYS_pwrite64, "write", Kind::WRITE, By::DESCRIPTOR, 0, 2},
    {SYS_writev, "write", Kind::WRITE, By::DESCRIPTOR, 0, 2},
    {SYS_pwritev, "write", Kind::WRITE, By::DESCRIPTOR, 0, 2},
    {SYS_sendfile, "sendfile", Kind::WRITE, By::DESCRIPTOR, 0, 3},
    {SYS_copy_file_range, "copy_file_range", Kind::WRITE, By::DESCRIPTOR, 2, 4},
    {SYS_mmap, "mmap", Kind::MAP, By::DESCRIPTOR, 4},
    {SYS_truncate, "truncate", Kind::TRUNCATE, By::PATH, 0},
    {SYS_ftruncate, "truncate", Kind::TRUNCATE, By::DESCRIPTOR, 0},
    {SYS_fallocate, "fallocate", Kind::RESERVE, By::DESCRIPTOR, 0},
    {SYS_rename, "rename", Kind::RENAME, By::PATH, 0, 1},
    {SYS_renameat, "rename", Kind::RENAME, By::PATH_AT, 1, 3},
    {SYS_renameat2, "rename", Kind::RENAME, By::PATH_AT, 1, 3},
    {SYS_link, "link", Kind::LINK, By::PATH, 0, 1},
    {SYS_linkat, "link", Kind::LINK, By::PATH_AT, 1, 3},
    {SYS_symlink, "symlink", Kind::SYMLINK, By::PATH, 1},
    {SYS_symlinkat, "symlink", Kind::SYMLINK, By::PATH_AT, 2},
    {SYS_unlink, "unlink", Kind::UNLINK, By::PATH, 0},
    {SYS_unlinkat, "unlink", Kind::UNLINK, By::PATH_AT, 1},
    {SYS_mkdir, "mkdir", Kind::MKDIR, By::PATH, 0},
    {SYS_mkdirat, "mkdir", Kind::MKDIR, By::PATH_AT, 1},
    {SYS_rmdir, "rmdir", Kind::RMDIR, By::PATH, 0},
    {SYS_fsync, "fsync", Kind::FLUSH, By::DESCRIPTOR, 0},
    {SYS_fdatasync, "fsync", Kind::FLUSH, By::DESCRIPTOR, 0},
    {SYS_chmod, "chmod", Kind::OWNER, By::PATH, 0},
    {SYS_fchmod, "chmod", Kind::OWNER, By::DESCRIPTOR, 0},
    {SYS_fchmodat, "chmod", Kind::OWNER, By::PATH_AT, 1},
    {SYS_chown, "chown", Kind::OWNER, By::PATH, 0},
    {SYS_lchown, "chown", Kind::OWNER, By::PATH, 0},
    {SYS_fchown, "chown", Kind::OWNER, By::DESCRIPTOR, 0},
    {SYS_fchownat, "chown", Kind::OWNER, By::PATH_AT, 1},
    {SYS_statfs, "statfs", Kind::SPACE, By::PATH, 0},
    {SYS_fstatfs, "statfs", Kind::SPACE, By::DESCRIPTOR, 0},
};

constexpr uint32_t LowHalfOf(int argument)
{
    return static_cast<uint32_t>(offsetof(seccomp_data, args)) + static_cast<uint32_t>(argument) * 8;
}

std::string ReadLink(const std::string& path)
{
    std::error_code error;
    return fs::read_symlink(path, error).string();
}

std::string ReadText(pid_t thread, uint64_t address)
{
    std::string text;
    for (char byte = 1;; ++address) {
        const iovec here{&byte, 1};
        const iovec there = There(address, 1);
        if (process_vm_readv(thread, &here, 1, &there, 1, 0) != 1 || byte == '\0') {
            return text;
        }
        text += byte;
    }
}

// The host's path of what a thread calls `text`, at a directory of its own.
std::string HostPath(pid_t thread, int directory, const std::string& text)
{
    const std::string proc = "/proc/" + std::to_string(thread);
    if (!text.empty() && text.front() == '/') {
        const std::string root = ReadLink(proc + "/root");
        return fs::path((root == "/" ? "" : root) + text).lexically_normal().string();
    }
    const std::string base =
        directory == AT_FDCWD ? ReadLink(proc + "/cwd") : ReadLink(proc + "/fd/" + std::to_string(directory));
    return fs::path(base + "/" + text).lexically_normal().string();
}

uint64_t PositionOf(pid_t thread, uint64_t descriptor)
{
    const std::string path =
        "/proc/" + std::to_string(thread) + "/fdinfo/" + std::to_string(static_cast<int>(descriptor));
    FILE* const file = fopen(path.c_str(), "r");
    unsigned long long position = 0;
    if (file != nullptr) {
        static_cast<void>(fscanf(file, "pos: %llu", &position));
        fclose(file);
    }
    return position;
}

bool IsBelow(const std::string& root, const std::string& path)
{
    return path.compare(0, root.size() + 1, root + "/") == 0;
}
} // namespace

// Opening counts when it may write, a mapping when it is shared.
bool InstallFilter()
{
    const std::map<uint64_t, std::pair<int, uint32_t>> conditions = {
        {SYS_open, {1, WRITING_FLAGS}}, {SYS_openat, {2, WRITING_FLAGS}}, {SYS_mmap, {3, MAP_SHARED}}};
    std::vector<sock_filter> filter = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const TracedCall& call : TRACED_CALLS) {
        const auto found = conditions.find(call.number);
        const bool isAlways = found == conditions.end();
        const auto [argument, flags] = isAlways ? std::pair<int, uint32_t>{} : found->second;
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(call.number), 0,
                                  static_cast<uint8_t>(isAlways ? 1 : 4)));
        if (!isAlways) {
            filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, LowHalfOf(argument)));
            filter.push_back(BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, flags, 1, 0));
            filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
        }
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

iovec There(uint64_t address, size_t size)
{
    iovec there{nullptr, size};
    static_assert(sizeof(there.iov_base) == sizeof(address));
    std::memcpy(&there.iov_base, &address, sizeof(address));
    return there;
}

std::string DescriptorLink(pid_t thread, uint64_t descriptor)
{
    return "/proc/" + std::to_string(thread) + "/fd/" + std::to_string(static_cast<int>(descriptor));
}

std::optional<SystemCall> DecodeCall(const CallStop& stop, const std::string& root)
{
    const auto* const found = std::find_if(std::begin(TRACED_CALLS), std::end(TRACED_CALLS),
                                           [&stop](const TracedCall& call) { return call.number == stop.number; });
    SystemCall call;
    call.name = found->name;
    call.kind = found->kind;
    std::string seenAs; // the path by which the tracer sees the file
    if (found->by == By::DESCRIPTOR) {
        seenAs = DescriptorLink(stop.thread, stop.arguments[found->at]);
        call.path = ReadLink(seenAs);
    } else {
        const auto read = [&stop, found](size_t at) {
            const int directory = found->by == By::PATH ? AT_FDCWD : static_cast<int>(stop.arguments[at - 1]);
            return HostPath(stop.thread, directory, ReadText(stop.thread, stop.arguments[at]));
        };
        seenAs = call.path = read(found->at);
        call.newPath = found->other == NO_OTHER ? "" : read(found->other);
    }
    struct stat status {};
    const bool isThere = stat(seenAs.c_str(), &status) == 0;
    if (!IsBelow(root, call.path) && !IsBelow(root, call.newPath)) {
        return std::nullopt;
    }
    call.file = {status.st_dev, status.st_ino};
    call.isGrowing =
        call.kind == Kind::MKDIR || call.kind == Kind::LINK || call.kind == Kind::SYMLINK || call.kind == Kind::RESERVE;
    if (call.kind == Kind::CREATE) {
        const uint64_t flags = stop.number == SYS_creat ? O_CREAT | O_TRUNC : stop.arguments[found->at + 1];
        if (!isThere) {
            call.isGrowing = true;
            return (flags & O_CREAT) != 0 ? std::optional<SystemCall>(call) : std::nullopt;
        }
        call.kind = Kind::TRUNCATE;
        const bool isCut = (flags & O_TRUNC) != 0 && status.st_size > 0 && S_ISREG(status.st_mode);
        return isCut ? std::optional<SystemCall>(call) : std::nullopt;
    }
    if (call.kind == Kind::MAP) {
        call.size = static_cast<uint64_t>(status.st_size);
        return (stop.arguments[2] & PROT_WRITE) != 0 ? std::optional<SystemCall>(call) : std::nullopt;
    }
    if (stop.number == SYS_unlinkat && (stop.arguments[2] & AT_REMOVEDIR) != 0) {
        call.kind = Kind::RMDIR;
    } else if (call.kind == Kind::WRITE) {
        const bool hasOffset = stop.number == SYS_pwrite64 || stop.number == SYS_pwritev;
        call.size = stop.arguments[found->other];
        call.offset = hasOffset ? stop.arguments[3] : PositionOf(stop.thread, stop.arguments[found->at]);
        call.isGrowing = call.offset + call.size > static_cast<uint64_t>(status.st_size);
    }
    return call;
}
} // namespace ORVX::TavomendTest
#endif
