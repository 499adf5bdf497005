#include "collate/collation.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "collate/work_keys.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"

namespace {

uint64_t hashOf(std::u16string_view key) noexcept {
    uint64_t h = 1469598103934665603ull;
    for (const char16_t c : key) {
        h ^= c;
        h *= 1099511628211ull;
    }
    // Keys often differ in their last digits only: the bits are mixed so
    // that the table's low bits see every character.
    h ^= h >> 33;
    h *= 0xff51afd7ed558ccdull;
    return h ^ (h >> 33);
}

// An open-addressing table from keys to numbers; the keys themselves stay
// with the caller, who says what key a number stands for.
class KeyTable {
public:
    // The number stored for key; when there is none, value is stored and
    // returned. keyOf(number) gives the key of a stored number.
    template <class KeyOf>
    uint32_t findOrAdd(std::u16string_view key, uint32_t value, KeyOf keyOf) {
        if ((used_ + 1) * 4 > slots_.size() * 3) grow();
        const uint64_t h = hashOf(key);
        const size_t mask = slots_.size() - 1;
        for (size_t i = size_t(h) & mask;; i = (i + 1) & mask) {
            Slot& slot = slots_[i];
            if (!slot.used) {
                slot = {h, value, true};
                ++used_;
                return value;
            }
            if (slot.hash == h && keyOf(slot.value) == key) return slot.value;
        }
    }

private:
    struct Slot {
        uint64_t hash;
        uint32_t value;
        bool used;
    };
    void grow() {
        std::vector<Slot> old(slots_.empty() ? 64 : slots_.size() * 2, Slot{0, 0, false});
        old.swap(slots_);
        const size_t mask = slots_.size() - 1;
        for (const Slot& slot : old) {
            if (!slot.used) continue;
            size_t i = size_t(slot.hash) & mask;
            while (slots_[i].used) i = (i + 1) & mask;
            slots_[i] = slot;
        }
    }
    std::vector<Slot> slots_;
    size_t used_ = 0;
};

// Union-find over the pool with path halving; the smaller index roots a set.
struct Links {
    std::vector<uint32_t> parent;

    explicit Links(uint32_t count) : parent(count) {
        for (uint32_t i = 0; i < count; ++i) parent[i] = i;
    }
    uint32_t root(uint32_t i) noexcept {
        while (parent[i] != i) {
            parent[i] = parent[parent[i]];
            i = parent[i];
        }
        return i;
    }
    void join(uint32_t a, uint32_t b) noexcept {
        a = root(a);
        b = root(b);
        if (a == b) return;
        if (a < b)
            parent[b] = a;
        else
            parent[a] = b;
    }
};

std::u16string yearKey(int32_t year) {
    std::u16string key;
    if (year < 1) return key;
    char16_t digits[12];
    uint32_t n = 0;
    do {
        digits[n++] = char16_t(u'0' + year % 10);
        year /= 10;
    } while (year != 0);
    while (n > 0) key.push_back(digits[--n]);
    return key;
}

// One entry of a publication's AuthorIds.
struct IdEntry {
    std::u16string_view key;  // "kind:identifier"
    std::u16string_view who;  // "#i" or a name
};

std::vector<IdEntry> idEntries(const VroPublication& pub) {
    std::vector<IdEntry> entries;
    const std::u16string_view text(pub.AuthorIds.data(), pub.AuthorIds.length());
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find(u'\n', start);
        if (end == std::u16string_view::npos) end = text.size();
        const std::u16string_view line = text.substr(start, end - start);
        const size_t tab = line.find(u'\t');
        if (tab != std::u16string_view::npos) entries.push_back({line.substr(0, tab), line.substr(tab + 1)});
        start = end + 1;
    }
    return entries;
}

// Whether who is "#index".
bool isPlace(std::u16string_view who, uint32_t index) noexcept {
    if (who.size() < 2 || who[0] != u'#') return false;
    uint64_t n = 0;
    for (size_t i = 1; i < who.size(); ++i) {
        if (who[i] < u'0' || who[i] > u'9' || n > 0xFFFFFFFFu) return false;
        n = n * 10 + (who[i] - u'0');
    }
    return n == index;
}

// The key of the author at index, from the parsed identifiers.
void keyOfAuthor(const VroPublication& pub, const std::vector<IdEntry>& entries, uint32_t index,
                 std::u16string& key) {
    key.clear();
    const char16_t* name = index < pub.authorCount && pub.authorList != nullptr ? pub.authorList[index].name : nullptr;
    if (name == nullptr) return;
    const uint32_t nameLength = uint32_t(std::char_traits<char16_t>::length(name));
    if (!entries.empty()) {
        for (const IdEntry& e : entries)
            if (isPlace(e.who, index)) {
                key.assign(e.key);
                return;
            }
        std::u16string own;
        std::u16string other;
        (void)nameKey(name, nameLength, own);
        const IdEntry* found = nullptr;
        for (const IdEntry& e : entries) {
            if (own.empty() || e.who.empty() || e.who[0] == u'#') continue;
            (void)nameKey(e.who.data(), uint32_t(e.who.size()), other);
            if (other != own) continue;
            if (found == nullptr || (e.key.starts_with(u"orcid:") && !found->key.starts_with(u"orcid:"))) found = &e;
        }
        if (found != nullptr) {
            key.assign(found->key);
            return;
        }
    }
    std::u16string nk;
    (void)nameKey(name, nameLength, nk);
    if (!nk.empty()) key = u"name:" + nk;
}

std::u16string_view textOf(const XpString16& text) { return {text.data() ? text.data() : u"", text.length()}; }

// Groups are found in one pass that notes every (group, publication,
// spelling) met, and laid out at the end, so that the pass touches little
// memory per author. Spellings are copied, so that the texts they come from
// may go once their publication has been noted.
struct GroupBuilder {
    std::vector<VroGroup> groups;
    KeyTable byKey;
    std::u16string keyPool;              // every group's key, one after the other
    std::vector<uint32_t> keyStart{0};   // group g's key: [keyStart[g], keyStart[g + 1])
    std::vector<uint32_t> lastMember;    // per group: the last publication noted, plus 1
    std::u16string spellingPool;
    struct Occurrence {
        uint32_t group;
        uint32_t member;
        uint32_t spelling;  // into spellingPool; kNoSpelling: the key itself
        uint32_t spellingLength;
    };
    static constexpr uint32_t kNoSpelling = 0xFFFFFFFFu;
    std::vector<Occurrence> seen;

    std::u16string_view keyOf(uint32_t g) const {
        return std::u16string_view(keyPool).substr(keyStart[g], keyStart[g + 1] - keyStart[g]);
    }

    // spelling without data: the key is the group's name.
    void add(std::u16string_view key, std::u16string_view spelling, uint32_t member) {
        const uint32_t fresh = uint32_t(lastMember.size());
        const uint32_t g = byKey.findOrAdd(key, fresh, [&](uint32_t j) { return keyOf(j); });
        if (g == fresh) {
            keyPool.append(key);
            keyStart.push_back(uint32_t(keyPool.size()));
            lastMember.push_back(0);
        }
        if (lastMember[g] == member + 1) return;
        lastMember[g] = member + 1;
        uint32_t at = kNoSpelling;
        if (spelling.data() != nullptr) {
            at = uint32_t(spellingPool.size());
            spellingPool.append(spelling);
        }
        seen.push_back({g, member, at, uint32_t(spelling.size())});
    }

    // The groups in the order first met, their members in publication order
    // and their commonest spelling.
    void finish() {
        const uint32_t count = uint32_t(lastMember.size());
        std::vector<uint32_t> start(count + 1, 0);
        for (const Occurrence& o : seen) ++start[o.group + 1];
        for (uint32_t g = 0; g < count; ++g) start[g + 1] += start[g];
        std::vector<uint32_t> order(seen.size());
        {
            std::vector<uint32_t> next(start.begin(), start.end() - 1);
            for (uint32_t k = 0; k < seen.size(); ++k) order[next[seen[k].group]++] = k;
        }
        groups.resize(count);
        std::vector<std::pair<std::u16string_view, uint32_t>> spellings;
        for (uint32_t g = 0; g < count; ++g) {
            VroGroup& group = groups[g];
            group.key.assign(keyOf(g));
            group.members.reserve(start[g + 1] - start[g]);
            spellings.clear();
            for (uint32_t k = start[g]; k < start[g + 1]; ++k) {
                const Occurrence& o = seen[order[k]];
                group.members.push_back(o.member);
                const std::u16string_view spelling =
                    o.spelling == kNoSpelling ? keyOf(g)
                                              : std::u16string_view(spellingPool).substr(o.spelling, o.spellingLength);
                bool counted = false;
                for (auto& s : spellings)
                    if (s.first == spelling) {
                        ++s.second;
                        counted = true;
                        break;
                    }
                if (!counted) spellings.emplace_back(spelling, 1u);
            }
            const std::pair<std::u16string_view, uint32_t>* best = nullptr;
            for (const auto& s : spellings)
                if (best == nullptr || s.second > best->second) best = &s;
            if (best != nullptr) group.name.assign(best->first);
            group.spellings.reserve(spellings.size());
            for (const auto& s : spellings) group.spellings.emplace_back(std::u16string(s.first), s.second);
        }
    }

    // Notes one publication under every key it has.
    void note(const VroPublication& p, uint32_t member, VroGroupKind kind, std::u16string& key) {
        switch (kind) {
            case VroGroupKind::author: {
                const std::vector<IdEntry> entries = idEntries(p);
                const uint32_t listed = p.authorList != nullptr ? p.authorCount : 0;
                bool any = false;
                for (uint32_t a = 0; a < listed && a < kMaxAuthors; ++a) {
                    keyOfAuthor(p, entries, a, key);
                    if (key.empty()) continue;
                    add(key, p.authorList[a].name, member);
                    any = true;
                }
                if (!any) add(std::u16string_view(), std::u16string_view(), member);
                break;
            }
            case VroGroupKind::source:
                if (!sourceKey(p.Source.data(), p.Source.length(), key)) throw std::bad_alloc();
                add(key, key.empty() ? std::u16string_view(u"") : textOf(p.Source), member);
                break;
            case VroGroupKind::year:
                key = yearKey(p.Year);
                add(key, std::u16string_view(), member);
                break;
        }
    }
};

}  // namespace

ResultCode findWorks(const VroPublication* const* pool, uint32_t count, VroWorks& works) noexcept {
    try {
        Links links(count);
        KeyTable byDoi;
        std::vector<std::u16string> doiKeys(count);
        // Publications of one title key and year: the first one without a
        // DOI links to every other; those with DOIs met before it wait for it.
        constexpr uint32_t kNone = 0xFFFFFFFFu;
        struct TitleSlot {
            uint32_t firstWithoutDoi;
            uint32_t waiting;  // index into waitingLists
        };
        KeyTable byTitle;
        std::vector<std::u16string> titleKeys;  // per title slot
        std::vector<TitleSlot> titleSlots;
        std::vector<std::vector<uint32_t>> waitingLists;
        std::u16string doi;
        std::u16string title;
        for (uint32_t i = 0; i < count; ++i) {
            const VroPublication& p = *pool[i];
            if (!doiKey(p.DOI.data(), p.DOI.length(), doi)) return kErrNoMemory;
            const bool hasDoi = !doi.empty();
            if (hasDoi) {
                doiKeys[i] = doi;
                const uint32_t first =
                    byDoi.findOrAdd(doi, i, [&](uint32_t j) { return std::u16string_view(doiKeys[j]); });
                if (first != i) links.join(first, i);
            }
            if (p.Year < 1) continue;
            if (!titleKey(p.Title.data(), p.Title.length(), title)) return kErrNoMemory;
            if (title.empty()) continue;
            title += u'\t';
            title += yearKey(p.Year);
            const uint32_t fresh = uint32_t(titleSlots.size());
            const uint32_t at =
                byTitle.findOrAdd(title, fresh, [&](uint32_t j) { return std::u16string_view(titleKeys[j]); });
            if (at == fresh) {
                titleKeys.push_back(title);
                titleSlots.push_back({kNone, kNone});
            }
            TitleSlot& slot = titleSlots[at];
            if (slot.firstWithoutDoi != kNone) {
                links.join(slot.firstWithoutDoi, i);
            } else if (hasDoi) {
                if (slot.waiting == kNone) {
                    slot.waiting = uint32_t(waitingLists.size());
                    waitingLists.emplace_back();
                }
                waitingLists[slot.waiting].push_back(i);
            } else {
                slot.firstWithoutDoi = i;
                if (slot.waiting != kNone) {
                    for (const uint32_t j : waitingLists[slot.waiting]) links.join(j, i);
                    std::vector<uint32_t>().swap(waitingLists[slot.waiting]);
                }
            }
        }
        works.workOf.assign(count, 0);
        works.representative.clear();
        works.size.clear();
        std::vector<uint32_t> workOfRoot(count, kNone);
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t r = links.root(i);
            if (workOfRoot[r] == kNone) {
                workOfRoot[r] = uint32_t(works.representative.size());
                works.representative.push_back(i);
                works.size.push_back(0);
            }
            const uint32_t w = workOfRoot[r];
            works.workOf[i] = w;
            ++works.size[w];
            if (pool[i]->Cites > pool[works.representative[w]]->Cites) works.representative[w] = i;
        }
    } catch (const std::bad_alloc&) {
        return kErrNoMemory;
    }
    return kResultOk;
}

bool authorKey(const VroPublication& pub, uint32_t index, std::u16string& key) noexcept {
    try {
        keyOfAuthor(pub, idEntries(pub), index, key);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

struct VroGroupCollector::State {
    GroupBuilder builder;
    std::u16string key;
};

VroGroupCollector::VroGroupCollector(VroGroupKind kind) noexcept : kind_(kind) {}
VroGroupCollector::~VroGroupCollector() { delete state_; }

ResultCode VroGroupCollector::add(const VroPublication& pub, uint32_t member) noexcept {
    if (failure_ != kResultOk) return failure_;
    try {
        if (state_ == nullptr) state_ = new State;
        state_->builder.note(pub, member, kind_, state_->key);
    } catch (const std::bad_alloc&) {
        failure_ = kErrNoMemory;
    }
    return failure_;
}

ResultCode VroGroupCollector::finish(std::vector<VroGroup>& groups) noexcept {
    groups.clear();
    if (failure_ != kResultOk) return failure_;
    if (state_ == nullptr) return kResultOk;
    try {
        state_->builder.finish();
        groups.swap(state_->builder.groups);
    } catch (const std::bad_alloc&) {
        groups.clear();
        failure_ = kErrNoMemory;
    }
    delete state_;
    state_ = nullptr;
    return failure_;
}

ResultCode groupPublications(const VroPublication* const* pubs, uint32_t count, VroGroupKind kind,
                             std::vector<VroGroup>& groups) noexcept {
    VroGroupCollector collector(kind);
    for (uint32_t i = 0; i < count; ++i)
        if (const ResultCode rc = collector.add(*pubs[i], i); rc != kResultOk) return rc;
    return collector.finish(groups);
}

ResultCode calculateOver(const VroPublication* const* pubs, uint32_t count, bool titles, int64_t now,
                         VroPublicationList& list, VroMetrics& metrics) noexcept {
    if (titles) {
        list.clear();
        list.retainTexts(kFieldTitle);
        for (uint32_t i = 0; i < count; ++i) {
            const VroPublication& from = *pubs[i];
            VroPublication* to = list.add();
            if (to == nullptr) return kErrNoMemory;
            to->Rank = from.Rank;
            to->Year = from.Year;
            to->Use = from.Use;
            to->authorCount = from.authorCount;
            to->CitesCount = from.CitesCount;
            to->ECC = from.ECC;
            to->Cites = from.Cites;
            to->status = from.status & kStatusCountGiven;
            if (to->Title.assign(from.Title) != kResultOk) return kErrNoMemory;
        }
        list.endImport();
    } else {
        // Numbers only: one allocation serves every call on the same list.
        if (list.keepsNumbersOnly()) {
            list.restartNumbers();
        } else {
            list.clear();
            list.keepNumbersOnly();
        }
        for (uint32_t i = 0; i < count; ++i) {
            const VroPublication& p = *pubs[i];
            const VroPublicationNumbers numbers{p.Rank, p.Year,  p.Use, 0, p.authorCount,
                                                p.ECC,  p.Cites, 0,     0, 0, p.status & kStatusCountGiven};
            if (!list.appendNumbers(numbers)) return kErrNoMemory;
        }
    }
    MetricsCalcOptions calculation{};
    calculation.maxAuthors = kMaxAuthors;
    computeMetrics(list, &metrics, &calculation, now);
    return kResultOk;
}

ResultCode combineGroups(std::vector<std::vector<VroGroup>>& parts,
                         const std::vector<std::vector<uint32_t>>& memberMap, std::vector<VroGroup>& groups) noexcept {
    try {
        groups.clear();
        KeyTable byKey;
        for (size_t k = 0; k < parts.size(); ++k) {
            for (VroGroup& part : parts[k]) {
                const uint32_t fresh = uint32_t(groups.size());
                const uint32_t g =
                    byKey.findOrAdd(part.key, fresh, [&](uint32_t j) { return std::u16string_view(groups[j].key); });
                if (g == fresh) {
                    groups.emplace_back();
                    groups.back().key.swap(part.key);
                }
                VroGroup& group = groups[g];
                for (const uint32_t m : part.members)
                    if (m < memberMap[k].size() && memberMap[k][m] != kNoMember)
                        group.members.push_back(memberMap[k][m]);
                for (auto& s : part.spellings) {
                    bool counted = false;
                    for (auto& t : group.spellings)
                        if (t.first == s.first) {
                            t.second += s.second;
                            counted = true;
                            break;
                        }
                    if (!counted) group.spellings.emplace_back(std::move(s));
                }
            }
            std::vector<VroGroup>().swap(parts[k]);
        }
        size_t kept = 0;
        for (VroGroup& group : groups) {
            std::sort(group.members.begin(), group.members.end());
            group.members.erase(std::unique(group.members.begin(), group.members.end()), group.members.end());
            if (group.members.empty()) continue;
            const std::pair<std::u16string, uint32_t>* best = nullptr;
            for (const auto& s : group.spellings)
                if (best == nullptr || s.second > best->second) best = &s;
            if (best != nullptr) group.name = best->first;
            if (&groups[kept] != &group) groups[kept] = std::move(group);
            ++kept;
        }
        groups.resize(kept);
    } catch (const std::bad_alloc&) {
        groups.clear();
        return kErrNoMemory;
    }
    return kResultOk;
}

uint32_t VroGroupCollector::textsRead(VroGroupKind kind) noexcept {
    switch (kind) {
        case VroGroupKind::author:
            return kFieldAuthors | kTextAuthorIds;
        case VroGroupKind::source:
            return kFieldSource;
        case VroGroupKind::year:
            break;
    }
    return 0;
}
