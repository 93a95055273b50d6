// The test hook: says which applications run the version that a patch asked for.
#ifndef TAVOMEND_PLATFORM_UTILITY_TEST_MANAGER_H
#define TAVOMEND_PLATFORM_UTILITY_TEST_MANAGER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ORVX::TavomendEngine {
// Held by the facade and called by it alone, in this order: CheckAppPatchInit, CheckAppPatch for each application,
// CheckAppPatchEnd. For one thread at a time: the facade holds a lock from the first call to the last.
class TestManager {
public:
    // Forgets the applications of an earlier run.
    void CheckAppPatchInit();
    // version: the version code that the application should run.
    void CheckAppPatch(const std::string& bundleName, uint32_t version);
    // One line of JSON style, a member without braces like the hook's other answers:
    // "Vab": "NAME:VERSION:true,NAME:VERSION:false" - true where the bundle service reports exactly that version for
    // the first user who has it (or as a shared service bundle). No application gives "Vab": "".
    [[nodiscard]] std::string CheckAppPatchEnd();

private:
    std::vector<std::pair<std::string, uint32_t>> entries_;
};
} // namespace ORVX::TavomendEngine

#endif
