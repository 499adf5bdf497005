#include "collate/works.h"

#include <algorithm>
#include <new>
#include <utility>

#include "collate/batch_relay.h"
#include "collate/collation.h"
#include "collate/internal.h"
#include "collate/work_keys.h"
#include "model/publication.h"

using vro_collate::hashOf;
using vro_collate::KeyTable;
using vro_collate::textOf;

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

// Keys are kept in blocks of this many units (a longer key gets a block of
// its own).
constexpr size_t kKeyBlock = size_t(1) << 16;

}  // namespace

const char16_t* VroWorkKeys::keep(const std::u16string& key) {
    if (key.empty()) return nullptr;
    if (key.size() > blockLeft_) {
        const size_t size = std::max(kKeyBlock, key.size());
        blocks_.push_back(std::unique_ptr<char16_t[]>(new char16_t[size]));
        blockAt_ = blocks_.back().get();
        blockLeft_ = size;
    }
    char16_t* const at = blockAt_;
    blockAt_ = std::copy(key.begin(), key.end(), blockAt_);
    blockLeft_ -= key.size();
    return at;
}

ResultCode VroWorkKeys::add(std::u16string_view doi, std::u16string_view title, int32_t year) noexcept {
    try {
        if (!doiKey(doi.data(), uint32_t(doi.size()), doiKey_)) return kErrNoMemory;
        titleKey_.clear();
        if (year >= 1) {
            if (!titleKey(title.data(), uint32_t(title.size()), titleKey_)) return kErrNoMemory;
            if (!titleKey_.empty()) {
                titleKey_ += u'\t';
                appendDecimal(titleKey_, uint32_t(year));
            }
        }
        Entry entry{keep(doiKey_), keep(titleKey_), uint32_t(doiKey_.size()), uint32_t(titleKey_.size()), 0, 0};
        if (entry.doiLength != 0) entry.doiHash = hashOf(doiKey_);
        if (entry.titleLength != 0) entry.titleHash = hashOf(titleKey_);
        entries_.push_back(entry);
    } catch (const std::bad_alloc&) {
        return kErrNoMemory;
    }
    return kResultOk;
}

ResultCode VroWorkKeys::add(const VroPublication& pub) noexcept {
    return add(textOf(pub.DOI), textOf(pub.Title), pub.Year);
}

ResultCode findWorks(const VroPublication* const* pool, uint32_t count, VroWorks& works) noexcept {
    VroWorkKeys keys;
    for (uint32_t i = 0; i < count; ++i)
        if (const ResultCode rc = keys.add(*pool[i]); rc != kResultOk) return rc;
    const VroWorkKeys* parts[] = {&keys};
    return findWorks(pool, count, parts, 1, works);
}

ResultCode findWorks(const VroPublication* const* pool, uint32_t count, const VroWorkKeys* const* parts,
                     uint32_t partCount, VroWorks& works) noexcept {
    try {
        // Where each part's publications start in the pool; a publication's
        // keys are looked up by its part only when a table meets its hash.
        std::vector<uint64_t> partStart(partCount + 1, 0);
        for (uint32_t k = 0; k < partCount; ++k) partStart[k + 1] = partStart[k] + parts[k]->count();
        if (partStart[partCount] != count) return kErrInvalidArgument;
        Links links(count);
        const auto placeOf = [&](uint32_t i) {
            const uint32_t k = uint32_t(std::upper_bound(partStart.begin(), partStart.end(), i) - partStart.begin()) - 1;
            return std::pair<const VroWorkKeys*, uint32_t>(parts[k], uint32_t(i - partStart[k]));
        };
        const auto doiOf = [&](uint32_t i) {
            const auto [part, at] = placeOf(i);
            return part->doi(at);
        };
        const auto titleOf = [&](uint32_t i) {
            const auto [part, at] = placeOf(i);
            return part->title(at);
        };
        KeyTable byDoi;
        // Publications of one title key and year: the first one without a
        // DOI links to every other; those with DOIs met before it wait for
        // it, chained through waitingAfter.
        constexpr uint32_t kNone = 0xFFFFFFFFu;
        struct TitleSlot {
            uint32_t keyOf;  // the publication whose title key the slot has
            uint32_t firstWithoutDoi;
            uint32_t waiting;  // the last publication waiting, or kNone
        };
        KeyTable byTitle;
        std::vector<TitleSlot> titleSlots;
        std::vector<uint32_t> waitingAfter(count);
        // The table slots of a publication a few places ahead are asked for
        // while this one is linked, so that with many thousands of works the
        // lookups do not each wait for memory.
        constexpr uint32_t kAhead = 8;
        for (uint32_t k = 0; k < partCount; ++k) {
            const VroWorkKeys& part = *parts[k];
            for (uint32_t at = 0; at < part.count(); ++at) {
                if (at + kAhead < part.count()) {
                    if (!part.doi(at + kAhead).empty()) byDoi.prefetch(part.doiHash(at + kAhead));
                    if (!part.title(at + kAhead).empty()) byTitle.prefetch(part.titleHash(at + kAhead));
                }
                const uint32_t i = uint32_t(partStart[k] + at);
                const std::u16string_view doi = part.doi(at);
                const bool hasDoi = !doi.empty();
                if (hasDoi) {
                    const uint32_t first = byDoi.findOrAddHashed(doi, part.doiHash(at), i, doiOf);
                    if (first != i) links.join(first, i);
                }
                const std::u16string_view title = part.title(at);
                if (title.empty()) continue;
                const uint32_t fresh = uint32_t(titleSlots.size());
                const uint32_t slotAt = byTitle.findOrAddHashed(title, part.titleHash(at), fresh, [&](uint32_t s) {
                    return titleOf(titleSlots[s].keyOf);
                });
                if (slotAt == fresh) titleSlots.push_back({i, kNone, kNone});
                TitleSlot& slot = titleSlots[slotAt];
                if (slot.firstWithoutDoi != kNone) {
                    links.join(slot.firstWithoutDoi, i);
                } else if (hasDoi) {
                    waitingAfter[i] = slot.waiting;
                    slot.waiting = i;
                } else {
                    slot.firstWithoutDoi = i;
                    for (uint32_t j = slot.waiting; j != kNone; j = waitingAfter[j]) links.join(j, i);
                    slot.waiting = kNone;
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

namespace {

// Keys made on a second thread: add() copies a publication's DOI and title
// into a batch, and the second thread makes their keys in order while the
// import goes on.
class KeyRelay {
public:
    explicit KeyRelay(VroWorkKeys& keys) noexcept : relay_(Maker{&keys}) {}

    // False when no thread can be started: the caller makes the keys itself.
    bool start() noexcept { return relay_.start(); }

    void add(const VroPublication& pub) {
        Batch& filling = relay_.filling();
        const std::u16string_view doi = textOf(pub.DOI);
        const std::u16string_view title = textOf(pub.Title);
        filling.heads.push_back({pub.Year, uint32_t(doi.size()), uint32_t(title.size())});
        filling.text.append(doi);
        filling.text.append(title);
        relay_.handWhenFull(filling.heads.size(), filling.text.size());
    }

    ResultCode finish() noexcept { return relay_.finish(); }

private:
    struct Head {
        int32_t year;
        uint32_t doiLength;
        uint32_t titleLength;  // the title follows the DOI
    };
    using Batch = vro_collate::TextBatch<Head>;
    struct Maker {
        VroWorkKeys* keys;
        void operator()(const Batch& batch) {
            std::u16string_view text(batch.text);
            for (const Head& h : batch.heads) {
                if (keys->add(text.substr(0, h.doiLength), text.substr(h.doiLength, h.titleLength), h.year) !=
                    kResultOk)
                    throw std::bad_alloc();  // the relay's way to say so
                text.remove_prefix(h.doiLength + h.titleLength);
            }
        }
    };
    vro_collate::BatchRelay<Batch, Maker> relay_;
};

}  // namespace

struct VroWorkKeyCollector::State {
    VroWorkKeys keys;
    std::unique_ptr<KeyRelay> relay;  // keys made on a second thread
};

VroWorkKeyCollector::VroWorkKeyCollector(uint32_t threads) noexcept : threads_(threads) {}
VroWorkKeyCollector::~VroWorkKeyCollector() { delete state_; }

ResultCode VroWorkKeyCollector::add(const VroPublication& pub) noexcept {
    if (failure_ != kResultOk) return failure_;
    try {
        if (state_ == nullptr) {
            state_ = new State;
            if (threads_ >= 2) {
                state_->relay = std::make_unique<KeyRelay>(state_->keys);
                if (!state_->relay->start()) state_->relay.reset();
            }
        }
        if (state_->relay != nullptr)
            state_->relay->add(pub);
        else
            failure_ = state_->keys.add(pub);
    } catch (const std::bad_alloc&) {
        failure_ = kErrNoMemory;
    }
    return failure_;
}

ResultCode VroWorkKeyCollector::finish(VroWorkKeys& keys) noexcept {
    keys = VroWorkKeys();
    if (failure_ != kResultOk) return failure_;
    if (state_ == nullptr) return kResultOk;
    if (state_->relay != nullptr) failure_ = state_->relay->finish();
    if (failure_ == kResultOk) keys = std::move(state_->keys);
    delete state_;
    state_ = nullptr;
    return failure_;
}

uint32_t VroWorkKeyCollector::textsRead() noexcept { return kFieldDoi | kFieldTitle; }
