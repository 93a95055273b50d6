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
// A sample has a piece out of so many.
constexpr size_t SAMPLE_STEP = 8;
constexpr size_t SAMPLE_PIECE = size_t{128} << 10;
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

size_t SizeBy(const std::string& extra, const Setting& setting, const Lzma& lzma)
{
    const auto made = Compress(extra, setting, lzma);
    return made.has_value() ? made->bytes.size() : SIZE_MAX;
}

// The best one first.
std::vector<Setting> RankedSettings(const std::string& extra)
{
    std::vector<std::pair<size_t, size_t>> ranks(std::size(SETTINGS)); // size and number
    InParallel(ranks.size(), [&](size_t i) {
        ranks[i] = {SizeBy(extra, SETTINGS[i], {LZMA_FILTER_LZMA1, RANKING_PRESET}), i};
    });
    std::sort(ranks.begin(), ranks.end());
    std::vector<Setting> settings;
    for (const auto& rank : ranks) {
        settings.push_back(SETTINGS[rank.second]);
    }
    return settings;
}

std::vector<Setting> LikelySettings(const std::string& extra)
{
    if (extra.size() < RANKED_FROM) {
        return {std::begin(SETTINGS), std::end(SETTINGS)};
    }
    std::vector<Setting> settings = RankedSettings(extra);
    settings.resize(RANKED_KEPT);
    return settings;
}

std::string SampleOf(const std::string& extra)
{
    std::string sample;
    for (size_t at = 0; at < extra.size(); at += SAMPLE_STEP * SAMPLE_PIECE) {
        sample += extra.substr(at, SAMPLE_PIECE);
    }
    return sample;
}

bool IsWorthChunks(size_t size, size_t chunkedSize)
{
    return chunkedSize + CHUNKED_GAIN_MIN + size / CHUNKED_GAIN_SHARE_MIN < size;
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
        if (chunked.has_value() && IsWorthChunks((*best)->bytes.size(), chunked->bytes.size())) {
            return chunked;
        }
    }
    return std::move(*best);
}

std::optional<CompressedExtra> CompressMuchExtra(const std::string& extra, ExtraChunks chunks)
{
    if (extra.size() < RANKED_FROM) {
        return CompressExtra(extra, chunks != ExtraChunks::NONE);
    }
    const std::string sample = SampleOf(extra);
    const Setting setting = RankedSettings(sample).front();
    const auto isWorthIt = [&] {
        return IsWorthChunks(SizeBy(sample, setting, {LZMA_FILTER_LZMA1, RANKING_PRESET}),
                             SizeBy(sample, setting, {LZMA_FILTER_LZMA2, RANKING_PRESET}));
    };
    const bool isChunked = chunks == ExtraChunks::FREE || (chunks == ExtraChunks::DEAR && isWorthIt());
    return Compress(extra, setting, {isChunked ? LZMA_FILTER_LZMA2 : LZMA_FILTER_LZMA1, BEST_PRESET});
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
