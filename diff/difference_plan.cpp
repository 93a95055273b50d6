#include "diff/difference_plan.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "diff/code_detection.h"
#include "diff/content_index.h"
#include "diff/filter_choice.h"
#include "diff/parallel.h"
#include "diff/raw_deflate.h"

namespace ORVX::Difference {
namespace {
bool IsSame(ByteView a, ByteView b)
{
    return a.size == b.size && (a.size == 0 || std::memcmp(a.data, b.data, a.size) == 0);
}

// An entry of the new file whose data changed.
struct Changed {
    const ZipEntry* entry = nullptr;
    const ZipEntry* counterpart = nullptr;
    std::optional<int> level;
    Bytes content;
    Bytes oldContent;

    [[nodiscard]] ByteView Content() const { return {content.data(), content.size()}; }
    [[nodiscard]] ByteView OldContent() const { return {oldContent.data(), oldContent.size()}; }
};

// An entry of the old file whose name the new one does not have.
struct Removed {
    const ZipEntry* entry = nullptr;
    size_t likeness = 0; // to new entries without a counterpart
    bool isPaired = false;
};

// A new entry without a counterpart, a removed one, and how much they share.
struct Pair {
    size_t shared;
    size_t fresh;
    size_t old;
};

class Planner {
public:
    Planner(ByteView old, ByteView fresh, const PlanWishes& wishes)
        : old_(old), fresh_(fresh), wishes_(wishes), oldEntries_(ReadZipEntries(old)),
          newEntries_(ReadZipEntries(fresh))
    {
        if (oldEntries_.empty() && newEntries_.empty() && IsCode(old) && IsCode(fresh)) {
            oldEntries_ = {WholeFile(old)};
            newEntries_ = {WholeFile(fresh)};
        }
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
        Drop([](const Changed& each) { return !each.level.has_value(); });
        plan_.isLarge = NewSize() >= wishes_.largeFrom;
        plan_.isFiltered = wishes_.code == CodeUse::FILTERED;
        if (!MayFilter()) {
            DropUnfilteredCode();
        }
        FindPredecessors();
        if (MayFilter()) {
            ChooseFilters();
            DropUnfilteredCode();
        }
        MakeRoom();
        AddRegions();
        AddRemovedEntries();
        plan_.groups = WindowGroups(plan_.spans, plan_.oldPlain.size(), plan_.newPlain.size(), wishes_.window);
        if (plan_.isFiltered) {
            FilterContents();
        }
        return std::move(plan_);
    }

private:
    static bool IsCode(ByteView content) { return CodeFilterFor(content) != CodeFilter::NONE; }

    // A library by itself is differenced like a stored one.
    static ZipEntry WholeFile(ByteView file)
    {
        ZipEntry entry;
        entry.size = entry.compressedSize = file.size;
        return entry;
    }

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
            const bool isStoredCode = entry.method == ZipEntry::STORED && IsCode(entry.Data(fresh_));
            if (isKnown || (entry.method != ZipEntry::DEFLATED && !isStoredCode)) {
                continue;
            }
            const auto found = byName.find(entry.name);
            Changed changed;
            changed.entry = &entry;
            changed.counterpart = found != byName.end() ? found->second : nullptr;
            changed_.push_back(std::move(changed));
        }
    }

    template <class Predicate>
    void Drop(Predicate isDropped)
    {
        changed_.erase(std::remove_if(changed_.begin(), changed_.end(), isDropped), changed_.end());
    }

    // All new content: of the entries that are deflated anew, and the raw bytes.
    [[nodiscard]] size_t NewSize() const
    {
        size_t size = fresh_.size;
        for (const Changed& changed : changed_) {
            size += changed.content.size() - changed.entry->compressedSize;
        }
        return size;
    }

    [[nodiscard]] bool MayFilter() const
    {
        return wishes_.code == CodeUse::FILTERED || (wishes_.code == CodeUse::SAMPLED && plan_.isLarge);
    }

    void ChooseFilters()
    {
        std::vector<CodePair> pairs;
        for (const Changed& changed : changed_) {
            const CodeFilter filter = CodeFilterFor(changed.Content());
            if (filter != CodeFilter::NONE && filter == CodeFilterFor(changed.OldContent())) {
                pairs.push_back({filter, changed.OldContent(), changed.Content()});
            }
        }
        filters_ = wishes_.code == CodeUse::FILTERED ? std::vector{CodeFilter::ARM64, CodeFilter::X86}
                                                     : FiltersThatPay(std::move(pairs));
        plan_.isFiltered = wishes_.code == CodeUse::FILTERED || !filters_.empty();
    }

    // The filter that some content gets.
    [[nodiscard]] CodeFilter FilterFor(ByteView content)
    {
        const CodeFilter filter = CodeFilterFor(content);
        plan_.hasCode = plan_.hasCode || filter != CodeFilter::NONE;
        const bool isChosen = std::find(filters_.begin(), filters_.end(), filter) != filters_.end();
        return isChosen ? filter : CodeFilter::NONE;
    }

    // The bytes of stored code are there to be followed without any of this.
    void DropUnfilteredCode()
    {
        Drop([this](const Changed& each) {
            return each.level == STORED_LEVEL && FilterFor(each.Content()) == CodeFilter::NONE;
        });
    }

    void LookInto(Changed& changed) const
    {
        std::optional<Bytes> content = ContentOf(*changed.entry, fresh_);
        if (!content.has_value()) {
            return;
        }
        changed.content = std::move(*content);
        changed.level = changed.entry->method == ZipEntry::STORED
                            ? STORED_LEVEL
                            : FindLevel(changed.Content(), changed.entry->Data(fresh_), wishes_.proof);
        if (changed.level.has_value() && changed.counterpart != nullptr) {
            changed.oldContent = OldContent(*changed.counterpart);
        }
    }

    [[nodiscard]] Bytes OldContent(const ZipEntry& entry) const { return ContentOf(entry, old_).value_or(Bytes{}); }

    void MakeRoom()
    {
        size_t newSize = 0;
        size_t oldSize = 0;
        for (const Changed& changed : changed_) {
            newSize += changed.content.size();
            oldSize += changed.oldContent.size();
        }
        size_t removedSize = 0;
        for (const Removed& removed : removed_) {
            removedSize += removed.isPaired ? 0 : removed.entry->size;
        }
        oldSize = std::max(oldSize, std::min(wishes_.window, oldSize + removedSize));
        const bool isMuch = !wishes_.scratch.empty() && newSize + oldSize >= wishes_.scratchFrom;
        plan_.newPlain.Reserve(newSize, isMuch ? wishes_.scratch : "");
        plan_.oldPlain.Reserve(oldSize, isMuch ? wishes_.scratch : "");
    }

    void AddRegions()
    {
        size_t position = 0;
        for (Changed& changed : changed_) {
            const size_t data = changed.entry->dataOffset;
            const CodeFilter filter = FilterFor(changed.Content());
            Region region{{fresh_.data + position, data - position}, *changed.level, changed.content.size(), filter};
            region.crc = changed.entry->crc;
            region.packedSize = changed.entry->compressedSize;
            if (changed.counterpart != nullptr) {
                region.oldHeader = changed.counterpart->headerOffset;
            }
            plan_.isPresumed =
                plan_.isPresumed || (region.level != STORED_LEVEL && IsPresumed(changed.content.size(), wishes_.proof));
            plan_.regions.push_back(region);
            position = data + changed.entry->compressedSize;
            const size_t newStart = plan_.newPlain.size();
            const size_t oldStart = plan_.oldPlain.size();
            plan_.newPlain.Append(changed.content);
            if (!changed.oldContent.empty()) {
                AddPiece(*changed.counterpart, changed.oldContent);
            }
            plan_.spans.push_back({newStart, plan_.newPlain.size(), oldStart, plan_.oldPlain.size()});
            changed.content = Bytes{};
            changed.oldContent = Bytes{};
        }
        Region rest;
        rest.raw = {fresh_.data + position, fresh_.size - position};
        plan_.regions.push_back(rest);
    }

    void AddPiece(const ZipEntry& entry, const Bytes& content)
    {
        plan_.pieces.push_back({entry.dataOffset, entry.method == ZipEntry::DEFLATED, entry.compressedSize,
                                content.size(), FilterFor({content.data(), content.size()})});
        plan_.oldPlain.Append(content);
    }

    // An entry whose name is new may go on from one whose name is gone: names made of hashes change with the content.
    void FindPredecessors()
    {
        std::vector<Changed*> nameless;
        for (Changed& changed : changed_) {
            if (changed.counterpart == nullptr) {
                nameless.push_back(&changed);
            }
        }
        for (const ZipEntry& entry : oldEntries_) {
            if (!nameless.empty() && names_.count(entry.name) == 0 && entry.size != 0) {
                removed_.push_back({&entry});
            }
        }
        for (const Pair& pair : PairUp(nameless)) {
            Removed& removed = removed_[pair.old];
            removed.likeness += pair.shared;
            if (!removed.isPaired && nameless[pair.fresh]->counterpart == nullptr) {
                removed.isPaired = true;
                nameless[pair.fresh]->counterpart = removed.entry;
                nameless[pair.fresh]->oldContent = OldContent(*removed.entry);
            }
        }
    }

    // Which of the removed entries the nameless ones resemble, what is most alike first.
    [[nodiscard]] std::vector<Pair> PairUp(const std::vector<Changed*>& nameless) const
    {
        std::vector<ContentSample> samples(nameless.size() + removed_.size());
        InParallel(samples.size(), [&](size_t i) {
            const size_t old = i - std::min(i, nameless.size());
            const Bytes inflated = i < nameless.size() ? Bytes{} : OldContent(*removed_[old].entry);
            const Bytes& content = i < nameless.size() ? nameless[i]->content : inflated;
            samples[i] = SampleContent({content.data(), content.size()});
        });
        ContentIndex index;
        for (size_t i = 0; i < removed_.size(); ++i) {
            index.Add(i, samples[nameless.size() + i]);
        }
        std::vector<Pair> pairs;
        for (size_t i = 0; i < nameless.size(); ++i) {
            for (const auto& [old, shared] : index.Find(samples[i])) {
                pairs.push_back({shared, i, old});
            }
        }
        std::stable_sort(pairs.begin(), pairs.end(), [](const Pair& a, const Pair& b) { return a.shared > b.shared; });
        return pairs;
    }

    // The others of which new entries may have parts; where there is no room for all, those that are most alike.
    void AddRemovedEntries()
    {
        std::vector<Removed*> rest;
        for (Removed& removed : removed_) {
            if (!removed.isPaired) {
                rest.push_back(&removed);
            }
        }
        std::stable_sort(rest.begin(), rest.end(),
                         [](const Removed* a, const Removed* b) { return a->likeness > b->likeness; });
        size_t size = plan_.oldPlain.size();
        rest.erase(std::remove_if(rest.begin(), rest.end(),
                                  [&](const Removed* each) {
                                      const bool fits = size + each->entry->size <= wishes_.window;
                                      size += fits ? each->entry->size : 0;
                                      return !fits;
                                  }),
                   rest.end());
        std::sort(rest.begin(), rest.end(),
                  [](const Removed* a, const Removed* b) { return a->entry->dataOffset < b->entry->dataOffset; });
        for (const Removed* const each : rest) {
            const Bytes content = OldContent(*each->entry);
            if (!content.empty()) {
                AddPiece(*each->entry, content);
            }
        }
    }

    void FilterContents()
    {
        std::vector<size_t> pieceStarts;
        size_t start = 0;
        for (const OldPiece& piece : plan_.pieces) {
            pieceStarts.push_back(start);
            start += piece.plainSize;
        }
        std::vector<size_t> regionStarts;
        start = 0;
        for (const Region& region : plan_.regions) {
            regionStarts.push_back(start);
            start += region.plainSize;
        }
        InParallel(plan_.pieces.size(), [&](size_t i) { FilterPiece(plan_.pieces[i], pieceStarts[i]); });
        InParallel(plan_.regions.size(), [&](size_t i) { FilterEntry(plan_.regions[i], regionStarts[i]); });
    }

    // As the device does it: in the parts that the groups load.
    void FilterPiece(const OldPiece& piece, size_t start)
    {
        const size_t end = start + piece.plainSize;
        size_t loaded = start;
        for (const Group& group : plan_.groups) {
            const size_t next = std::clamp(group.oldEnd, loaded, end);
            MakeAbsolute(piece.filter, plan_.oldPlain.data() + loaded, next - loaded, loaded - start);
            loaded = next;
        }
        plan_.oldPlain.Rest(start, end);
    }

    // As the device does it: in parts of one size.
    void FilterEntry(const Region& region, size_t start)
    {
        uint8_t* const content = plan_.newPlain.data() + start;
        for (size_t done = 0; done < region.plainSize; done += FILTERED_PART) {
            MakeAbsolute(region.filter, content + done, std::min(FILTERED_PART, region.plainSize - done), done);
        }
        plan_.newPlain.Rest(start, start + region.plainSize);
    }

    ByteView old_;
    ByteView fresh_;
    const PlanWishes wishes_;
    std::vector<ZipEntry> oldEntries_;
    std::vector<ZipEntry> newEntries_;
    std::unordered_set<std::string> names_;
    std::vector<Changed> changed_;
    std::vector<CodeFilter> filters_; // those that are used
    std::vector<Removed> removed_;
    DifferencePlan plan_;
};
} // namespace

DifferencePlan MakeDifferencePlan(ByteView old, ByteView fresh, const PlanWishes& wishes,
                                  const std::function<void(size_t, size_t)>& progress)
{
    return Planner(old, fresh, wishes).Make(progress);
}
} // namespace ORVX::Difference
