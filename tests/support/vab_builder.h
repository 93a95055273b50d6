// Bundle files for tests.
#ifndef TAVOMEND_TESTS_SUPPORT_VAB_BUILDER_H
#define TAVOMEND_TESTS_SUPPORT_VAB_BUILDER_H

#include <cstdint>
#include <string>

#include "tests/support/zip_builder.h"

namespace ORVX::TavomendTest {
struct Vab {
    std::string bundleName;
    uint32_t version = 1;
    std::string module = "entry";
    std::string flags = ""; // more manifest members, such as R"("singleton": true)"
    std::string payload = "payload";

    [[nodiscard]] std::string Bytes() const
    {
        const std::string manifest = "{\"bundleName\": \"" + bundleName +
                                     "\", \"versionCode\": " + std::to_string(version) + ", \"versionName\": \"" +
                                     std::to_string(version) + ".0\", \"module\": \"" + module + "\"" +
                                     (flags.empty() ? "" : ", " + flags) + "}";
        return ZipBuilder().Add("manifest.json", manifest).Add("code", payload + std::to_string(version)).Build();
    }
    [[nodiscard]] Vab At(uint32_t newVersion) const
    {
        Vab other = *this;
        other.version = newVersion;
        return other;
    }
};
} // namespace ORVX::TavomendTest

#endif
