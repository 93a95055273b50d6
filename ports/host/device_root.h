// A device in a folder: the process changes root into it, so that the system's absolute paths mean the device's.
#ifndef TAVOMEND_PORTS_HOST_DEVICE_ROOT_H
#define TAVOMEND_PORTS_HOST_DEVICE_ROOT_H

#include <memory>
#include <string>

namespace ORVX::TavomendHost {
// Keeps the process on a device root; leaves it when destroyed. Used by the hosting program and by every test that
// runs engine code. The change holds for all threads of the process.
class DeviceRoot {
public:
    // Enters the folder with chroot(2): directly where the process may, otherwise through an unprivileged user
    // namespace, which must happen before the process has a second thread. The working directory becomes "/".
    // Null on failure; error then is one line for people that says what to allow.
    [[nodiscard]] static std::unique_ptr<DeviceRoot> Enter(const std::string& directory, std::string& error);
    // Back to the root and working directory from before.
    ~DeviceRoot();
    DeviceRoot(const DeviceRoot&) = delete;
    DeviceRoot& operator=(const DeviceRoot&) = delete;

private:
    DeviceRoot(int oldRoot, int oldDirectory);

    int oldRoot_;
    int oldDirectory_;
};
} // namespace ORVX::TavomendHost

#endif
