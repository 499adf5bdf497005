#include "collate/collation.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "collate/batch_relay.h"
#include "collate/internal.h"
#include "collate/work_keys.h"
#include "foundation/unit_scan.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"

using vro_collate::hashOf;
using vro_collate::KeyTable;
using vro_collate::textOf;

namespace {

std::u16string yearKey(int32_t year) {
    std::u16string key;
    if (year >= 1) appendDecimal(key, uint32_t(year));
    return key;
}

// One entry of a publication's AuthorIds.
struct IdEntry {
    std::u16string_view key;  // "kind:identifier"
    std::u16string_view who;  // "#i" or a name
};

constexpr uint32_t kNotPlace = 0xFFFFFFFFu;

// The index of who when it is "#index", else kNotPlace.
uint32_t placeOf(std::u16string_view who) noexcept {
    if (who.size() < 2 || who[0] != u'#') return kNotPlace;
    uint64_t n = 0;
    for (size_t i = 1; i < who.size(); ++i) {
        if (who[i] < u'0' || who[i] > u'9' || n > 0xFFFFFFFFu) return kNotPlace;
        n = n * 10 + (who[i] - u'0');
    }
    return n < kNotPlace ? uint32_t(n) : kNotPlace;
}

// What the authors' keys read of a publication: its identifiers' text and
// its author list (count entries; none when list is null).
struct AuthorsSeen {
    std::u16string_view ids;
    uint32_t count;
    const VroAuthorEntry* list;
};

AuthorsSeen authorsOf(const VroPublication& p) noexcept {
    return {textOf(p.AuthorIds), p.authorCount, p.authorList};
}

// The authors' keys of one publication: its identifiers are read once, the
// entry for each place looked up directly, and the name keys of named
// entries made only when an author has no entry for its place. Reused from
// one publication to the next, so that keying an author allocates nothing.
class AuthorKeys {
public:
    void read(const AuthorsSeen& seen) {
        seen_ = seen;
        entries_.clear();
        named_ = 0;
        namedKeysMade_ = false;
        std::fill(std::begin(byPlace_), std::end(byPlace_), kNotPlace);
        // One scan finds each entry's tab and line end, sixteen units at a
        // time: an export of many authors per paper has as many entries.
        const char16_t* const text = seen.ids.data();
        const char16_t* const textEnd = text + seen.ids.size();
        for (const char16_t* start = text; start < textEnd;) {
            const char16_t* tab = nullptr;
            const char16_t* end = start;
            for (;;) {
                end = findUnitOrZero(end, textEnd, u'\n', u'\t');
                if (end == textEnd || *end == u'\n') break;
                if (*end == u'\t' && tab == nullptr) tab = end;
                ++end;
            }
            const char16_t* const line = start;
            start = end + 1;
            if (tab != nullptr) {
                const IdEntry e{std::u16string_view(line, size_t(tab - line)),
                                std::u16string_view(tab + 1, size_t(end - tab - 1))};
                const uint32_t place = placeOf(e.who);
                if (place < kMaxAuthors && byPlace_[place] == kNotPlace) byPlace_[place] = uint32_t(entries_.size());
                if (!e.who.empty() && e.who[0] != u'#') ++named_;
                entries_.push_back(e);
            }
        }
    }

    // The key of the author at index (empty: none), valid until the next
    // read(); a name key is appended to names and given as kInNames with
    // where it starts there.
    static constexpr char16_t kNamesMark[1] = {0};
    static constexpr const char16_t* kInNames = kNamesMark;
    struct Found {
        const char16_t* text;  // kInNames: at names[start]
        uint32_t start;
        uint32_t length;
    };
    Found key(uint32_t index, std::u16string& names) {
        const std::u16string_view k = keyView(index, names);
        if (k.data() == kInNames) return {kInNames, uint32_t(names.size() - k.size()), uint32_t(k.size())};
        return {k.data(), 0, uint32_t(k.size())};
    }

private:
    std::u16string_view keyView(uint32_t index, std::u16string& names) {
        const char16_t* name = index < seen_.count && seen_.list != nullptr ? seen_.list[index].name : nullptr;
        if (name == nullptr) return {};
        if (!entries_.empty()) {
            if (index < kMaxAuthors) {
                if (byPlace_[index] != kNotPlace) return entries_[byPlace_[index]].key;
            } else {
                for (const IdEntry& e : entries_)
                    if (placeOf(e.who) == index) return e.key;
            }
        }
        const uint32_t nameLength = uint32_t(std::char_traits<char16_t>::length(name));
        (void)nameKey(name, nameLength, own_);
        if (named_ != 0 && !own_.empty()) {
            if (!namedKeysMade_) {
                namedKeys_.resize(entries_.size());
                for (size_t k = 0; k < entries_.size(); ++k) {
                    const IdEntry& e = entries_[k];
                    if (e.who.empty() || e.who[0] == u'#')
                        namedKeys_[k].clear();
                    else
                        (void)nameKey(e.who.data(), uint32_t(e.who.size()), namedKeys_[k]);
                }
                namedKeysMade_ = true;
            }
            const IdEntry* found = nullptr;
            for (size_t k = 0; k < entries_.size(); ++k) {
                const IdEntry& e = entries_[k];
                if (e.who.empty() || e.who[0] == u'#' || namedKeys_[k] != own_) continue;
                if (found == nullptr || (e.key.starts_with(u"orcid:") && !found->key.starts_with(u"orcid:")))
                    found = &e;
            }
            if (found != nullptr) return found->key;
        }
        if (own_.empty()) return {};
        names.append(u"name:");
        names.append(own_);
        return {kInNames, own_.size() + 5};
    }

    AuthorsSeen seen_{};
    std::vector<IdEntry> entries_;
    uint32_t byPlace_[kMaxAuthors];
    uint32_t named_ = 0;
    bool namedKeysMade_ = false;
    std::vector<std::u16string> namedKeys_;  // per entry: its name's key (named entries)
    std::u16string own_;
};

// Groups are found in one pass that notes every (group, publication) met,
// and laid out at the end. Each group's key and first spelling lie side by
// side in one arena, reached from the group's slot of the table, so that
// noting an author touches little memory; a spelling that differs from its
// group's first is copied apart, so that the texts it comes from may go
// once their publication has been noted.
struct GroupBuilder {
    // A slot fills one cache line and, when both are short and ASCII (as
    // author identifiers and most names are), holds a copy of its key and
    // first spelling as bytes: with thousands of groups, while the import
    // streams the export through the caches, looking a key up then waits
    // for one line of memory instead of two.
    static constexpr uint32_t kInlineUnits = 35;
    struct alignas(64) Slot {
        uint64_t hash;
        uint32_t group;       // kFree: unused
        uint32_t lastMember;  // the last publication noted, plus 1
        uint32_t keyStart;    // into arena; the first spelling follows the key
        uint32_t keyLength;
        uint32_t spellingLength;
        uint8_t inlined;                // 1: text holds the key, then the first spelling
        uint8_t text[kInlineUnits];
    };
    static_assert(sizeof(Slot) == 64, "a slot is one cache line");
    static constexpr uint32_t kFree = 0xFFFFFFFFu;

    static bool isShortAscii(std::u16string_view key, std::u16string_view spelling) noexcept {
        if (key.size() + spelling.size() > kInlineUnits) return false;
        for (const char16_t c : key)
            if (c >= 0x80) return false;
        for (const char16_t c : spelling)
            if (c >= 0x80) return false;
        return true;
    }
    // Whether the bytes widened are text; a slot's bytes are compared eight
    // at a time, as every author noted compares a key and a spelling.
    static bool sameUnits(const uint8_t* bytes, std::u16string_view text) noexcept {
        size_t i = 0;
#if defined(__SSE2__)
        for (; i + 8 <= text.size(); i += 8) {
            uint64_t packed;
            std::memcpy(&packed, bytes + i, sizeof packed);
            const __m128i widened = _mm_unpacklo_epi8(_mm_cvtsi64_si128(int64_t(packed)), _mm_setzero_si128());
            const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
            if (_mm_movemask_epi8(_mm_cmpeq_epi16(widened, units)) != 0xFFFF) return false;
        }
#endif
        for (; i < text.size(); ++i)
            if (bytes[i] != text[i]) return false;
        return true;
    }
    bool hasKey(const Slot& slot, std::u16string_view key) const noexcept {
        if (slot.keyLength != key.size()) return false;
        if (slot.inlined) return sameUnits(slot.text, key);
        return std::u16string_view(arena).substr(slot.keyStart, slot.keyLength) == key;
    }
    bool hasFirstSpelling(const Slot& slot, std::u16string_view spelling) const noexcept {
        if (slot.spellingLength != spelling.size()) return false;
        if (slot.inlined) return sameUnits(slot.text + slot.keyLength, spelling);
        return std::u16string_view(arena).substr(slot.keyStart + slot.keyLength, slot.spellingLength) == spelling;
    }
    std::vector<Slot> slots;
    uint32_t groupCount = 0;
    std::u16string arena;
    struct Occurrence {
        uint32_t group;
        uint32_t member;
    };
    // Every (group, publication) met, in blocks: hundreds of thousands of
    // them would otherwise be copied each time one array doubled.
    // Blocks grow from small (a small export's groups stay small) to a
    // size at which each costs little.
    struct Seen {
        static constexpr uint32_t kFirstBlock = 1u << 10;
        static constexpr uint32_t kLargestBlock = 1u << 16;
        std::vector<std::unique_ptr<Occurrence[]>> blocks;
        uint32_t lastSize = 0;  // room of the last block
        uint32_t lastFill = 0;  // occurrences in the last block
        static uint32_t sizeOf(size_t block) noexcept {
            return block < 6 ? kFirstBlock << block : kLargestBlock;
        }
        void push(const Occurrence& o) {
            if (lastFill == lastSize) {
                const uint32_t size = sizeOf(blocks.size());
                blocks.emplace_back(new Occurrence[size]);
                lastSize = size;
                lastFill = 0;
            }
            blocks.back()[lastFill++] = o;
        }
        template <class Visit>
        void forEach(Visit visit) const {
            for (size_t b = 0; b < blocks.size(); ++b) {
                const uint32_t n = b + 1 == blocks.size() ? lastFill : sizeOf(b);
                for (uint32_t i = 0; i < n; ++i) visit(blocks[b][i]);
            }
        }
    };
    Seen seen;
    // Spellings that differ from their group's first, in the order met.
    struct OtherSpelling {
        uint32_t group;
        uint32_t start;  // into otherPool
        uint32_t length;
    };
    std::vector<OtherSpelling> others;
    std::u16string otherPool;
    std::vector<VroGroup> groups;

    void grow() {
        std::vector<Slot> old(slots.empty() ? 64 : slots.size() * 2, Slot{0, kFree, 0, 0, 0, 0, 0, {}});
        old.swap(slots);
        const size_t mask = slots.size() - 1;
        for (const Slot& slot : old) {
            if (slot.group == kFree) continue;
            size_t i = size_t(slot.hash) & mask;
            while (slots[i].group != kFree) i = (i + 1) & mask;
            slots[i] = slot;
        }
    }

    // Room for more groups, so that slots found stay where they are.
    void reserveFor(uint32_t more) {
        while ((uint64_t(groupCount) + more) * 4 > uint64_t(slots.size()) * 3) grow();
    }

    // spelling without data: the key is the group's name.
    void add(std::u16string_view key, std::u16string_view spelling, uint32_t member) {
        reserveFor(1);
        addHashed(key, hashOf(key), spelling, member);
    }

    // add() of a key whose hash is h, with room for it reserved.
    void addHashed(std::u16string_view key, uint64_t h, std::u16string_view spelling, uint32_t member) {
        if (spelling.data() == nullptr) spelling = key;
        const size_t mask = slots.size() - 1;
        size_t i = size_t(h) & mask;
        for (;; i = (i + 1) & mask) {
            Slot& slot = slots[i];
            if (slot.group == kFree) {
                if (groupCount == kFree - 1 || arena.size() + key.size() + spelling.size() > 0xFFFFFFFFu)
                    throw std::bad_alloc();
                slot = {h, groupCount++, 0, uint32_t(arena.size()), uint32_t(key.size()),
                        uint32_t(spelling.size()), 0, {}};
                if (isShortAscii(key, spelling)) {
                    slot.inlined = 1;
                    std::copy(key.begin(), key.end(), slot.text);
                    std::copy(spelling.begin(), spelling.end(), slot.text + key.size());
                }
                arena.append(key);
                arena.append(spelling);
                break;
            }
            if (slot.hash == h && hasKey(slot, key)) break;
        }
        Slot& slot = slots[i];
        if (slot.lastMember == member + 1) return;
        slot.lastMember = member + 1;
        seen.push({slot.group, member});
        if (hasFirstSpelling(slot, spelling)) return;
        if (otherPool.size() + spelling.size() > 0xFFFFFFFFu) throw std::bad_alloc();
        others.push_back({slot.group, uint32_t(otherPool.size()), uint32_t(spelling.size())});
        otherPool.append(spelling);
    }

    // The groups in the order first met, their members in publication order
    // and their commonest spelling.
    void finish() {
        while (queued > 0) noteOldest();
        const uint32_t count = groupCount;
        groups.clear();
        groups.resize(count);
        std::vector<uint32_t> filled(count, 0);
        seen.forEach([&](const Occurrence& o) { ++filled[o.group]; });
        for (uint32_t g = 0; g < count; ++g) {
            groups[g].members.resize(filled[g]);
            filled[g] = 0;
        }
        seen.forEach([&](const Occurrence& o) { groups[o.group].members[filled[o.group]++] = o.member; });
        seen = Seen();
        // Each group's key and first spelling, with how often the first was met.
        const std::u16string_view pool(arena);
        for (const Slot& slot : slots) {
            if (slot.group == kFree) continue;
            VroGroup& group = groups[slot.group];
            group.key.assign(pool.substr(slot.keyStart, slot.keyLength));
            group.spellings.emplace_back(std::u16string(pool.substr(slot.keyStart + slot.keyLength,
                                                                    slot.spellingLength)),
                                         uint32_t(group.members.size()));
        }
        std::u16string().swap(arena);
        std::vector<Slot>().swap(slots);
        // The other spellings, counted in the order first met.
        const std::u16string_view other(otherPool);
        for (const OtherSpelling& o : others) {
            auto& spellings = groups[o.group].spellings;
            --spellings[0].second;
            const std::u16string_view spelling = other.substr(o.start, o.length);
            bool counted = false;
            for (size_t k = 1; k < spellings.size() && !counted; ++k)
                if (spellings[k].first == spelling) {
                    ++spellings[k].second;
                    counted = true;
                }
            if (!counted) spellings.emplace_back(std::u16string(spelling), 1u);
        }
        for (VroGroup& group : groups) {
            const std::pair<std::u16string, uint32_t>* best = nullptr;
            for (const auto& s : group.spellings)
                if (best == nullptr || s.second > best->second) best = &s;
            if (best != nullptr) group.name = best->first;
        }
    }

    // Notes one publication under every key it has. Authors wait for the
    // next publications before they are noted (see Waiting); finish() notes
    // those still waiting.
    void note(const VroPublication& p, uint32_t member, VroGroupKind kind, std::u16string& key) {
        switch (kind) {
            case VroGroupKind::author:
                queueAuthors(authorsOf(p), member);
                break;
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

    // The authors of one publication, waiting to be noted: their keys and
    // spellings copied, since the publication's texts go once it has been
    // seen. Memory asked for right before it is read arrives too late to
    // help, so the lookups are spread over the publications that follow:
    // a publication's slots are asked for as its keys are made, the arena
    // text of those slots that keep none of their own while the next one
    // is read, and it is noted one publication later still, with both at
    // hand.
    struct Waiting {
        uint32_t member = 0;
        uint32_t count = 0;  // 0: the publication has no author key
        std::u16string text;
        uint32_t keyStart[kMaxAuthors];
        uint32_t keyLength[kMaxAuthors];
        uint32_t spellingLength[kMaxAuthors];  // the spelling follows its key
        uint64_t hashes[kMaxAuthors];
        std::u16string_view key(uint32_t k) const { return std::u16string_view(text).substr(keyStart[k], keyLength[k]); }
        std::u16string_view spelling(uint32_t k) const {
            return std::u16string_view(text).substr(keyStart[k] + keyLength[k], spellingLength[k]);
        }
    };
    static constexpr uint32_t kStages = 3;
    Waiting waiting[kStages];
    uint32_t oldest = 0;  // into waiting
    uint32_t queued = 0;  // publications waiting

    void queueAuthors(const AuthorsSeen& p, uint32_t member) {
        Waiting& w = waiting[(oldest + queued) % kStages];
        authors.read(p);
        const uint32_t listed = std::min(p.list != nullptr ? p.count : 0, kMaxAuthors);
        names.clear();
        w.member = member;
        w.count = 0;
        w.text.clear();
        for (uint32_t a = 0; a < listed; ++a) {
            const AuthorKeys::Found k = authors.key(a, names);
            if (k.length == 0) continue;
            const std::u16string_view keyText(k.text == AuthorKeys::kInNames ? names.data() + k.start : k.text,
                                              k.length);
            const std::u16string_view spelling(p.list[a].name);
            const uint32_t c = w.count++;
            w.keyStart[c] = uint32_t(w.text.size());
            w.keyLength[c] = k.length;
            w.spellingLength[c] = uint32_t(spelling.size());
            w.text.append(keyText);
            w.text.append(spelling);
            w.hashes[c] = hashOf(keyText);
        }
        if (!slots.empty()) {
            const size_t mask = slots.size() - 1;
            for (uint32_t k = 0; k < w.count; ++k) __builtin_prefetch(&slots[size_t(w.hashes[k]) & mask]);
        }
        if (++queued == kStages) noteOldest();
        if (queued > 1) prefetchArena(waiting[(oldest + queued - 2) % kStages]);  // the publication before p
    }

    // Asks for the arena text of w's slots that keep none of their own.
    void prefetchArena(const Waiting& w) const {
        if (slots.empty()) return;
        const size_t mask = slots.size() - 1;
        for (uint32_t k = 0; k < w.count; ++k) {
            for (size_t i = size_t(w.hashes[k]) & mask;; i = (i + 1) & mask) {
                const Slot& slot = slots[i];
                if (slot.group == kFree) break;
                if (slot.hash != w.hashes[k]) continue;
                if (!slot.inlined) __builtin_prefetch(arena.data() + slot.keyStart);
                break;
            }
        }
    }

    void noteOldest() {
        const Waiting& w = waiting[oldest];
        oldest = (oldest + 1) % kStages;
        --queued;
        if (w.count == 0) {
            add(std::u16string_view(), std::u16string_view(), w.member);
            return;
        }
        reserveFor(w.count);
        for (uint32_t k = 0; k < w.count; ++k) addHashed(w.key(k), w.hashes[k], w.spelling(k), w.member);
    }

    AuthorKeys authors;
    std::u16string names;  // the name keys of one publication's authors
};

}  // namespace

void appendDecimal(std::u16string& text, uint32_t value) {
    char16_t digits[10];
    uint32_t n = 0;
    do {
        digits[n++] = char16_t(u'0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (n > 0) text.push_back(digits[--n]);
}

namespace {

// Authors noted on a second thread: add() copies what their keys read of a
// publication (its identifiers' text and its names) into a batch, and the
// second thread notes the batches in order while the import goes on.
class AuthorRelay {
public:
    explicit AuthorRelay(GroupBuilder& builder) noexcept : relay_(Noter{&builder, {}}) {}

    // False when no thread can be started: the caller notes on its own.
    bool start() noexcept { return relay_.start(); }

    void add(const AuthorsSeen& seen, uint32_t member) {
        Batch& filling = relay_.filling();
        const uint32_t names = seen.list != nullptr ? seen.count : 0;
        filling.heads.push_back({member, uint32_t(filling.text.size()), uint32_t(seen.ids.size()), seen.count,
                                 names});
        filling.text.append(seen.ids);
        filling.text.push_back(u'\0');  // the identifiers are scanned up to their zero
        for (uint32_t a = 0; a < names; ++a) {
            const std::u16string_view name(seen.list[a].name);
            filling.lengths.push_back(uint32_t(name.size()));
            filling.text.append(name);
            filling.text.push_back(u'\0');
        }
        relay_.handWhenFull(filling.heads.size(), filling.text.size());
    }

    // Waits until every publication added has been noted; the failure of
    // the second thread, if any.
    ResultCode finish() noexcept { return relay_.finish(); }

private:
    struct Head {
        uint32_t member;
        uint32_t start;  // of the identifiers' text; the names follow, each text ending in a zero
        uint32_t idsLength;
        uint32_t count;  // authors listed
        uint32_t names;  // names copied: count, or 0 for a publication whose names went
    };
    using Batch = vro_collate::TextBatch<Head>;  // lengths: of the names
    struct Noter {
        GroupBuilder* builder;
        std::vector<VroAuthorEntry> entries;

        void operator()(Batch& batch) {
            const uint32_t* length = batch.lengths.data();
            for (const Head& h : batch.heads) {
                char16_t* at = batch.text.data() + h.start + h.idsLength + 1;
                entries.resize(h.names);
                for (uint32_t a = 0; a < h.names; ++a) {
                    entries[a] = {at, nullptr};
                    at += *length++ + 1;
                }
                // No names and authors listed: the names went. No authors:
                // no name is read either way.
                const AuthorsSeen seen{std::u16string_view(batch.text).substr(h.start, h.idsLength), h.count,
                                       h.names != 0 ? entries.data() : nullptr};
                builder->queueAuthors(seen, h.member);
            }
        }
    };
    vro_collate::BatchRelay<Batch, Noter> relay_;
};

}  // namespace

struct VroGroupCollector::State {
    GroupBuilder builder;
    std::u16string key;
    std::unique_ptr<AuthorRelay> relay;  // authors noted on a second thread
};

VroGroupCollector::VroGroupCollector(VroGroupKind kind, uint32_t threads) noexcept : kind_(kind), threads_(threads) {}
VroGroupCollector::~VroGroupCollector() { delete state_; }

ResultCode VroGroupCollector::add(const VroPublication& pub, uint32_t member) noexcept {
    if (failure_ != kResultOk) return failure_;
    try {
        if (state_ == nullptr) {
            state_ = new State;
            if (kind_ == VroGroupKind::author && threads_ >= 2) {
                state_->relay = std::make_unique<AuthorRelay>(state_->builder);
                if (!state_->relay->start()) state_->relay.reset();
            }
        }
        if (state_->relay != nullptr)
            state_->relay->add(authorsOf(pub), member);
        else
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
    if (state_->relay != nullptr) failure_ = state_->relay->finish();
    try {
        if (failure_ == kResultOk) {
            state_->builder.finish();
            groups.swap(state_->builder.groups);
        }
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
    // A list of numbers only is made to be calculated over and read no
    // further than its Use and Cites: nothing needs the calculation's order.
    if (titles)
        computeMetrics(list, &metrics, &calculation, now);
    else
        computeMetricsOnly(list, &metrics, &calculation, now);
    return kResultOk;
}

ResultCode calculateOverNumbers(const VroPublicationNumbers* numbers, const uint32_t* members, uint32_t count,
                                int64_t now, VroPublicationList& list, VroMetrics& metrics) noexcept {
    if (list.keepsNumbersOnly()) {
        list.restartNumbers();
    } else {
        list.clear();
        list.keepNumbersOnly();
    }
    for (uint32_t i = 0; i < count; ++i) {
        const VroPublicationNumbers& p = numbers[members[i]];
        const VroPublicationNumbers copy{p.Rank, p.Year,  p.Use, 0, p.authorCount,
                                         p.ECC,  p.Cites, 0,     0, 0, p.status & kStatusCountGiven};
        if (!list.appendNumbers(copy)) return kErrNoMemory;
    }
    MetricsCalcOptions calculation{};
    calculation.maxAuthors = kMaxAuthors;
    computeMetricsOnly(list, &metrics, &calculation, now);
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
