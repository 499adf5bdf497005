// Works: the publications of several exports (or of one) that are the same
// work, found by their DOI and title keys (collate/work_keys.h).
//
// Contract:
// - findWorks: pool holds the publications taking part, in input order
//   (exports in the order given, records in file order). Two of them are the
//   same work when their DOI keys are equal, or when they do not both have a
//   DOI key, their title keys are equal (and not empty) and both have the
//   same year (1 or more). A work is every publication linked to another by
//   these links, directly or through others. Works are numbered in the order
//   of their first publication; a work's representative is its publication
//   with the most citations (Cites), the first in pool order on a tie.
// - VroWorkKeys holds the keys of publications in the order added: add()
//   makes a publication's keys from its DOI, title and year, so that its
//   texts may go afterwards. findWorks over keys gives what findWorks over
//   the publications gives, when parts hold the keys of pool's publications
//   in pool order (part after part); kErrInvalidArgument when the parts
//   hold another number of publications than count.
// - VroWorkKeyCollector: VroWorkKeys::add one publication at a time, as an
//   import ends each; with threads of 2 or more the keys are made on a
//   second thread while add()'s caller goes on (the keys are the same).
//   finish() hands the keys over and starts afresh; after a failure every
//   call returns it.
// Other failures are kErrNoMemory; nothing throws.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/result_codes.h"

class VroPublication;

struct VroWorks {
    std::vector<uint32_t> workOf;          // per pooled publication: its work
    std::vector<uint32_t> representative;  // per work: the pooled publication that stands for it
    std::vector<uint32_t> size;            // per work: how many pooled publications it has
};

class VroWorkKeys {
public:
    [[nodiscard]] ResultCode add(const VroPublication& pub) noexcept;
    // add() of a publication with these texts and year.
    [[nodiscard]] ResultCode add(std::u16string_view doi, std::u16string_view title, int32_t year) noexcept;

    uint32_t count() const noexcept { return uint32_t(entries_.size()); }
    // The keys of the i-th publication added; empty when it has none.
    std::u16string_view doi(uint32_t i) const noexcept { return {entries_[i].doi, entries_[i].doiLength}; }
    // The title key with a tab and the year after it.
    std::u16string_view title(uint32_t i) const noexcept { return {entries_[i].title, entries_[i].titleLength}; }
    uint64_t doiHash(uint32_t i) const noexcept { return entries_[i].doiHash; }
    uint64_t titleHash(uint32_t i) const noexcept { return entries_[i].titleHash; }

private:
    struct Entry {
        const char16_t* doi;
        const char16_t* title;
        uint32_t doiLength;
        uint32_t titleLength;
        uint64_t doiHash;
        uint64_t titleHash;
    };
    // Where a key is kept: blocks that never move once made, so that an
    // entry may point into them.
    const char16_t* keep(const std::u16string& key);

    std::vector<Entry> entries_;
    std::vector<std::unique_ptr<char16_t[]>> blocks_;
    size_t blockLeft_ = 0;
    char16_t* blockAt_ = nullptr;
    std::u16string doiKey_, titleKey_;  // reused while a publication's keys are made
};

[[nodiscard]] ResultCode findWorks(const VroPublication* const* pool, uint32_t count, VroWorks& works) noexcept;
[[nodiscard]] ResultCode findWorks(const VroPublication* const* pool, uint32_t count,
                                   const VroWorkKeys* const* parts, uint32_t partCount, VroWorks& works) noexcept;

class VroWorkKeyCollector {
public:
    explicit VroWorkKeyCollector(uint32_t threads = 1) noexcept;
    ~VroWorkKeyCollector();
    VroWorkKeyCollector(const VroWorkKeyCollector&) = delete;
    VroWorkKeyCollector& operator=(const VroWorkKeyCollector&) = delete;

    [[nodiscard]] ResultCode add(const VroPublication& pub) noexcept;
    [[nodiscard]] ResultCode finish(VroWorkKeys& keys) noexcept;

    // The texts add() reads of a publication (VroFieldBit bits).
    static uint32_t textsRead() noexcept;

private:
    struct State;
    uint32_t threads_;
    State* state_ = nullptr;
    ResultCode failure_ = kResultOk;
};
