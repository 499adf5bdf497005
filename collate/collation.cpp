#include "collate/collation.h"

#include <new>
#include <string_view>
#include <unordered_map>

#include "collate/work_keys.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"

namespace {

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

std::u16string placeOf(uint32_t index) {
    std::u16string place = u"#";
    char16_t digits[12];
    uint32_t n = 0;
    do {
        digits[n++] = char16_t(u'0' + index % 10);
        index /= 10;
    } while (index != 0);
    while (n > 0) place.push_back(digits[--n]);
    return place;
}

// The key of the author at index, from the parsed identifiers.
void keyOfAuthor(const VroPublication& pub, const std::vector<IdEntry>& entries, uint32_t index,
                 std::u16string& key) {
    key.clear();
    const char16_t* name = index < pub.authorCount && pub.authorList != nullptr ? pub.authorList[index].name : nullptr;
    if (name == nullptr) return;
    const uint32_t nameLength = uint32_t(std::char_traits<char16_t>::length(name));
    if (!entries.empty()) {
        const std::u16string place = placeOf(index);
        for (const IdEntry& e : entries)
            if (e.who == place) {
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

struct GroupBuilder {
    std::vector<VroGroup>& groups;
    std::unordered_map<std::u16string, uint32_t> byKey;
    // Per group: its spellings and how often each was met.
    std::vector<std::vector<std::pair<std::u16string, uint32_t>>> spellings;

    void add(const std::u16string& key, std::u16string_view spelling, uint32_t member) {
        auto [it, inserted] = byKey.try_emplace(key, uint32_t(groups.size()));
        if (inserted) {
            groups.push_back(VroGroup{key, {}, {}});
            spellings.emplace_back();
        }
        VroGroup& group = groups[it->second];
        if (!group.members.empty() && group.members.back() == member) return;
        group.members.push_back(member);
        auto& seen = spellings[it->second];
        for (auto& s : seen)
            if (s.first == spelling) {
                ++s.second;
                return;
            }
        seen.emplace_back(std::u16string(spelling), 1u);
    }

    void name() {
        for (size_t g = 0; g < groups.size(); ++g) {
            const std::pair<std::u16string, uint32_t>* best = nullptr;
            for (const auto& s : spellings[g])
                if (best == nullptr || s.second > best->second) best = &s;
            if (best != nullptr) groups[g].name = best->first;
        }
    }
};

std::u16string_view textOf(const XpString16& text) { return {text.data() ? text.data() : u"", text.length()}; }

}  // namespace

ResultCode findWorks(const VroPublication* const* pool, uint32_t count, VroWorks& works) noexcept {
    try {
        Links links(count);
        std::unordered_map<std::u16string, uint32_t> byDoi;
        // Publications of one title key and year: the first one without a
        // DOI links to every other; those with DOIs met before it wait for it.
        constexpr uint32_t kNone = 0xFFFFFFFFu;
        struct TitleSlot {
            uint32_t firstWithoutDoi;
            uint32_t waiting;  // index into waitingLists
        };
        std::unordered_map<std::u16string, TitleSlot> byTitle;
        std::vector<std::vector<uint32_t>> waitingLists;
        std::u16string doi;
        std::u16string title;
        for (uint32_t i = 0; i < count; ++i) {
            const VroPublication& p = *pool[i];
            if (!doiKey(p.DOI.data(), p.DOI.length(), doi)) return kErrNoMemory;
            const bool hasDoi = !doi.empty();
            if (hasDoi) {
                auto [it, inserted] = byDoi.try_emplace(doi, i);
                if (!inserted) links.join(it->second, i);
            }
            if (p.Year < 1) continue;
            if (!titleKey(p.Title.data(), p.Title.length(), title)) return kErrNoMemory;
            if (title.empty()) continue;
            title += u'\t';
            title += yearKey(p.Year);
            TitleSlot& slot = byTitle.try_emplace(title, TitleSlot{kNone, kNone}).first->second;
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

ResultCode groupPublications(const VroPublication* const* pubs, uint32_t count, VroGroupKind kind,
                             std::vector<VroGroup>& groups) noexcept {
    try {
        groups.clear();
        GroupBuilder builder{groups, {}, {}};
        std::u16string key;
        for (uint32_t i = 0; i < count; ++i) {
            const VroPublication& p = *pubs[i];
            switch (kind) {
                case VroGroupKind::author: {
                    const std::vector<IdEntry> entries = idEntries(p);
                    const uint32_t listed = p.authorList != nullptr ? p.authorCount : 0;
                    bool any = false;
                    for (uint32_t a = 0; a < listed && a < kMaxAuthors; ++a) {
                        keyOfAuthor(p, entries, a, key);
                        if (key.empty()) continue;
                        builder.add(key, p.authorList[a].name, i);
                        any = true;
                    }
                    if (!any) builder.add(std::u16string(), u"", i);
                    break;
                }
                case VroGroupKind::source:
                    if (!sourceKey(p.Source.data(), p.Source.length(), key)) return kErrNoMemory;
                    builder.add(key, key.empty() ? std::u16string_view() : textOf(p.Source), i);
                    break;
                case VroGroupKind::year:
                    key = yearKey(p.Year);
                    builder.add(key, key, i);
                    break;
            }
        }
        builder.name();
    } catch (const std::bad_alloc&) {
        groups.clear();
        return kErrNoMemory;
    }
    return kResultOk;
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
