#include "hosting/difference_check.h"

#include "formats/patch_paths.h"

namespace ORVX::TavomendHosting {
std::string WhyNotApplicable(const Formats::ZipArchive& archive, const Formats::PackageInfo& config,
                             const IDevicePort& port)
{
    for (const auto& app : config.appsList) {
        for (const auto& target : app.diffPaths) {
            const auto member = Formats::IsDifference(target) ? Formats::MemberNameOf(target) : std::nullopt;
            const std::string head =
                member ? archive.ReadHead(*member, IDevicePort::DIFFERENCE_HEAD_SIZE) : std::string();
            const std::string reason = head.empty() ? "" : port.WhyNotApplicable(head);
            if (!reason.empty()) {
                return app.bundleName + ": the difference " + *member + " " + reason;
            }
        }
    }
    return "";
}
} // namespace ORVX::TavomendHosting
