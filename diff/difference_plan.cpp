#include "diff/difference_plan.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "diff/difference_header.h"
#include "diff/parallel.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
// The levels that packers use, the usual ones first.
constexpr int LEVELS[] = {6, 9, 1, 2, 3, 4, 5, 7, 8};
// Content of one entry beyond this is left alone: no difference holds a larger file.
constexpr size_t CONTENT_MAX = size_t{1} << 30;

bool IsSame(ByteView a, ByteView b)
{
    return a.size == b.size && (a.size == 0 || std::memcmp(a.data, b.data, a.size) == 0);
}

// The content of an entry's data, all of which must be one deflated stream of the size that the archive names.
std::optional<Bytes> Inflate(ByteView data, size_t size)
{
    Bytes content(size + 1);
    RawInflater inflater;
    size_t written = 0;
    if (size > CONTENT_MAX || !inflater.Begin(data) ||
        inflater.Read(content.data(), content.size(), written) != RawInflater::Status::END || written != size ||
        inflater.Consumed() != data.size) {
        return std::nullopt;
    }
    content.resize(size);
    return content;
}

bool Reproduces(int level, ByteView content, ByteView data)
{
    RawDeflater deflater;
    size_t position = 0;
    const auto compare = [&position, data](ByteView part) {
        const bool isEqual =
            part.size <= data.size - position && std::memcmp(data.data + position, part.data, part.size) == 0;
        position += part.size;
        return isEqual;
    };
    return deflater.Begin(level) && deflater.Write(content, true, compare) && position == data.size;
}

std::optional<int> FindLevel(ByteView content, ByteView data)
{
    const auto* const level =
        std::find_if(std::begin(LEVELS), std::end(LEVELS), [&](int each) { return Reproduces(each, content, data); });
    return level != std::end(LEVELS) ? std::optional<int>(*level) : std::nullopt;
}

// An entry of the new file whose data changed.
struct Changed {
    const ZipEntry* entry = nullptr;
    const ZipEntry* counterpart = nullptr;
    std::optional<int> level;
    Bytes content;
    Bytes oldContent;
};

class Planner {
public:
    Planner(ByteView old, ByteView fresh, size_t window)
        : old_(old), fresh_(fresh), window_(window), oldEntries_(ReadZipEntries(old)),
          newEntries_(ReadZipEntries(fresh))
    {
    }

    DifferencePlan Make(const std::function<void(size_t, size_t)>& progress)
    {
        FindChanged();
        size_t total = 0;
        for (const Changed& changed : changed_) {
            total += changed.entry->compressedSize;
        }
        InParallel(changed_.size(), [&](size_t i) {
            LookInto(changed_[i]);
            progress(changed_[i].entry->compressedSize, total);
        });
        changed_.erase(std::remove_if(changed_.begin(), changed_.end(),
                                      [](const Changed& each) { return !each.level.has_value(); }),
                       changed_.end());
        AddRegions();
        AddRemovedEntries();
        AddGroups();
        return std::move(plan_);
    }

private:
    void FindChanged()
    {
        std::unordered_map<std::string, const ZipEntry*> byName;
        std::unordered_multimap<uint32_t, const ZipEntry*> byCrc;
        for (const ZipEntry& entry : oldEntries_) {
            byName[entry.name] = &entry;
            byCrc.emplace(entry.crc, &entry);
        }
        for (const ZipEntry& entry : newEntries_) {
            names_.insert(entry.name);
            const auto [begin, end] = byCrc.equal_range(entry.crc);
            const bool isKnown = std::any_of(
                begin, end, [&](const auto& each) { return IsSame(each.second->Data(old_), entry.Data(fresh_)); });
            if (entry.method != ZipEntry::DEFLATED || isKnown) {
                continue;
            }
            const auto found = byName.find(entry.name);
            Changed changed;
            changed.entry = &entry;
            changed.counterpart = found != byName.end() ? found->second : nullptr;
            changed_.push_back(std::move(changed));
        }
    }

    void LookInto(Changed& changed) const
    {
        std::optional<Bytes> content = Inflate(changed.entry->Data(fresh_), changed.entry->size);
        if (!content.has_value()) {
            return;
        }
        changed.content = std::move(*content);
        changed.level = FindLevel({changed.content.data(), changed.content.size()}, changed.entry->Data(fresh_));
        if (changed.level.has_value() && changed.counterpart != nullptr) {
            changed.oldContent = OldContent(*changed.counterpart);
        }
    }

    Bytes OldContent(const ZipEntry& entry) const
    {
        const ByteView data = entry.Data(old_);
        if (entry.method == ZipEntry::STORED) {
            return Bytes(data.data, data.data + data.size);
        }
        return entry.method == ZipEntry::DEFLATED ? Inflate(data, entry.size).value_or(Bytes{}) : Bytes{};
    }

    void AddRegions()
    {
        size_t position = 0;
        for (Changed& changed : changed_) {
            const size_t data = changed.entry->dataOffset;
            plan_.regions.push_back(
                {{fresh_.data + position, data - position}, *changed.level, changed.content.size()});
            position = data + changed.entry->compressedSize;
            const size_t newStart = plan_.newPlain.size();
            const size_t oldStart = plan_.oldPlain.size();
            plan_.newPlain.insert(plan_.newPlain.end(), changed.content.begin(), changed.content.end());
            if (!changed.oldContent.empty()) {
                AddPiece(*changed.counterpart, changed.oldContent);
            }
            spans_.push_back({newStart, plan_.newPlain.size(), oldStart, plan_.oldPlain.size()});
            changed.content = Bytes{};
            changed.oldContent = Bytes{};
        }
        plan_.regions.push_back({{fresh_.data + position, fresh_.size - position}, 0, 0});
    }

    void AddPiece(const ZipEntry& entry, const Bytes& content)
    {
        plan_.pieces.push_back(
            {entry.dataOffset, entry.method == ZipEntry::DEFLATED, entry.compressedSize, content.size()});
        plan_.oldPlain.insert(plan_.oldPlain.end(), content.begin(), content.end());
    }

    // A new entry without a counterpart may be an old one under another name.
    void AddRemovedEntries()
    {
        const bool isNeeded = std::any_of(changed_.begin(), changed_.end(),
                                          [](const Changed& each) { return each.counterpart == nullptr; });
        for (const ZipEntry& entry : oldEntries_) {
            const bool fits = plan_.oldPlain.size() + entry.size <= window_;
            if (!isNeeded || !fits || names_.count(entry.name) != 0) {
                continue;
            }
            const Bytes content = OldContent(entry);
            if (!content.empty()) {
                AddPiece(entry, content);
            }
        }
    }

    void AddGroups()
    {
        const size_t oldSize = plan_.oldPlain.size();
        const size_t newSize = plan_.newPlain.size();
        if (newSize == 0) {
            return;
        }
        if (oldSize <= window_) {
            plan_.groups.push_back({0, newSize, 0, oldSize});
            return;
        }
        // Each group has a part of half a window's size, and as much again around it.
        const size_t size = window_ / 2;
        const size_t margin = window_ / 4;
        size_t newStart = 0;
        for (size_t part = 0; part < oldSize; part += size) {
            const size_t newEnd = part + size < oldSize ? NewPosition(part + size) : newSize;
            plan_.groups.push_back(
                {newStart, newEnd, part - std::min(part, margin), std::min(oldSize, part + size + margin)});
            newStart = newEnd;
        }
    }

    // Where in the new content the counterpart of a position in the old content lies, as far as that can be told.
    size_t NewPosition(size_t oldPosition) const
    {
        const auto span = std::find_if(spans_.begin(), spans_.end(),
                                       [oldPosition](const Group& each) { return oldPosition < each.oldEnd; });
        if (span == spans_.end()) {
            return plan_.newPlain.size();
        }
        const uint64_t into = oldPosition - span->oldStart;
        return span->newStart + into * (span->newEnd - span->newStart) / (span->oldEnd - span->oldStart);
    }

    ByteView old_;
    ByteView fresh_;
    size_t window_;
    std::vector<ZipEntry> oldEntries_;
    std::vector<ZipEntry> newEntries_;
    std::unordered_set<std::string> names_;
    std::vector<Changed> changed_;
    std::vector<Group> spans_; // each entry's content and its counterpart's
    DifferencePlan plan_;
};
} // namespace

DifferencePlan MakeDifferencePlan(ByteView old, ByteView fresh, size_t window,
                                  const std::function<void(size_t, size_t)>& progress)
{
    return Planner(old, fresh, window).Make(progress);
}
} // namespace ORVX::Difference
