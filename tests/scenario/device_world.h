// A device in a folder of its own, the packages for it, and the programs that act on it.
#ifndef TAVOMEND_TESTS_SCENARIO_DEVICE_WORLD_H
#define TAVOMEND_TESTS_SCENARIO_DEVICE_WORLD_H

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "tests/support/cli_runner.h"
#include "tests/support/patch_builder.h"
#include "tests/support/vab_builder.h"

namespace ORVX::TavomendTest {
using Versions = std::map<std::string, uint32_t>;

// The baseline device runs version 1 of everything: com.hot (one file), com.cold (two modules), com.single (a
// singleton), com.keep (keep-alive). The baseline patch takes the first three to version 2.
class DeviceWorld {
public:
    DeviceWorld();
    ~DeviceWorld();
    DeviceWorld(const DeviceWorld&) = delete;
    DeviceWorld& operator=(const DeviceWorld&) = delete;

    [[nodiscard]] static PatchRecipe BaselinePatch(uint32_t version = 2);
    [[nodiscard]] static PatchRecipe RevokePatch();

    // A path in the world's folder; one that begins with "dev/" is on the device.
    [[nodiscard]] std::string At(const std::string& path) const { return folder_ + "/" + path; }
    // `tavomend --root DEV ARGUMENTS`, the arguments split at blanks.
    CliResult Tavomend(const std::string& arguments) const;
    void Deliver(const PatchRecipe& recipe) const;
    [[nodiscard]] const SigningKey& Key() const { return key_; }

    [[nodiscard]] Versions InstalledVersions() const;
    // "STATUS VERSION DETAIL" of the status record.
    [[nodiscard]] std::string Status() const;

private:
    std::string folder_;
    SigningKey key_;
};
} // namespace ORVX::TavomendTest

#endif
