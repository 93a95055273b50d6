// The device, the packages and the operations whose power is cut.
#ifndef TAVOMEND_INSTRUMENTS_POWERCUT_POWER_CUT_WORLD_H
#define TAVOMEND_INSTRUMENTS_POWERCUT_POWER_CUT_WORLD_H

#include <string>
#include <vector>

#include "instruments/powercut/judge.h"
#include "tests/support/patch_builder.h"

namespace ORVX::TavomendTest {
struct Operation {
    std::string name;
    std::string snapshot;             // the device's folder before it, never changed
    std::vector<std::string> command; // on the device in DeviceFolder()
    Expectation expected;             // after two more boots
};

// com.cold and com.hot with two modules each, one of them patched with a whole file; patches that bring both, or the
// hot one alone, to versions 2 and 3; a revoke. Everything in one folder, which is removed at the end.
class PowerCutWorld {
public:
    PowerCutWorld();
    ~PowerCutWorld();
    PowerCutWorld(const PowerCutWorld&) = delete;
    PowerCutWorld& operator=(const PowerCutWorld&) = delete;

    [[nodiscard]] const std::vector<Operation>& Operations() const { return operations_; }
    // `tavomend --root DEVICE ARGUMENTS`.
    [[nodiscard]] static std::vector<std::string> CommandOn(const std::string& device, const std::string& arguments);
    [[nodiscard]] std::string At(const std::string& name) const { return folder_ + "/" + name; }
    static void CopyDevice(const std::string& from, const std::string& to);

private:
    void MakePackages();
    void MakePackage(const std::string& name, const PatchRecipe& recipe);
    void Run(const std::string& device, const std::string& arguments) const;
    // The name of a new snapshot: of an earlier one, after the operation.
    std::string After(const std::string& snapshot, const std::string& name, const std::string& arguments);
    // What an operation must come to, by hand: each application's version, the record's version and status.
    struct Outcome {
        std::string versions;
        std::string record;
    };
    void Add(const std::string& name, const std::string& snapshot, const std::string& arguments,
             const Outcome& outcome);
    [[nodiscard]] DeviceState Settle(const std::string& device) const;

    std::string folder_;
    SigningKey key_;
    std::vector<Operation> operations_;
};
} // namespace ORVX::TavomendTest

#endif
