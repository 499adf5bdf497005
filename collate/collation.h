// Collation: publications split into groups that share an author, a source
// or a year, and the metrics of any set of them (one body of work from
// several exports: collate/works.h).
//
// Contract:
// - groupPublications: one group per key, in the order keys are first met,
//   each listing the publications (indexes into pubs, in order, each once)
//   that have the key. Authors are keyed by the identifier the export gives
//   for them (AuthorIds: the entry for the author's place first, else an
//   ORCID, else any other entry whose name has the author's name key), shown
//   as "kind:identifier", else by their name key, shown as "name:key";
//   sources by their source key; years as the decimal year (years below 1
//   have none). A publication without any key (no author, no source, no
//   year) is in the group whose key is empty. A group's name is the most
//   frequent spelling among its publications (the first met on a tie).
// - calculateOver: the metrics of exactly the given publications, as
//   computeMetrics gives them over a list of copies (Rank, Year, Use, author
//   count, counts, the count-given status, and the title when titles is
//   set); the list holds the copies afterwards, with titles in the
//   calculation's order and with its derived fields, without titles as
//   given. Without titles the list keeps numbers only, and a list passed
//   again is reused without a new allocation; a list once used without
//   titles serves without titles only.
// Failures are kErrNoMemory; nothing throws.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/result_codes.h"

class VroPublication;
class VroPublicationList;
struct VroMetrics;
struct VroPublicationNumbers;

enum class VroGroupKind { author, source, year };

struct VroGroup {
    std::u16string key;
    std::u16string name;
    std::vector<uint32_t> members;
    // Every spelling met, with how often, in the order first met.
    std::vector<std::pair<std::u16string, uint32_t>> spellings;
};

inline constexpr uint32_t kNoMember = 0xFFFFFFFFu;

// The groups of several bodies of publications as one: groups of one key
// joined, in the order first met (parts in order); member m of parts[k]
// becomes memberMap[k][m], or is left out when that is kNoMember; members
// ascending, each once; groups left without members go; names by the
// summed spelling counts. The parts are emptied.
[[nodiscard]] ResultCode combineGroups(std::vector<std::vector<VroGroup>>& parts,
                                       const std::vector<std::vector<uint32_t>>& memberMap,
                                       std::vector<VroGroup>& groups) noexcept;

[[nodiscard]] ResultCode groupPublications(const VroPublication* const* pubs, uint32_t count, VroGroupKind kind,
                                           std::vector<VroGroup>& groups) noexcept;

// groupPublications one publication at a time, for instance as an import
// ends each (VroPublicationList::onImportEnded): what it reads of a
// publication is noted at add(), so that its texts may go afterwards.
// member is the publication's place among those added (0, 1, ...);
// finish() gives the groups and starts afresh. After a failure every call
// returns it. With threads of 2 or more, authors are noted on a second
// thread while add()'s caller goes on (the groups are the same).
class VroGroupCollector {
public:
    explicit VroGroupCollector(VroGroupKind kind, uint32_t threads = 1) noexcept;
    ~VroGroupCollector();
    VroGroupCollector(const VroGroupCollector&) = delete;
    VroGroupCollector& operator=(const VroGroupCollector&) = delete;

    [[nodiscard]] ResultCode add(const VroPublication& pub, uint32_t member) noexcept;
    [[nodiscard]] ResultCode finish(std::vector<VroGroup>& groups) noexcept;

    // The texts add() reads of a publication (VroFieldBit bits and
    // kTextAuthorIds).
    static uint32_t textsRead(VroGroupKind kind) noexcept;

private:
    struct State;
    VroGroupKind kind_;
    uint32_t threads_;
    State* state_ = nullptr;
    ResultCode failure_ = kResultOk;
};

// value's decimal digits, appended to text (a year's key, a count shown).
void appendDecimal(std::u16string& text, uint32_t value);

[[nodiscard]] ResultCode calculateOver(const VroPublication* const* pubs, uint32_t count, bool titles, int64_t now,
                                       VroPublicationList& list, VroMetrics& metrics) noexcept;

// calculateOver without titles, over numbers[members[0]], numbers[members[1]]
// and so on: the publications as a list of numbers only keeps them.
[[nodiscard]] ResultCode calculateOverNumbers(const VroPublicationNumbers* numbers, const uint32_t* members,
                                              uint32_t count, int64_t now, VroPublicationList& list,
                                              VroMetrics& metrics) noexcept;
