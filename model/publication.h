// The publication record and the list that owns every publication of a run.
//
// Contract:
// - VroPublication holds one imported record: texts as UTF-16 framework
//   strings, 32-bit numbers starting at zero, the parsed authors (at most 50)
//   and the per-paper values the calculation derives. Import filters fill it
//   field by field and set the matching fieldMask bits (VroFieldBit).
// - Citation invariant (kept by the field handlers): setting the citation
//   count stores it in CitesCount and, unless a non-zero estimate was already
//   given (bit 17), in ECC; Cites always equals ECC afterwards.
// - VroPublicationList owns its publications; clear() and destruction destroy
//   them. add() returns a new zeroed publication or null when it cannot be
//   allocated; a failure to grow the list is deliberately not reported (the
//   publication is then returned but not listed, and never freed).
// - By default every publication keeps all its texts. A list told to retain
//   fewer (retainTexts) drops the others from each publication once its
//   import has ended, that is when the next one is added or at endImport();
//   the author count stays when the names go.
// - sort() reorders with one of the comparators; ties are broken by each
//   comparator itself, so the order does not depend on the sort's stability.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/result_codes.h"
#include "foundation/strings.h"

class VroPublicationList;

// Field-presence bits of fieldMask.
enum VroFieldBit : uint32_t {
    kFieldArticleUrl = 1u << 0,
    kFieldAuthors = 1u << 1,
    kFieldCitesCount = 1u << 2,
    kFieldCitesUrl = 1u << 3,
    kFieldPublisher = 1u << 4,
    kFieldRank = 1u << 5,
    kFieldSource = 1u << 6,
    kFieldTitle = 1u << 7,
    kFieldYear = 1u << 8,
    kFieldType = 1u << 9,
    kFieldDoi = 1u << 10,
    kFieldIssn = 1u << 11,
    kFieldCitationUrl = 1u << 12,
    kFieldVolume = 1u << 13,
    kFieldIssue = 1u << 14,
    kFieldStartPage = 1u << 15,
    kFieldEndPage = 1u << 16,
    kFieldEcc = 1u << 17,
    kFieldLocalAuthors = 1u << 18,
    kFieldLocalSource = 1u << 19,
    kFieldLocalTitle = 1u << 20,
    kFieldAbstract = 1u << 21,
};

// Text bit of the authors' identifiers (VroPublication::AuthorIds). It only
// says which texts a list keeps; no import sets it in a field mask. Lists
// keep every other text by default and this one only when asked, so that
// imports that never read identifiers do not pay for them.
inline constexpr uint32_t kTextAuthorIds = 1u << 22;
inline constexpr uint32_t kDefaultRetainedTexts = 0xFFFFFFFFu & ~kTextAuthorIds;

// The name of every fieldMask bit, in bit order ("F22" to "F31" reserved).
extern const char* const kFieldMaskBitNames[32];

inline constexpr uint32_t kMaxAuthors = 50;
// Years below this are no year at all.
inline constexpr int32_t kFirstCountedYear = 1600;
// status bit: the publication lies in the Hirsch core.
inline constexpr uint32_t kStatusInHCore = 1u;
// status bit: the record carried a citation count field (a count column or
// tag, even with an empty value, or a note that held a count), so that an
// export without any can be told from one whose works are all uncited. Set
// by the import, left alone by the calculation.
inline constexpr uint32_t kStatusCountGiven = 2u;

// One parsed author: a name the publication owns and a second text this
// program leaves null.
struct VroAuthorEntry {
    char16_t* name;
    char16_t* extra;
};

class VroPublication {
public:
    VroPublication() = default;
    ~VroPublication();
    VroPublication(const VroPublication&) = delete;
    VroPublication& operator=(const VroPublication&) = delete;

    XpString16 spareText1;
    XpString16 Type;
    XpString16 Title;
    XpString16 Authors;
    XpString16 Source;
    XpString16 ISSN;
    XpString16 Publisher;
    XpString16 DOI;
    XpString16 ArticleURL;
    XpString16 CitationURL;
    XpString16 CitesURL;
    // The identifiers the export gives for authors, one per line as
    // "kind:identifier<TAB>who", who being "#i" for the i-th author (from 0)
    // or the name the export pairs the identifier with. Kinds: scopus,
    // orcid, researcherid, openalex.
    XpString16 AuthorIds;
    XpString16 spareText13;
    XpString16 Abstract;
    int32_t Rank = 0;
    int32_t Year = 0;
    int32_t Volume = 0;
    int32_t Issue = 0;
    int32_t StartPage = 0;
    int32_t EndPage = 0;
    uint32_t authorCount = 0;
    uint32_t CitesCount = 0;
    uint32_t ECC = 0;
    uint32_t Cites = 0;
    int32_t Use = 0;
    uint32_t sc100 = 0;
    uint32_t citesPerAuthor = 0;
    uint32_t citesPerYear100 = 0;
    int32_t age = 0;
    VroPublication* firstChild = nullptr;   // owned chain of subordinate records
    VroPublication* nextSibling = nullptr;
    VroAuthorEntry* authorList = nullptr;   // owned, authorCount entries used
    uint32_t authorCapacity = 0;
    uint32_t status = 0;
    // Texts the list keeps once this publication's import has ended
    // (VroFieldBit bits): import may leave the others unstored, since
    // nothing reads them.
    uint32_t keptTexts = kDefaultRetainedTexts;

    // Copies exactly `length` units of name (0xFFFFFFFF: up to its zero) as a
    // new author; null, and nothing added, for a null name, a length of 0, 50
    // authors already, or when the list cannot grow.
    const char16_t* addAuthor(const char16_t* name, uint32_t length) noexcept;
    // Fills the author list from Authors (split at every comma); returns the
    // count. Without kFieldAuthors in keptTexts the names are only counted.
    uint32_t splitAuthors() noexcept;
    // Rebuilds Authors from the author list, names joined by ", "; returns the
    // count. Without kFieldAuthors in keptTexts Authors is left as it is.
    uint32_t joinAuthors() noexcept;
    // "12345678" and "1234 5678" become "1234-5678"; "1234-5678" stays; anything
    // else stays as it is and gives 522.
    ResultCode normaliseIssn() noexcept;
    // Empties every text whose VroFieldBit is clear in keep (kFieldAuthors
    // stands for the Authors text and the author names; authorCount stays,
    // while authorList goes). Heap storage passes to heir's matching empty
    // fields when heir is given, else it is freed.
    void dropTexts(uint32_t keep, VroPublication* heir) noexcept;
    // Provisional age and citations per year against the list's reference
    // year; false when Year is below 1600 or citesPerYear100 did not change.
    bool deriveAge(const VroPublicationList& list) noexcept;

private:
    void clearAuthors() noexcept;
    char16_t* roomForName(uint32_t units) noexcept;

    // The author entries' names lie one after another, each with its zero,
    // in one block: a record's authors cost one allocation, not one each,
    // and the block passes to an heir with the entries.
    char16_t* names_ = nullptr;
    uint32_t namesUsed_ = 0;
    uint32_t namesRoom_ = 0;
};

// What the calculation reads and writes of a publication: all a list of
// numbers only (VroPublicationList::keepNumbersOnly) keeps of one whose
// import has ended.
struct VroPublicationNumbers {
    int32_t Rank;
    int32_t Year;
    int32_t Use;
    int32_t age;
    uint32_t authorCount;
    uint32_t ECC;
    uint32_t Cites;
    uint32_t sc100;
    uint32_t citesPerAuthor;
    uint32_t citesPerYear100;
    uint32_t status;
};

// Bytes per publication a list holds in reserve for the calculation's
// working copy, so that the calculation needs no memory of its own once the
// import has succeeded.
inline constexpr size_t kCalculationRoomPerPublication = 96;

using VroPublicationComparator = int (*)(const VroPublication*, const VroPublication*);

// Keyed orders 1..10 (index 0 is unused: "unsorted").
inline constexpr uint32_t kSortKeyCount = 10;
inline constexpr uint32_t kSortKeyRank = 6;
extern const VroPublicationComparator kAscendingOrders[kSortKeyCount + 1];
extern const VroPublicationComparator kDescendingOrders[kSortKeyCount + 1];

// The orders of the calculation compare one 32-bit field, as a 32-bit
// difference read as signed; some break ties by Rank.
using VroPublicationKey = uint32_t (*)(const VroPublication&);
enum class VroSortDirection { rising, falling };
enum class VroRankTies { none, smallerFirst, largerFirst };

class VroPublicationList {
public:
    VroPublicationList() = default;
    ~VroPublicationList() { clear(); }
    VroPublicationList(const VroPublicationList&) = delete;
    VroPublicationList& operator=(const VroPublicationList&) = delete;

    VroPublication* add() noexcept;
    void sort(VroPublicationComparator comparator) noexcept;
    // The same as sort() with the comparator "key, then Rank as ties says",
    // but the keys are read once into a compact array first, so that large
    // lists are not sorted by chasing record pointers. An array that cannot
    // be allocated falls back to sorting the records themselves.
    void sortByKey(VroPublicationKey key, VroSortDirection direction, VroRankTies ties) noexcept;
    void clear() noexcept;
    // Replaces the order: publications holds the list's count() publications,
    // the same ones in the new order.
    void setOrder(VroPublication* const* publications) noexcept;

    // Texts that publications keep once their import has ended (VroFieldBit
    // bits and kTextAuthorIds, see dropTexts); all but the authors'
    // identifiers by default. Set it before the first add().
    void retainTexts(uint32_t fields) noexcept { retainedTexts_ = fields; }
    // Call before the first add(): hook sees each publication whose import
    // has ended (when the next is added, or at endImport()), with the texts
    // it reads (texts) stored as well, before the texts the list does not
    // retain go; on a list of numbers only, before all but its numbers go.
    using ImportEndedHook = void (*)(VroPublication& publication, void* context) noexcept;
    void onImportEnded(ImportEndedHook hook, void* context, uint32_t texts) noexcept {
        hook_ = hook;
        hookContext_ = context;
        hookTexts_ = texts;
    }
    // Ends the import of the last publication added: with fewer texts
    // retained, its other texts go too.
    void endImport() noexcept;

    // Call before the first add(): from then on the list keeps no text and,
    // of each publication whose import has ended, only its numbers (see
    // numbers()), a fraction of a record's size. at() then gives only the
    // publication being imported, sort(), sortByKey() and setOrder() do
    // nothing, and computeMetrics works on the numbers. add() returns null
    // when the numbers cannot grow.
    void keepNumbersOnly() noexcept;
    bool keepsNumbersOnly() const noexcept { return numbersOnly_; }
    // A list of numbers only: appends the numbers of one more publication
    // at once, no record made (ending the import of the one under way);
    // false when the list cannot grow.
    bool appendNumbers(const VroPublicationNumbers& numbers) noexcept;
    // A list of numbers only: empties it but keeps its room, so that lists
    // built one after the other reuse one allocation.
    void restartNumbers() noexcept;
    // The numbers of the publications whose import has ended, in list order.
    VroPublicationNumbers* numbers() noexcept { return numbers_; }
    const VroPublicationNumbers* numbers() const noexcept { return numbers_; }
    uint32_t numbersCount() const noexcept { return open_ != nullptr ? count_ - 1 : count_; }
    // The calculation's room, reserved as the list grows (add() returns null
    // when it cannot grow): count() * kCalculationRoomPerPublication bytes at
    // least, or null when empty.
    unsigned char* calculationRoom() noexcept { return room_; }

    uint32_t count() const noexcept { return count_; }
    // How many publications have any of the status bits set, whether the
    // list keeps records or numbers only.
    uint32_t countWithStatus(uint32_t bits) const noexcept;
    uint32_t capacity() const noexcept { return capacity_; }
    VroPublication* at(uint32_t index) const noexcept {
        if (numbersOnly_) return open_ != nullptr && index + 1 == count_ ? open_ : nullptr;
        return index < count_ ? items_[index] : nullptr;
    }

    int32_t referenceYear = 0;
    uint32_t sortKey = 0;

private:
    [[nodiscard]] ResultCode append(VroPublication* publication) noexcept;

    struct Slab;
    // Room for one publication in the current slab; null when none can be had.
    void* placeForPublication() noexcept;

    VroPublication** items_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t count_ = 0;
    uint32_t spare_[2] = {0, 0};
    // Publications live in slabs of many, freed together by clear().
    Slab* slabs_ = nullptr;
    uint32_t retainedTexts_ = kDefaultRetainedTexts;
    ImportEndedHook hook_ = nullptr;
    void* hookContext_ = nullptr;
    uint32_t hookTexts_ = 0;
    void closeRecord(VroPublication* heir) noexcept;
    // The publication whose import is under way: the last one added.
    VroPublication* open_ = nullptr;

    // The calculation's room, for roomCapacity_ publications.
    [[nodiscard]] bool reserveRoom(uint32_t count) noexcept;
    void freeRoom() noexcept;
    unsigned char* room_ = nullptr;
    uint32_t roomCapacity_ = 0;

    // Numbers only: the closed publications' numbers, with room for
    // numbersCapacity_ publications, and two places the open publication
    // takes in turn.
    VroPublication* addNumbersOnly() noexcept;
    // Room for one more publication's numbers (and its calculation room).
    bool growNumbers() noexcept;
    void closeNumbersOnly() noexcept;
    bool numbersOnly_ = false;
    VroPublicationNumbers* numbers_ = nullptr;
    uint32_t numbersCapacity_ = 0;
    uint32_t nextPlace_ = 0;
    alignas(VroPublication) unsigned char places_[2][sizeof(VroPublication)];
};

// Largest number of list slots.
inline constexpr uint32_t kMaxPublications = 0x7FFFFFF;
