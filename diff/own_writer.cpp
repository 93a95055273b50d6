#include "diff/own_writer.h"

#include <algorithm>

#include "diff/difference_encoder.h"
#include "diff/difference_header.h"
#include "diff/extra_writer.h"
#include "diff/parallel.h"
#include "diff/priming_choice.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
constexpr size_t PRIMED_EXTRA_MAX = size_t{8} << 20;

class OwnWriter {
public:
    explicit OwnWriter(const WriteRequest& request)
        : old_(request.old), fresh_(request.fresh), plan_(request.plan), maxVersion_(request.version)
    {
    }

    [[nodiscard]] std::optional<std::string> Write(const std::vector<Matches>& ways) const
    {
        size_t best = 0;
        CodedParts parts;
        std::optional<CompressedExtra> extra;
        if (ways.size() == 1) {
            EncodeOnly(ways.front(), parts, extra);
        } else {
            best = EncodeBest(ways, parts);
            extra = Compress(parts.extra);
        }
        std::optional<std::string> usual = extra.has_value() ? WriteDown(parts, *extra, ways[best]) : std::nullopt;
        if (maxVersion_ < 3 || !usual.has_value()) {
            return usual;
        }
        std::optional<std::string> foretold = Foretell(parts, *extra, ways[best]);
        const bool isWorthIt = foretold.has_value() && IsWorthLaterVersion(foretold->size(), usual->size());
        return isWorthIt ? foretold : usual;
    }

private:
    // Its extra bytes are compressed beside the rest.
    void EncodeOnly(const Matches& way, CodedParts& parts, std::optional<CompressedExtra>& extra) const
    {
        InParallel(2, [&](size_t job) {
            if (job == 0) {
                extra = Compress(EncodeOnlyExtra(old_, plan_, way, {NeededVersion()}));
            } else {
                parts = EncodeDifference(old_, plan_, way, {NeededVersion()});
            }
        });
    }

    // Gives which one it was.
    size_t EncodeBest(const std::vector<Matches>& ways, CodedParts& parts) const
    {
        std::vector<Attempt> attempts(ways.size());
        InParallel(attempts.size(), [&](size_t i) { attempts[i] = Try(ways[i]); });
        const auto best = std::min_element(attempts.begin(), attempts.end(),
                                           [](const Attempt& a, const Attempt& b) { return a.size < b.size; });
        parts = std::move(best->parts);
        return static_cast<size_t>(best - attempts.begin());
    }

    // Of the new file, what is no content that is told apart.
    [[nodiscard]] size_t RawSize() const
    {
        size_t size = 0;
        for (const Region& region : plan_.regions) {
            size += region.raw.size;
        }
        return size;
    }

    struct Attempt {
        CodedParts parts;
        size_t size = SIZE_MAX; // about
    };

    [[nodiscard]] Attempt Try(const Matches& matches) const
    {
        Attempt attempt{EncodeDifference(old_, plan_, matches, {NeededVersion()})};
        const size_t extra = EstimateExtra(attempt.parts.extra, BytesOf(PrimingFor(attempt.parts.extra, matches)));
        attempt.size = extra == SIZE_MAX ? SIZE_MAX : attempt.parts.model.size() + extra;
        return attempt;
    }

    // Before much extra data the dictionary is soon full of that.
    [[nodiscard]] Priming PrimingFor(const std::string& extra, const Matches& matches) const
    {
        const bool isPrimed = maxVersion_ >= 3 && !extra.empty() && extra.size() <= PRIMED_EXTRA_MAX;
        return isPrimed ? ChoosePriming(old_, plan_, matches) : Priming{};
    }

    [[nodiscard]] ByteView BytesOf(const Priming& priming) const { return PrimingBytes(old_, plan_, priming); }

    [[nodiscard]] std::optional<CompressedExtra> Compress(const std::string& extra) const
    {
        const ExtraChunks chunks = NeededVersion() >= 2 ? ExtraChunks::FREE
                                   : maxVersion_ >= 2   ? ExtraChunks::DEAR
                                                        : ExtraChunks::NONE;
        return plan_.isLarge ? CompressMuchExtra(extra, chunks) : CompressExtra(extra, maxVersion_ >= 2);
    }

    // In version 1 or 2.
    [[nodiscard]] std::optional<std::string> WriteDown(const CodedParts& parts, const CompressedExtra& extra,
                                                       const Matches& matches) const
    {
        if (extra.isChunked && NeededVersion() < 2) {
            return Assemble(2, parts.windowSize, EncodeDifference(old_, plan_, matches, {2}).model, extra);
        }
        return Assemble(NeededVersion(), parts.windowSize, parts.model, extra);
    }

    // In version 3, with all that it has.
    [[nodiscard]] std::optional<std::string> Foretell(const CodedParts& usual, const CompressedExtra& usualExtra,
                                                      const Matches& matches) const
    {
        const Priming priming = PrimingFor(usual.extra, matches);
        const size_t gainMin = (usual.model.size() + usualExtra.bytes.size()) / LATER_VERSION_GAIN_SHARE;
        if (priming.source == Priming::NONE && RawSize() <= gainMin) {
            return std::nullopt; // no more raw bytes than that
        }
        const CodedParts parts = EncodeDifference(old_, plan_, matches, {3, priming, true});
        if (priming.source == Priming::NONE && parts.model.size() + gainMin >= usual.model.size()) {
            return std::nullopt; // nothing that would be worth compressing the extra bytes once more
        }
        const std::optional<CompressedExtra> extra =
            parts.extra.empty() ? CompressedExtra{} : CompressPrimedExtra(parts.extra, usualExtra, BytesOf(priming));
        return extra.has_value() ? Assemble(3, parts.windowSize, parts.model, *extra) : std::nullopt;
    }

    [[nodiscard]] uint8_t NeededVersion() const
    {
        const bool isWide = std::any_of(plan_.groups.begin(), plan_.groups.end(), [](const Group& group) {
            return group.oldEnd - group.oldStart > DifferenceWindowMax(DIFFERENCE_VERSION_MIN);
        });
        return plan_.isFiltered || isWide ? 2 : 1;
    }

    [[nodiscard]] std::optional<std::string> Assemble(uint8_t version, size_t window, const std::string& model,
                                                      const CompressedExtra& extra) const
    {
        DifferenceHeader header;
        header.version = version;
        header.zlibVersion = DeflateLibraryVersion();
        header.baseSize = static_cast<uint32_t>(old_.size);
        header.outputSize = static_cast<uint32_t>(fresh_.size);
        header.windowSize = static_cast<uint32_t>(window);
        header.extraProperties = extra.properties;
        if (!Handles::Sha256::Of(old_.data, old_.size, header.baseDigest) ||
            !Handles::Sha256::Of(fresh_.data, fresh_.size, header.outputDigest)) {
            return std::nullopt;
        }
        return AssembleDifference(header, model, extra.bytes);
    }

    const ByteView old_;
    const ByteView fresh_;
    const DifferencePlan& plan_;
    const uint8_t maxVersion_;
};
} // namespace

std::optional<std::string> WriteOwnDifference(const WriteRequest& request, const std::vector<Matches>& ways)
{
    return OwnWriter(request).Write(ways);
}
} // namespace ORVX::Difference
