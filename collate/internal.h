// What the collation's files share: the hash and the table of keys that
// works and groups are found with, and a record's text as a view.
// Internal to collate/.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "foundation/strings.h"

namespace vro_collate {

inline std::u16string_view textOf(const XpString16& text) noexcept {
    return {text.data() != nullptr ? text.data() : u"", text.length()};
}

inline uint64_t hashOf(std::u16string_view key) noexcept {
    // Four units at a time: titles run to a hundred units, and one multiply
    // per unit made hashing a noticeable part of finding the works.
    uint64_t h = 1469598103934665603ull ^ key.size();
    size_t i = 0;
    for (; i + 4 <= key.size(); i += 4) {
        uint64_t units;
        std::memcpy(&units, key.data() + i, sizeof units);
        h = (h ^ units) * 0x9e3779b97f4a7c15ull;
        h ^= h >> 32;
    }
    for (; i < key.size(); ++i) {
        h ^= key[i];
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
        return findOrAddHashed(key, hashOf(key), value, keyOf);
    }
    // findOrAdd of a key whose hash is h.
    template <class KeyOf>
    uint32_t findOrAddHashed(std::u16string_view key, uint64_t h, uint32_t value, KeyOf keyOf) {
        if ((used_ + 1) * 4 > slots_.size() * 3) grow();
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

    // Asks for the slot a key whose hash is h is looked up from.
    void prefetch(uint64_t h) const noexcept {
        if (!slots_.empty()) __builtin_prefetch(&slots_[size_t(h) & (slots_.size() - 1)]);
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

}  // namespace vro_collate
