// A real file system in a file, whose power can be cut: what a kernel keeps and loses, and its recovery.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_DISK_IMAGE_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_DISK_IMAGE_H

#include <string>

namespace ORVX::TavomendTest {
// Mounted by a loop device, which takes root, the programs mount and umount and the file system's own mkfs. Whatever
// goes wrong throws a std::runtime_error with that program's words. For one thread.
class DiskImage {
public:
    struct Format {
        const char* name; // as mkfs.NAME and mount -t NAME know it
        const char* mountOptions;
    };
    // To be called once, before any is made: keeps this process's mounts out of other processes' sight. A mount
    // namespace of somebody else's with a copy of one would keep a file system alive that was shut down.
    static void KeepMountsPrivate();
    // False, with a reason, where images cannot be made, mounted or shut down. Tries it in a folder of its own.
    [[nodiscard]] static bool IsAllowed(const Format& format, std::string& reason);
    // Makes an image with a copy of a folder's content; mountPoint: an empty folder, needed meanwhile.
    static void Make(const Format& format, const std::string& image, const std::string& folder,
                     const std::string& mountPoint);

    // Mounted as long as this lives.
    DiskImage(const Format& format, std::string image, std::string mountPoint);
    ~DiskImage();
    DiskImage(const DiskImage&) = delete;
    DiskImage& operator=(const DiskImage&) = delete;

    // The power is gone and comes back: nothing more reaches the disk, and it is mounted anew. flushAnother: somebody
    // has flushed a file of his own just before, and the file system's journal with it.
    void CutPower(bool flushAnother);

private:
    void Mount() const;

    Format format_;
    std::string image_;
    std::string mountPoint_;
};
} // namespace ORVX::TavomendTest

#endif
