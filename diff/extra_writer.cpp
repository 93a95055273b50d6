#include "diff/extra_writer.h"

#include <vector>

#include "diff/parallel.h"

namespace ORVX::Difference {
namespace {
constexpr size_t ROOM = 1024;
constexpr uint32_t BEST_PRESET = LZMA_PRESET_EXTREME | 9U;
constexpr uint32_t ESTIMATE_PRESET = 4;
// A search that is not exhaustive: the priming is gone through for each estimate.
constexpr uint32_t PRIMED_ESTIMATE_PRESET = 3;
constexpr uint32_t RANKING_PRESET = 1;
// Beyond this, only the settings that look best are carried out in full.
constexpr size_t RANKED_FROM = size_t{1} << 20;
constexpr size_t RANKED_KEPT = 2;
// Not every device reads version 2: chunks must make the extra part smaller by such a part.
constexpr size_t CHUNKED_GAIN_SHARE_MIN = 256;
constexpr size_t CHUNKED_GAIN_MIN = 64;

// Data of different kinds wants different contexts.
using Setting = CompressedExtra::Setting;
constexpr Setting SETTINGS[] = {{3, 0}, {0, 0}, {0, 2}, {3, 2}, {4, 0}};

struct Lzma {
    lzma_vli kind;
    uint32_t preset;
};

std::optional<CompressedExtra> Compress(const std::string& extra, const Setting& setting, const Lzma& lzma,
                                        ByteView priming = {})
{
    lzma_options_lzma options{};
    lzma_lzma_preset(&options, lzma.preset);
    options.dict_size = EXTRA_DICTIONARY_MAX;
    options.lc = setting.literals;
    options.pb = setting.positions;
    options.preset_dict = priming.data;
    options.preset_dict_size = static_cast<uint32_t>(priming.size);
    const lzma_filter filters[] = {{lzma.kind, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    // A raw stream has no chunks that are stored: what does not compress grows, as the library's bound for its
    // containers does not foresee.
    CompressedExtra made;
    made.bytes.resize(extra.size() + extra.size() / 2 + ROOM);
    made.isChunked = lzma.kind == LZMA_FILTER_LZMA2;
    made.properties[0] = EXTRA_IS_CHUNKED; // LZMA's own come in its place
    size_t size = 0;
    const lzma_ret result =
        lzma_raw_buffer_encode(filters, nullptr, reinterpret_cast<const uint8_t*>(extra.data()), extra.size(),
                               reinterpret_cast<uint8_t*>(made.bytes.data()), &size, made.bytes.size());
    uint8_t* const properties = made.properties.data() + (made.isChunked ? 1 : 0);
    if (result != LZMA_OK || lzma_properties_encode(filters, properties) != LZMA_OK) {
        return std::nullopt;
    }
    made.bytes.resize(size);
    made.setting = setting;
    return made;
}

std::vector<Setting> LikelySettings(const std::string& extra)
{
    std::vector<Setting> settings(std::begin(SETTINGS), std::end(SETTINGS));
    if (extra.size() < RANKED_FROM) {
        return settings;
    }
    std::vector<std::pair<size_t, size_t>> ranks(settings.size()); // size and number
    InParallel(ranks.size(), [&](size_t i) {
        const auto made = Compress(extra, settings[i], {LZMA_FILTER_LZMA1, RANKING_PRESET});
        ranks[i] = {made.has_value() ? made->bytes.size() : SIZE_MAX, i};
    });
    std::sort(ranks.begin(), ranks.end());
    settings.clear();
    for (size_t i = 0; i < RANKED_KEPT; ++i) {
        settings.push_back(SETTINGS[ranks[i].second]);
    }
    return settings;
}
} // namespace

std::optional<CompressedExtra> CompressExtra(const std::string& extra, bool mayBeChunked)
{
    if (extra.empty()) {
        return CompressedExtra{};
    }
    const std::vector<Setting> settings = LikelySettings(extra);
    std::vector<std::optional<CompressedExtra>> made(settings.size());
    InParallel(made.size(), [&](size_t i) {
        made[i] = Compress(extra, settings[i], {LZMA_FILTER_LZMA1, BEST_PRESET});
    });
    const auto isSmaller = [](const auto& a, const auto& b) {
        return a.has_value() && (!b.has_value() || a->bytes.size() < b->bytes.size());
    };
    const auto best = std::min_element(made.begin(), made.end(), isSmaller);
    if (mayBeChunked && best->has_value()) {
        const Setting& setting = settings[static_cast<size_t>(best - made.begin())];
        std::optional<CompressedExtra> chunked = Compress(extra, setting, {LZMA_FILTER_LZMA2, BEST_PRESET});
        const size_t size = (*best)->bytes.size();
        if (chunked.has_value() && chunked->bytes.size() + CHUNKED_GAIN_MIN + size / CHUNKED_GAIN_SHARE_MIN < size) {
            return chunked;
        }
    }
    return std::move(*best);
}

std::optional<CompressedExtra> CompressPrimedExtra(const std::string& extra, const CompressedExtra& unprimed,
                                                   ByteView priming)
{
    return Compress(extra, unprimed.setting, {unprimed.isChunked ? LZMA_FILTER_LZMA2 : LZMA_FILTER_LZMA1, BEST_PRESET},
                    priming);
}

size_t EstimateExtra(const std::string& extra, ByteView priming)
{
    const uint32_t preset = priming.size == 0 ? ESTIMATE_PRESET : PRIMED_ESTIMATE_PRESET;
    const std::optional<CompressedExtra> made =
        extra.empty() ? CompressedExtra{} : Compress(extra, SETTINGS[0], {LZMA_FILTER_LZMA1, preset}, priming);
    return made.has_value() ? made->bytes.size() : SIZE_MAX;
}
} // namespace ORVX::Difference
