#include "model/publication.h"

#include "foundation/unit_scan.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "model/fixed_point.h"

const char* const kFieldMaskBitNames[32] = {
    "ArticleURL", "Authors", "CitesCount", "CitesURL", "Publisher", "Rank", "Source", "Title",
    "Year", "Type", "DOI", "ISSN", "CitationURL", "Volume", "Issue", "StartPage",
    "EndPage", "ECC", "LocalAuthors", "LocalSource", "LocalTitle", "Abstract", "F22", "F23",
    "F24", "F25", "F26", "F27", "F28", "F29", "F30", "F31",
};

namespace {

// White space of author splitting: tab to carriage return, and blank.
bool isSplitWhiteSpace(char16_t c) { return c == 32 || (c >= 9 && c <= 13); }

constexpr char16_t kFullwidthComma = 0xFF0C;
constexpr char16_t kEllipsis = 0x2026;

uint32_t unitsUpToZero(const char16_t* text) {
    uint32_t n = 0;
    while (text[n] != 0) ++n;
    return n;
}

}  // namespace

// ---------------------------------------------------------------------------
// Publication

VroPublication::~VroPublication() {
    // Children are destroyed depth first; each child destroys its own chain.
    VroPublication* child = firstChild;
    while (child) {
        VroPublication* next = child->nextSibling;
        delete child;
        child = next;
    }
    clearAuthors();
    std::free(authorList);
    std::free(names_);
}

// A publication whose names were dropped keeps its count without a list.
void VroPublication::clearAuthors() noexcept {
    for (uint32_t i = 0; authorList != nullptr && i < authorCount; ++i) std::free(authorList[i].extra);
    authorCount = 0;
    namesUsed_ = 0;
}

// Room for `units` more units of names; a grown block is a new one, the
// entries' names moved into it.
char16_t* VroPublication::roomForName(uint32_t units) noexcept {
    if (units <= namesRoom_ - namesUsed_) return names_ + namesUsed_;
    const uint64_t wanted = std::max<uint64_t>({uint64_t(namesUsed_) + units, uint64_t(namesRoom_) * 2, 64});
    if (wanted > 0xFFFFFFFFu) return nullptr;
    auto* grown = static_cast<char16_t*>(std::malloc(size_t(wanted) * sizeof(char16_t)));
    if (grown == nullptr) return nullptr;
    if (namesUsed_ != 0) std::memcpy(grown, names_, size_t(namesUsed_) * sizeof(char16_t));
    for (uint32_t i = 0; i < authorCount; ++i) authorList[i].name = grown + (authorList[i].name - names_);
    std::free(names_);
    names_ = grown;
    namesRoom_ = uint32_t(wanted);
    return names_ + namesUsed_;
}

const char16_t* VroPublication::addAuthor(const char16_t* name, uint32_t length) noexcept {
    if (name == nullptr || length == 0 || authorCount >= kMaxAuthors) return nullptr;
    if (authorList == nullptr && authorCount != 0) return nullptr;  // names dropped
    if (length == 0xFFFFFFFFu) length = unitsUpToZero(name);
    if (authorCount == authorCapacity) {
        uint32_t wanted = authorCount == 0 ? 4 : authorCount * 2;
        if (wanted > kMaxAuthors) wanted = kMaxAuthors;
        if (wanted <= authorCapacity) return nullptr;
        void* grown = std::realloc(authorList, wanted * sizeof(VroAuthorEntry));
        if (grown == nullptr) return nullptr;
        authorList = static_cast<VroAuthorEntry*>(grown);
        authorCapacity = wanted;
    }
    if (length >= 0xFFFFFFFFu - namesUsed_) return nullptr;
    char16_t* copy = roomForName(length + 1);
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, name, size_t(length) * sizeof(char16_t));
    copy[length] = 0;
    namesUsed_ += length + 1;
    authorList[authorCount].name = copy;
    authorList[authorCount].extra = nullptr;
    ++authorCount;
    return copy;
}

// Splitting rules:
// - every U+FF0C in Authors becomes "," first (in Authors itself);
// - pieces run from a non-blank start to the next comma; blanks before a
//   comma stay part of the name; an empty piece adds nothing;
// - a stored name of two or more units ending in U+2026 loses it and marks
//   the piece "truncated"; any other piece, an empty one too, clears the mark;
// - a truncated last piece adds one more author "..." while there is room;
// - names past the 50th are dropped.
uint32_t VroPublication::splitAuthors() noexcept {
    clearAuthors();
    if (Authors.empty()) return 0;
    char16_t* const text = Authors.data();
    const uint32_t length = Authors.length();
    const char16_t* const end = text + length;
    for (char16_t* wide = findUnitOrZero(text, end, kFullwidthComma, kFullwidthComma); wide != end;
         wide = findUnitOrZero(wide + 1, end, kFullwidthComma, kFullwidthComma))
        if (*wide == kFullwidthComma) *wide = u',';

    uint32_t start = 0;
    while (start < length && isSplitWhiteSpace(text[start])) ++start;
    if (start == length) return 0;

    // Names the list will not keep are only counted.
    const bool keepNames = (keptTexts & kFieldAuthors) != 0;
    // Room for every name at once: the pieces' text, a zero for each of at
    // most 50 names, and "..." for a truncated list.
    if (keepNames) (void)roomForName(length - start + kMaxAuthors + 3);
    bool truncated = false;
    bool last = false;
    while (!last && authorCount < kMaxAuthors) {
        // A zero unit inside the text is passed over like any other.
        uint32_t comma = uint32_t(findUnitOrZero(text + start, end, u',', u',') - text);
        while (comma < length && text[comma] != u',') comma = uint32_t(findUnitOrZero(text + comma + 1, end, u',', u',') - text);
        uint32_t next = length;
        if (comma < length) {
            next = comma + 1;
            while (next < length && isSplitWhiteSpace(text[next])) ++next;
            if (next == length) last = true;
        } else {
            last = true;
        }
        truncated = false;
        if (comma > start && !keepNames) {
            ++authorCount;
            truncated = comma - start >= 2 && text[comma - 1] == kEllipsis;
        } else if (comma > start) {
            const char16_t* stored = addAuthor(text + start, comma - start);
            if (stored) {
                VroAuthorEntry& entry = authorList[authorCount - 1];
                const uint32_t n = comma - start;
                if (n >= 2 && entry.name[n - 1] == kEllipsis) {
                    entry.name[n - 1] = 0;
                    truncated = true;
                }
            }
        }
        start = next;
    }
    if (truncated && authorCount < kMaxAuthors) {
        if (keepNames)
            addAuthor(u"...", 3);
        else
            ++authorCount;
    }
    return authorCount;
}

uint32_t VroPublication::joinAuthors() noexcept {
    if ((keptTexts & kFieldAuthors) == 0) return authorCount;  // the text would be dropped unread
    Authors.clear();
    for (uint32_t i = 0; authorList != nullptr && i < authorCount; ++i) {
        if (i > 0) (void)Authors.append(u", ", 2);
        (void)Authors.append(authorList[i].name);
    }
    return authorCount;
}

ResultCode VroPublication::normaliseIssn() noexcept {
    const uint32_t n = ISSN.length();
    char16_t* text = ISSN.data();
    if (n == 8) return ISSN.insertFill(4, u'-', 1);
    if (n == 9 && text[4] == u' ') {
        text[4] = u'-';
        return kResultOk;
    }
    if (n == 9 && text[4] == u'-') return kResultOk;
    return kErrInvalidData;
}

namespace {

// Empties a dropped text; its heap block goes to the heir's empty field, so
// that the next record appends into storage that is already there.
void dropText(XpString16& text, XpString16* heir) noexcept {
    if (text.isInline() && text.empty()) return;  // the usual case: never filled
    if (heir != nullptr && !text.isInline() && heir->isInline() && heir->empty()) {
        *heir = std::move(text);
        heir->clear();
    } else {
        text = XpString16();
    }
}

}  // namespace

void VroPublication::dropTexts(uint32_t keep, VroPublication* heir) noexcept {
    struct Field {
        XpString16 VroPublication::*text;
        uint32_t bit;
    };
    // The spare texts are never filled; they go with any drop.
    static constexpr Field kTexts[] = {
        {&VroPublication::spareText1, 0},         {&VroPublication::Type, kFieldType},
        {&VroPublication::Title, kFieldTitle},    {&VroPublication::Authors, kFieldAuthors},
        {&VroPublication::Source, kFieldSource},  {&VroPublication::ISSN, kFieldIssn},
        {&VroPublication::Publisher, kFieldPublisher}, {&VroPublication::DOI, kFieldDoi},
        {&VroPublication::ArticleURL, kFieldArticleUrl}, {&VroPublication::CitationURL, kFieldCitationUrl},
        {&VroPublication::CitesURL, kFieldCitesUrl}, {&VroPublication::AuthorIds, kTextAuthorIds},
        {&VroPublication::spareText13, 0},        {&VroPublication::Abstract, kFieldAbstract},
    };
    for (const Field& field : kTexts)
        if ((keep & field.bit) == 0 || field.bit == 0) dropText(this->*field.text, heir ? &(heir->*field.text) : nullptr);
    if ((keep & kFieldAuthors) != 0 || authorList == nullptr) return;
    const uint32_t count = authorCount;
    clearAuthors();
    if (heir != nullptr && heir->authorList == nullptr && heir->authorCount == 0) {
        heir->authorList = authorList;
        heir->authorCapacity = authorCapacity;
    } else {
        std::free(authorList);
    }
    if (heir != nullptr && heir->names_ == nullptr) {
        heir->names_ = names_;
        heir->namesRoom_ = namesRoom_;
    } else {
        std::free(names_);
    }
    names_ = nullptr;
    namesRoom_ = 0;
    authorList = nullptr;
    authorCapacity = 0;
    authorCount = count;
}

bool VroPublication::deriveAge(const VroPublicationList& list) noexcept {
    if (Year < kFirstCountedYear) return false;
    int32_t years = int32_t(uint32_t(list.referenceYear) + 1900u - uint32_t(Year));
    if (years < 1) years = 1;
    age = years;
    const uint32_t before = citesPerYear100;
    citesPerYear100 = mulDivRound(Cites, 100, uint32_t(age));
    return citesPerYear100 != before;
}

// ---------------------------------------------------------------------------
// Orders

namespace {

// Differences of unsigned values are taken in 32 bits and read as signed, so
// counts above 2^31 compare wrongly; the established orders behave so.
int diff(uint32_t a, uint32_t b) { return int32_t(a - b); }
int diff(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }

int textOrder(const XpString16& a, const XpString16& b) { return XpString16::compare(a, b); }

template <int (*Key)(const VroPublication*, const VroPublication*)>
int withRank(const VroPublication* a, const VroPublication* b) {
    const int d = Key(a, b);
    return d != 0 ? d : diff(a->Rank, b->Rank);
}
template <int (*Key)(const VroPublication*, const VroPublication*)>
int falling(const VroPublication* a, const VroPublication* b) {
    const int d = Key(b, a);
    return d != 0 ? d : diff(a->Rank, b->Rank);
}

int byAuthors(const VroPublication* a, const VroPublication* b) { return textOrder(a->Authors, b->Authors); }
int byCites(const VroPublication* a, const VroPublication* b) { return diff(a->Cites, b->Cites); }
int byCitesPerYear(const VroPublication* a, const VroPublication* b) {
    return diff(a->citesPerYear100, b->citesPerYear100);
}
int byCitesPerAuthor(const VroPublication* a, const VroPublication* b) {
    return diff(a->citesPerAuthor, b->citesPerAuthor);
}
int byPublisher(const VroPublication* a, const VroPublication* b) { return textOrder(a->Publisher, b->Publisher); }
int byRank(const VroPublication* a, const VroPublication* b) { return diff(a->Rank, b->Rank); }
int byRankFalling(const VroPublication* a, const VroPublication* b) { return diff(b->Rank, a->Rank); }
int bySource(const VroPublication* a, const VroPublication* b) { return textOrder(a->Source, b->Source); }
int byTitle(const VroPublication* a, const VroPublication* b) { return textOrder(a->Title, b->Title); }
int byType(const VroPublication* a, const VroPublication* b) { return textOrder(a->Type, b->Type); }
int byYear(const VroPublication* a, const VroPublication* b) { return diff(a->Year, b->Year); }

}  // namespace

const VroPublicationComparator kAscendingOrders[kSortKeyCount + 1] = {
    nullptr,           withRank<byAuthors>, withRank<byCites>, withRank<byCitesPerYear>, withRank<byCitesPerAuthor>,
    withRank<byPublisher>, byRank,          withRank<bySource>, withRank<byTitle>,       withRank<byType>,
    withRank<byYear>,
};

const VroPublicationComparator kDescendingOrders[kSortKeyCount + 1] = {
    nullptr,          falling<byAuthors>, falling<byCites>, falling<byCitesPerYear>, falling<byCitesPerAuthor>,
    falling<byPublisher>, byRankFalling,  falling<bySource>, falling<byTitle>,       falling<byType>,
    falling<byYear>,
};

// ---------------------------------------------------------------------------
// List

ResultCode VroPublicationList::append(VroPublication* publication) noexcept {
    if (count_ + 1 > capacity_) {
        uint32_t wanted = 1;
        while (wanted < count_ + 1 && wanted <= kMaxPublications) wanted <<= 1;
        if (wanted > kMaxPublications) wanted = kMaxPublications;
        if (wanted < count_ + 1) return kErrDataLimit;
        void* grown = std::realloc(items_, size_t(wanted) * sizeof(VroPublication*));
        if (grown == nullptr) return kErrNoMemory;
        items_ = static_cast<VroPublication**>(grown);
        capacity_ = wanted;
    }
    items_[count_++] = publication;
    return kResultOk;
}

// Publications of one slab; a list of a few hundred records takes one.
struct VroPublicationList::Slab {
    static constexpr uint32_t kCount = 512;
    Slab* next;
    uint32_t used;
    alignas(VroPublication) unsigned char room[kCount][sizeof(VroPublication)];
};

void* VroPublicationList::placeForPublication() noexcept {
    if (slabs_ == nullptr || slabs_->used == Slab::kCount) {
        auto* slab = static_cast<Slab*>(std::malloc(sizeof(Slab)));
        if (slab == nullptr) return nullptr;
        slab->next = slabs_;
        slab->used = 0;
        slabs_ = slab;
    }
    return slabs_->room[slabs_->used++];
}

// The room grows by doubling and holds nothing between calculations, so it
// is replaced rather than copied.
bool VroPublicationList::reserveRoom(uint32_t count) noexcept {
    if (count <= roomCapacity_) return true;
    const uint32_t wanted = roomCapacity_ == 0 ? 64 : roomCapacity_ * 2;
    void* room = std::malloc(size_t(wanted) * kCalculationRoomPerPublication + 1);
    if (room == nullptr) return false;
    std::free(room_);
    room_ = static_cast<unsigned char*>(room);
    roomCapacity_ = wanted;
    return true;
}

VroPublication* VroPublicationList::add() noexcept {
    if (numbersOnly_) return addNumbersOnly();
    if (count_ < kMaxPublications && !reserveRoom(count_ + 1)) return nullptr;
    void* place = placeForPublication();
    if (place == nullptr) return nullptr;
    auto* publication = new (place) VroPublication();
    publication->keptTexts = retainedTexts_ | hookTexts_;
    if (open_ != nullptr) closeRecord(publication);
    open_ = publication;
    // A list that cannot grow still hands the record out: filters test only
    // for null, and the established behaviour is kept.
    (void)append(publication);
    return publication;
}

namespace {
thread_local VroPublicationComparator tSortComparator = nullptr;
int qsortThunk(const void* a, const void* b) {
    return tSortComparator(*static_cast<VroPublication* const*>(a), *static_cast<VroPublication* const*>(b));
}
}  // namespace

void VroPublicationList::sort(VroPublicationComparator comparator) noexcept {
    if (comparator == nullptr || count_ < 2 || numbersOnly_) return;
    tSortComparator = comparator;
    std::qsort(items_, count_, sizeof(VroPublication*), qsortThunk);
    tSortComparator = nullptr;
}

namespace {

struct SortEntry {
    uint32_t key;
    int32_t rank;
    VroPublication* publication;
};

thread_local VroSortDirection tDirection = VroSortDirection::rising;
thread_local VroRankTies tTies = VroRankTies::none;
thread_local VroPublicationKey tKey = nullptr;

int compareKeyed(uint32_t keyA, int32_t rankA, uint32_t keyB, int32_t rankB) {
    const int d = tDirection == VroSortDirection::rising ? diff(keyA, keyB) : diff(keyB, keyA);
    if (d != 0 || tTies == VroRankTies::none) return d;
    return tTies == VroRankTies::smallerFirst ? diff(rankA, rankB) : diff(rankB, rankA);
}
int entryThunk(const void* a, const void* b) {
    const auto* x = static_cast<const SortEntry*>(a);
    const auto* y = static_cast<const SortEntry*>(b);
    return compareKeyed(x->key, x->rank, y->key, y->rank);
}
int recordThunk(const VroPublication* a, const VroPublication* b) {
    return compareKeyed(tKey(*a), a->Rank, tKey(*b), b->Rank);
}

}  // namespace

void VroPublicationList::sortByKey(VroPublicationKey key, VroSortDirection direction, VroRankTies ties) noexcept {
    if (key == nullptr || count_ < 2 || numbersOnly_) return;
    tDirection = direction;
    tTies = ties;
    auto* entries = static_cast<SortEntry*>(std::malloc(size_t(count_) * sizeof(SortEntry)));
    if (entries == nullptr) {
        tKey = key;
        sort(recordThunk);
        return;
    }
    for (uint32_t i = 0; i < count_; ++i) entries[i] = {key(*items_[i]), items_[i]->Rank, items_[i]};
    std::qsort(entries, count_, sizeof(SortEntry), entryThunk);
    for (uint32_t i = 0; i < count_; ++i) items_[i] = entries[i].publication;
    std::free(entries);
}

void VroPublicationList::setOrder(VroPublication* const* publications) noexcept {
    if (count_ != 0 && !numbersOnly_) std::memcpy(items_, publications, size_t(count_) * sizeof(VroPublication*));
}

void VroPublicationList::endImport() noexcept {
    if (numbersOnly_) {
        if (open_ != nullptr && hook_ != nullptr) hook_(*open_, hookContext_);
        closeNumbersOnly();
        return;
    }
    if (open_ != nullptr) closeRecord(nullptr);
    open_ = nullptr;
}

// The open record's import has ended: the hook sees it whole, then the
// texts the list does not retain go (to heir, when given).
void VroPublicationList::closeRecord(VroPublication* heir) noexcept {
    if (hook_ != nullptr) hook_(*open_, hookContext_);
    const bool dropsSome =
        (retainedTexts_ | kTextAuthorIds) != 0xFFFFFFFFu || (hookTexts_ & ~retainedTexts_) != 0;
    if (dropsSome) open_->dropTexts(retainedTexts_, heir);
}

uint32_t VroPublicationList::countWithStatus(uint32_t bits) const noexcept {
    uint32_t n = 0;
    if (!numbersOnly_) {
        for (uint32_t i = 0; i < count_; ++i) n += (items_[i]->status & bits) != 0;
        return n;
    }
    for (uint32_t i = 0; i < numbersCount(); ++i) n += (numbers_[i].status & bits) != 0;
    if (open_ != nullptr) n += (open_->status & bits) != 0;
    return n;
}

void VroPublicationList::keepNumbersOnly() noexcept {
    if (count_ != 0) return;
    numbersOnly_ = true;
    retainedTexts_ = 0;
}

// The open publication's numbers go to the end of the numbers; the
// publication itself goes.
void VroPublicationList::closeNumbersOnly() noexcept {
    if (open_ == nullptr) return;
    const VroPublication& p = *open_;
    numbers_[count_ - 1] = {p.Rank,  p.Year,  p.Use,   p.age,          p.authorCount,   p.ECC,
                            p.Cites, p.sc100, p.citesPerAuthor, p.citesPerYear100, p.status};
    open_->~VroPublication();
    open_ = nullptr;
}

bool VroPublicationList::growNumbers() noexcept {
    if (count_ >= kMaxPublications) return false;
    if (count_ + 1 > numbersCapacity_) {
        const uint32_t wanted = numbersCapacity_ == 0 ? 64 : numbersCapacity_ * 2;
        void* numbers = std::realloc(numbers_, size_t(wanted) * sizeof(VroPublicationNumbers));
        if (numbers == nullptr) return false;
        numbers_ = static_cast<VroPublicationNumbers*>(numbers);
        numbersCapacity_ = wanted;
    }
    return reserveRoom(count_ + 1);
}

bool VroPublicationList::appendNumbers(const VroPublicationNumbers& numbers) noexcept {
    if (!numbersOnly_) return false;
    if (open_ != nullptr && hook_ != nullptr) hook_(*open_, hookContext_);
    closeNumbersOnly();
    if (!growNumbers()) return false;
    numbers_[count_++] = numbers;
    return true;
}

void VroPublicationList::restartNumbers() noexcept {
    if (!numbersOnly_) return;
    if (open_ != nullptr) open_->~VroPublication();
    open_ = nullptr;
    count_ = 0;
}

// Room for one more publication is made first, so that a publication once
// handed out can always be closed; the new one takes over the heap storage
// of the one before.
VroPublication* VroPublicationList::addNumbersOnly() noexcept {
    if (!growNumbers()) return nullptr;
    auto* publication = new (places_[nextPlace_]) VroPublication();
    nextPlace_ ^= 1u;
    publication->keptTexts = hookTexts_;
    if (open_ != nullptr) {
        if (hook_ != nullptr) hook_(*open_, hookContext_);
        open_->dropTexts(0, publication);
        closeNumbersOnly();
    }
    open_ = publication;
    ++count_;
    return publication;
}

// A publication that add() handed out but could not list is never
// destroyed; its slab room goes with the slab.
void VroPublicationList::clear() noexcept {
    if (numbersOnly_) {
        if (open_ != nullptr) open_->~VroPublication();
        open_ = nullptr;
        std::free(numbers_);
        numbers_ = nullptr;
        numbersCapacity_ = 0;
        count_ = 0;
        freeRoom();
        return;
    }
    for (uint32_t i = 0; i < count_; ++i) {
        if (items_[i] != nullptr) items_[i]->~VroPublication();
        items_[i] = nullptr;
    }
    count_ = 0;
    capacity_ = 0;
    std::free(items_);
    items_ = nullptr;
    open_ = nullptr;
    while (slabs_ != nullptr) {
        Slab* next = slabs_->next;
        std::free(slabs_);
        slabs_ = next;
    }
    freeRoom();
}

void VroPublicationList::freeRoom() noexcept {
    std::free(room_);
    room_ = nullptr;
    roomCapacity_ = 0;
}
