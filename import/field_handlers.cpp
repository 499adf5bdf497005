#include "import/field_handlers.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "foundation/unit_scan.h"
#include "import/note_scanner.h"
#include "model/publication.h"

namespace {

// Pieces the author list handlers split a value into; the last keeps the rest.
constexpr uint32_t kMaxAuthorPieces = 100;

// Handlers never fail: a string that cannot grow keeps what it had.
void keep(ResultCode) noexcept {}

// Appends value to field, separator first when the field already holds text.
void appendText(XpString16& field, const char16_t* value, uint32_t length, const char16_t* separator) {
    if (!field.empty()) keep(field.append(separator));
    keep(field.append(value, length));
}

// A text handler's value as it is to be stored: trimmed in place, with its
// length; no text when there is nothing to store.
struct TextValue {
    const char16_t* text;
    uint32_t length;
};

// The first step of every text handler. The field's bit is set when the
// value holds more than white space. A text the publication will not keep
// (stored false) is only noted: its bit is set as storing it would have done,
// and the value is neither trimmed nor measured, so a long one costs nothing.
TextValue textValue(char16_t* value, bool stored, uint32_t& mask, uint32_t bit) noexcept {
    if (!stored) {
        while (isAsciiWhiteSpace(*value)) ++value;
        if (*value != 0) mask |= bit;
        return {nullptr, 0};
    }
    uint32_t length = 0;
    const char16_t* text = trimValue(value, &length);
    if (length == 0) return {nullptr, 0};
    mask |= bit;
    return {text, length};
}

bool keeps(const VroPublication& pub, uint32_t bit) noexcept { return (pub.keptTexts & bit) != 0; }

// A text handler of one field: the value replaces the field, or with a
// separator is appended to it; an empty value changes nothing.
void putText(VroPublication& pub, XpString16 VroPublication::*field, char16_t* value, uint32_t& mask, uint32_t bit,
             const char16_t* separator = nullptr) noexcept {
    const TextValue v = textValue(value, keeps(pub, bit), mask, bit);
    if (v.text == nullptr) return;
    if (separator != nullptr)
        appendText(pub.*field, v.text, v.length, separator);
    else
        keep((pub.*field).assign(v.text, v.length));
}

// Number handlers store even 0; the bit only marks values of 1 or more.
void putNumber(int32_t& field, const char16_t* value, uint32_t& mask, uint32_t bit) {
    field = parseSignedValue(value);
    if (field >= 1) mask |= bit;
}

uint32_t textLength(const char16_t* text) noexcept {
    uint32_t n = 0;
    while (text[n] != 0) ++n;
    return n;
}

// One piece of an author list: trimmed, zero-terminated, with its length.
struct Piece {
    char16_t* text;
    uint32_t length;
};

// Bounded output of the author list handlers: every copy stops at the end,
// so an over-long result is cut rather than overflowing.
struct BoundedText {
    char16_t* data;
    uint32_t capacity;  // units, terminator included
    uint32_t length = 0;

    char16_t* tail() noexcept { return data + length; }
    uint32_t room() const noexcept { return capacity - 1 - length; }
    void put(const char16_t* text, uint32_t n) noexcept {
        if (n > room()) n = room();
        // Names and their parts are short: copied without a call, since the
        // output never lies over the text it is made from.
        char16_t* out = data + length;
        if (n <= 16) {
            for (uint32_t i = 0; i < n; ++i) out[i] = text[i];
        } else {
            std::memmove(out, text, size_t(n) * sizeof(char16_t));
        }
        length += n;
        data[length] = 0;
    }
    void putReversed(const char16_t* name, char16_t separator) noexcept {
        length += reverseName(name, textLength(name), separator, tail(), room() + 1);
    }
    void putReversed(const Piece& piece, char16_t separator) noexcept {
        length += reverseName(piece.text, piece.length, separator, tail(), room() + 1);
    }
};

// Working room of the author handlers: on the stack for the usual short
// values, from the heap beyond that; data() is null when the heap has none.
class ScratchText {
public:
    explicit ScratchText(uint32_t units) noexcept
        : data_(units <= kLocalUnits ? local_ : new (std::nothrow) char16_t[units]) {}
    ~ScratchText() {
        if (data_ != local_) delete[] data_;
    }
    ScratchText(const ScratchText&) = delete;
    ScratchText& operator=(const ScratchText&) = delete;
    char16_t* data() noexcept { return data_; }

private:
    static constexpr uint32_t kLocalUnits = 512;
    char16_t local_[kLocalUnits];
    char16_t* data_;
};

// Splits text in place at every separator into at most kMaxAuthorPieces
// pieces (the last keeps the rest of the text) and trims every piece; text
// ends (with its zero) at end and holds no other zero.
uint32_t splitTrimmedPieces(char16_t* text, const char16_t* end, char16_t separator, Piece* pieces) noexcept {
    uint32_t count = 0;
    for (char16_t* start = text;;) {
        char16_t* stop = count + 1 < kMaxAuthorPieces ? findUnitOrZero(start, end, separator, separator)
                                                      : const_cast<char16_t*>(end);
        while (start < stop && isAsciiWhiteSpace(*start)) ++start;
        uint32_t n = uint32_t(stop - start);
        while (n > 0 && isAsciiWhiteSpace(start[n - 1])) --n;
        const bool last = stop == end;
        start[n] = 0;
        pieces[count++] = {start, n};
        if (last) return count;
        start = stop + 1;
    }
}

// Joins count names into one text, ", " between them, and appends it to
// Authors with ", " as separator; bit 1 tells whether Authors then holds
// anything. The text is built in room for the value's length plus one plus
// two units a piece, and cut there. putName(joined, i) writes the name that
// starts at piece i and returns the piece after it. Nothing changes when
// the room cannot be had.
template <class PutName>
void appendJoinedNames(VroPublication& pub, uint32_t& mask, uint32_t valueLength, uint32_t count, PutName putName) {
    const uint32_t capacity = valueLength + 1 + 2 * count;
    ScratchText buffer(capacity);
    if (buffer.data() == nullptr) return;
    BoundedText joined{buffer.data(), capacity};
    buffer.data()[0] = 0;
    for (uint32_t i = 0; i < count;) {
        if (i > 0) joined.put(u", ", 2);
        i = putName(joined, i);
    }
    appendText(pub.Authors, joined.data, joined.length, u", ");
    if (!pub.Authors.empty()) mask |= kFieldAuthors;
}

// A note that held a count: the record carries one.
void setAllCounts(VroPublication& pub, uint32_t count) noexcept {
    pub.status |= kStatusCountGiven;
    pub.CitesCount = count;
    pub.ECC = count;
    pub.Cites = count;
}

bool startsWithNoCase(const char16_t* text, const char* prefix) noexcept {
    for (; *prefix != 0; ++prefix, ++text) {
        if (asciiLower(*text) != asciiLower(char16_t(static_cast<unsigned char>(*prefix)))) return false;
    }
    return true;
}

}  // namespace

char16_t* trimValue(char16_t* text, uint32_t* length) noexcept {
    while (isAsciiWhiteSpace(*text)) ++text;
    uint32_t n = textLength(text);
    while (n > 0 && isAsciiWhiteSpace(text[n - 1])) --n;
    text[n] = 0;
    if (length != nullptr) *length = n;
    return text;
}

int32_t parseSignedValue(const char16_t* text) noexcept {
    int32_t value = 0;
    return readSignedNumber(text, &value) != nullptr ? value : 0;
}

uint32_t parseUnsignedValue(const char16_t* text) noexcept {
    uint32_t value = 0;
    return readUnsignedNumber(text, &value) != nullptr ? value : 0;
}

uint32_t reverseName(const char16_t* name, uint32_t length, char16_t separator, char16_t* out,
                     uint32_t outCapacity) noexcept {
    if (out == nullptr || outCapacity == 0) return 0;
    BoundedText result{out, outCapacity};
    out[0] = 0;
    uint32_t cut = length;
    for (uint32_t i = length; i > 0; --i) {
        if (name[i - 1] == separator) {
            cut = i - 1;
            break;
        }
    }
    if (cut == length) {
        result.put(name, length);
        return result.length;
    }
    uint32_t after = cut + 1;
    while (after < length && isAsciiWhiteSpace(name[after])) ++after;
    result.put(name + after, length - after);
    if (cut > 0) {
        if (result.length > 0) result.put(u" ", 1);
        result.put(name, cut);
    }
    return result.length;
}

void ignoreField(VroPublication&, char16_t*, uint32_t&) {}

void setAbstract(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::Abstract, value, mask, kFieldAbstract, u" ");
}

void setArticleUrl(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::ArticleURL, value, mask, kFieldArticleUrl);
}

// The Authors text is stored whatever the list keeps: the author list is
// split from it, and its names are counted even where they are not kept.
void addAuthorsText(VroPublication& pub, char16_t* value, uint32_t& mask) {
    const TextValue v = textValue(value, true, mask, kFieldAuthors);
    if (v.text != nullptr) appendText(pub.Authors, v.text, v.length, u", ");
}

void setCitationUrl(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::CitationURL, value, mask, kFieldCitationUrl);
}

void setCitesUrl(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::CitesURL, value, mask, kFieldCitesUrl);
}

void setDoi(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::DOI, value, mask, kFieldDoi);
}

void setIssn(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::ISSN, value, mask, kFieldIssn);
    // A value that is no ISSN is kept as given; one already shaped stays so.
    if (keeps(pub, kFieldIssn)) keep(pub.normaliseIssn());
}

void setPublisher(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::Publisher, value, mask, kFieldPublisher, u" ");
}

void setSource(VroPublication& pub, char16_t* value, uint32_t& mask) {
    if ((mask & kFieldLocalSource) != 0) return;
    putText(pub, &VroPublication::Source, value, mask, kFieldSource, u" ");
}

void setTitle(VroPublication& pub, char16_t* value, uint32_t& mask) {
    if ((mask & kFieldLocalTitle) != 0) return;
    putText(pub, &VroPublication::Title, value, mask, kFieldTitle, u" ");
}

// "S" stands for "Review" in the sources that use one-letter codes; kept so.
void setType(VroPublication& pub, char16_t* value, uint32_t& mask) {
    const TextValue v = textValue(value, keeps(pub, kFieldType), mask, kFieldType);
    if (v.text == nullptr) return;
    const char16_t* name = nullptr;
    if (v.length == 1) {
        switch (asciiLower(v.text[0])) {
            case u'b': name = u"Book"; break;
            case u'c': name = u"Proceedings paper"; break;
            case u'j': name = u"Journal article"; break;
            case u's': name = u"Review"; break;
            default: break;
        }
    }
    keep(name != nullptr ? pub.Type.assign(name) : pub.Type.assign(v.text, v.length));
}

void setTypeText(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putText(pub, &VroPublication::Type, value, mask, kFieldType);
}

void setRank(VroPublication& pub, char16_t* value, uint32_t& mask) { putNumber(pub.Rank, value, mask, kFieldRank); }
void setYear(VroPublication& pub, char16_t* value, uint32_t& mask) { putNumber(pub.Year, value, mask, kFieldYear); }
void setVolume(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putNumber(pub.Volume, value, mask, kFieldVolume);
}
void setIssue(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putNumber(pub.Issue, value, mask, kFieldIssue);
}
void setStartPage(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putNumber(pub.StartPage, value, mask, kFieldStartPage);
}
void setEndPage(VroPublication& pub, char16_t* value, uint32_t& mask) {
    putNumber(pub.EndPage, value, mask, kFieldEndPage);
}

void setInUse(VroPublication& pub, char16_t* value, uint32_t&) {
    pub.Use = parseSignedValue(value);
}

void setPages(VroPublication& pub, char16_t* value, uint32_t& mask) {
    const NoteScanResult scan = scanNote(value, "%d-%d");
    if (scan.converted >= 1) pub.StartPage = int32_t(scan.values[0]);
    if (scan.converted >= 2) pub.EndPage = int32_t(scan.values[1]);
    if (pub.StartPage > 0) mask |= kFieldStartPage;
    if (pub.EndPage >= 1) mask |= kFieldEndPage;
}

void setCites(VroPublication& pub, char16_t* value, uint32_t& mask) {
    pub.status |= kStatusCountGiven;
    pub.CitesCount = parseUnsignedValue(value);
    if (pub.CitesCount != 0) mask |= kFieldCitesCount;
    // A source's own non-zero estimate, read earlier in the row, stands.
    if ((mask & kFieldEcc) == 0) pub.ECC = pub.CitesCount;
    pub.Cites = pub.ECC;
}

void setEstimatedCites(VroPublication& pub, char16_t* value, uint32_t& mask) {
    pub.status |= kStatusCountGiven;
    pub.ECC = parseUnsignedValue(value);
    if (pub.ECC != 0) {
        mask |= kFieldEcc;
        pub.Cites = pub.ECC;
    }
}

void setCitesNote(VroPublication& pub, char16_t* value, uint32_t& mask) {
    if (startsWithNoCase(value, "Query date:")) return;
    const NoteScanResult scan = scanNote(value, "%u cites:");
    if (!scan.matched) return;
    setAllCounts(pub, scan.values[0]);
    mask |= kFieldCitesCount;
    const char16_t* link = scan.stop;
    while (isAsciiWhiteSpace(*link)) ++link;
    if (*link != 0) {
        keep(pub.CitesURL.assign(link));
        mask |= kFieldCitesUrl;
    }
}

void setCitedByNote(VroPublication& pub, char16_t* value, uint32_t& mask) {
    NoteScanResult scan = scanNote(value, "%~(Cited By) (since %u): %u");
    if (!scan.matched) scan = scanNote(value, "%~(Cited By) : %u");
    if (!scan.matched) return;
    setAllCounts(pub, scan.values[scan.converted - 1]);
    mask |= kFieldCitesCount;
}

void setCitedByCountNote(VroPublication& pub, char16_t* value, uint32_t& mask) {
    NoteScanResult scan = scanNote(value, "%~(Cited By) : %u");
    if (!scan.matched) scan = scanNote(value, "%~(Cited By) (since %u) %u");
    if (!scan.matched) scan = scanNote(value, "%~(Cited By) %u");
    if (!scan.matched) return;
    setAllCounts(pub, scan.values[scan.converted - 1]);
    mask |= kFieldCitesCount;
}

void setFirstSource(VroPublication& pub, char16_t* value, uint32_t& mask) {
    if ((mask & kFieldSource) != 0) return;
    setSource(pub, value, mask);
}

void addAuthorName(VroPublication& pub, char16_t* value, uint32_t& mask) {
    if ((mask & kFieldLocalAuthors) != 0) return;
    uint32_t length = 0;
    const char16_t* text = trimValue(value, &length);
    if (length == 0) return;
    // A name the list will not keep is only counted, as storing it would
    // count it: turning a trimmed name round its last comma leaves it empty
    // only when the name is that comma alone.
    if (!keeps(pub, kFieldAuthors)) {
        if (!(length == 1 && text[0] == u',') && pub.authorCount < kMaxAuthors) ++pub.authorCount;
        mask |= kFieldAuthors;
        return;
    }
    ScratchText name(length + 2);
    if (name.data() == nullptr) return;
    const uint32_t n = reverseName(text, length, u',', name.data(), length + 2);
    pub.addAuthor(name.data(), n);
    mask |= kFieldAuthors;
}

void setSemicolonAuthors(VroPublication& pub, char16_t* value, uint32_t& mask) {
    if ((mask & kFieldLocalAuthors) != 0) return;
    uint32_t length = 0;
    char16_t* text = trimValue(value, &length);
    if (length == 0) return;
    Piece pieces[kMaxAuthorPieces];
    uint32_t count = splitTrimmedPieces(text, text + length, u';', pieces);
    while (count > 0 && pieces[count - 1].length == 0) --count;
    return appendJoinedNames(pub, mask, length, count, [&](BoundedText& joined, uint32_t i) {
        joined.putReversed(pieces[i], u',');
        return i + 1;
    });
}

// Scopus writes "Surname Initials" per author, or "Surname, Initials" with the
// same comma that separates authors; two neighbouring pieces that both hold a
// blank are whole names, otherwise a piece and the next form one name.
void setScopusAuthors(VroPublication& pub, char16_t* value, uint32_t& mask) {
    const uint32_t length = textLength(value);
    Piece pieces[kMaxAuthorPieces];
    const uint32_t count = splitTrimmedPieces(value, value + length, u',', pieces);
    bool blank[kMaxAuthorPieces];
    for (uint32_t i = 0; i < count; ++i) {
        blank[i] = false;
        for (uint32_t k = 0; k < pieces[i].length && !blank[i]; ++k) blank[i] = isAsciiWhiteSpace(pieces[i].text[k]);
    }
    return appendJoinedNames(pub, mask, length, count, [&](BoundedText& joined, uint32_t i) {
        if (i + 1 < count && !(blank[i] && blank[i + 1])) {
            joined.put(pieces[i + 1].text, pieces[i + 1].length);
            joined.put(u" ", 1);
            joined.put(pieces[i].text, pieces[i].length);
            return i + 2;
        }
        joined.putReversed(pieces[i], u' ');
        return i + 1;
    });
}

namespace {

// A ';' separates names when white space follows it or it ends the value, so
// that an entity such as "Garc&iacute;a" stays inside its name.
bool isListSemicolon(const char16_t* at) noexcept { return at[0] == u';' && (at[1] == 0 || isAsciiWhiteSpace(at[1])); }

bool containsUnit(const char16_t* text, char16_t unit) noexcept {
    for (; *text != 0; ++text)
        if (*text == unit) return true;
    return false;
}

}  // namespace

void setScopusListAuthors(VroPublication& pub, char16_t* value, uint32_t& mask) {
    const uint32_t length = textLength(value);
    char16_t* pieces[kMaxAuthorPieces];
    uint32_t count = 0;
    pieces[count++] = value;
    for (char16_t* p = value; *p != 0 && count < kMaxAuthorPieces; ++p) {
        if (!isListSemicolon(p)) continue;
        *p = 0;
        pieces[count++] = p + 1;
    }
    if (count == 1) return setScopusAuthors(pub, value, mask);
    for (uint32_t i = 0; i < count; ++i) pieces[i] = trimValue(pieces[i]);
    while (count > 0 && pieces[count - 1][0] == 0) --count;
    return appendJoinedNames(pub, mask, length, count, [&](BoundedText& joined, uint32_t i) {
        joined.putReversed(pieces[i], containsUnit(pieces[i], u',') ? u',' : u' ');
        return i + 1;
    });
}

namespace {

// What OpenAlex writes for an author it has no name for.
bool isPlaceholderName(const char16_t* name) noexcept {
    return std::u16string_view(name) == u"None" || compareFieldKey(name, "nan") == 0;
}

// A comma left inside a name would split it when Authors is split into the
// author list: each becomes a blank, or goes where white space follows it.
// With keepLast the last comma stays, to turn the name round. text ends
// (with its zero) at text + length; *anyComma tells whether it held one.
uint32_t clearInnerCommas(char16_t* text, uint32_t length, bool keepLast, bool* anyComma) noexcept {
    char16_t* const end = text + length;
    char16_t* comma = const_cast<char16_t*>(findUnitOrZero(text, end, u',', u','));
    *anyComma = comma != end;
    if (comma == end) return length;
    uint32_t last = length;
    if (keepLast)
        for (uint32_t i = length; i > 0 && last == length; --i)
            if (text[i - 1] == u',') last = i - 1;
    uint32_t out = uint32_t(comma - text);
    if (last == out) return length;  // the usual "Surname, Given": its one comma stays
    for (uint32_t i = out; i < length; ++i) {
        char16_t c = text[i];
        if (c == u',' && i != last) {
            if (i + 1 < length && isAsciiWhiteSpace(text[i + 1])) continue;
            c = u' ';
        }
        text[out++] = c;
    }
    text[out] = 0;
    return out;
}

// Splits value in place at list semicolons and, with bars, at '|' (at most
// kMaxAuthorPieces pieces, the last keeping the rest), trims each piece,
// drops empty ones and, with bars, placeholders; turns each round at its
// last comma (surnameFirst) or clears its commas, and appends them, joined
// with ", ", to Authors.
void appendNameList(VroPublication& pub, char16_t* value, uint32_t& mask, bool bars, bool surnameFirst) {
    const uint32_t length = textLength(value);
    char16_t* const end = value + length;
    char16_t* starts[kMaxAuthorPieces];
    uint32_t count = 0;
    starts[count++] = value;
    const char16_t bar = bars ? u'|' : u';';
    for (char16_t* p = const_cast<char16_t*>(findUnitOrZero(value, end, u';', bar));
         p != end && count < kMaxAuthorPieces; p = const_cast<char16_t*>(findUnitOrZero(p + 1, end, u';', bar))) {
        if (*p != u'|' && !isListSemicolon(p)) continue;
        *p = 0;
        starts[count++] = p + 1;
    }
    Piece pieces[kMaxAuthorPieces];
    bool turn[kMaxAuthorPieces];
    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; ++i) {
        // Each piece ends where the next starts, or at the end.
        char16_t* name = starts[i];
        char16_t* stop = i + 1 < count ? starts[i + 1] - 1 : end;
        while (name < stop && isAsciiWhiteSpace(*name)) ++name;
        while (stop > name && isAsciiWhiteSpace(stop[-1])) --stop;
        *stop = 0;
        const uint32_t n = uint32_t(stop - name);
        if (n == 0 || (bars && isPlaceholderName(name))) continue;
        bool comma = false;
        pieces[kept] = {name, clearInnerCommas(name, n, surnameFirst, &comma)};
        turn[kept++] = surnameFirst && comma;
    }
    if (kept == 0) return;
    return appendJoinedNames(pub, mask, length, kept, [&](BoundedText& joined, uint32_t i) {
        if (turn[i])
            joined.putReversed(pieces[i], u',');
        else
            joined.put(pieces[i].text, pieces[i].length);
        return i + 1;
    });
}

}  // namespace

void setListAuthors(VroPublication& pub, char16_t* value, uint32_t& mask) {
    appendNameList(pub, value, mask, false, true);
}

void setBarListAuthors(VroPublication& pub, char16_t* value, uint32_t& mask) {
    appendNameList(pub, value, mask, true, false);
}

// ---------------------------------------------------------------------------
// Authors' identifiers: every entry is one line "kind:identifier<TAB>who" of
// AuthorIds (model/publication.h), stored only when the list keeps them.

namespace {

// Appends one entry; who is "#index" when name is null. The entry is written
// straight into room grown once, since a list of many authors appends one
// entry per author.
void appendAuthorId(VroPublication& pub, std::u16string_view kind, const char16_t* id, uint32_t idLength,
                    uint32_t index, const char16_t* name, uint32_t nameLength) noexcept {
    if (idLength == 0) return;
    char16_t place[11];  // '#' and the ten digits of any index
    if (name == nullptr) {
        uint32_t at = sizeof place / sizeof place[0];
        do {
            place[--at] = char16_t(u'0' + index % 10);
            index /= 10;
        } while (index != 0);
        place[--at] = u'#';
        name = place + at;
        nameLength = uint32_t(sizeof place / sizeof place[0]) - at;
    }
    XpString16& ids = pub.AuthorIds;
    const bool first = ids.empty();
    const uint64_t units = uint64_t(first ? 0 : 1) + kind.size() + 1 + idLength + 1 + nameLength;
    if (units > kXpStringMaxCapacity || ids.grow(uint32_t(units)) != kResultOk) return;
    char16_t* out = ids.end();
    if (!first) *out++ = u'\n';
    out = std::copy(kind.begin(), kind.end(), out);
    *out++ = u':';
    out = std::copy(id, id + idLength, out);
    *out++ = u'\t';
    std::copy(name, name + nameLength, out);
    ids.commitAppended(uint32_t(units));
}

// The pieces of value separated by `separator`, each trimmed, with its place
// in the list (empty pieces keep their place); stops after kMaxAuthors.
template <class Visit>
void forEachPiece(char16_t* value, char16_t separator, Visit visit) noexcept {
    uint32_t index = 0;
    char16_t* p = value;
    while (*p != 0 && index < kMaxAuthors) {
        char16_t* end = p;
        while (*end != 0 && *end != separator) ++end;
        const bool last = *end == 0;
        *end = 0;
        uint32_t length = 0;
        char16_t* piece = trimValue(p, &length);
        if (length != 0) visit(piece, length, index);
        ++index;
        if (last) break;
        p = end + 1;
    }
}

bool isDigits(const char16_t* text, uint32_t length) noexcept {
    if (length == 0) return false;
    for (uint32_t i = 0; i < length; ++i)
        if (text[i] < u'0' || text[i] > u'9') return false;
    return true;
}

// Web of Science pairs: "Surname, Given/identifier; ...".
void putNamedIds(VroPublication& pub, char16_t* value, std::u16string_view kind) noexcept {
    if (!keeps(pub, kTextAuthorIds)) return;
    forEachPiece(value, u';', [&](char16_t* piece, uint32_t length, uint32_t) {
        uint32_t slash = length;
        while (slash > 0 && piece[slash - 1] != u'/') --slash;
        if (slash < 2) return;
        uint32_t nameLength = slash - 1;
        while (nameLength > 0 && isAsciiWhiteSpace(piece[nameLength - 1])) --nameLength;
        const char16_t* id = piece + slash;
        uint32_t idLength = length - slash;
        while (idLength > 0 && isAsciiWhiteSpace(*id)) ++id, --idLength;
        if (nameLength == 0 || idLength == 0) return;
        appendAuthorId(pub, kind, id, idLength, 0, piece, nameLength);
    });
}

}  // namespace

void setScopusAuthorIds(VroPublication& pub, char16_t* value, uint32_t&) {
    if (!keeps(pub, kTextAuthorIds)) return;
    if (!pub.AuthorIds.empty()) return;  // "Author full names" gave them
    forEachPiece(value, u';', [&](char16_t* piece, uint32_t length, uint32_t index) {
        if (!isDigits(piece, length)) return;
        appendAuthorId(pub, u"scopus", piece, length, index, nullptr, 0);
    });
}

void setScopusFullNames(VroPublication& pub, char16_t* value, uint32_t&) {
    if (!keeps(pub, kTextAuthorIds)) return;
    if (!pub.AuthorIds.empty()) return;  // "Author(s) ID" gave them
    // Each piece is "Name (digits)": its identifier is read back from the
    // piece's end, so that a department's export of many authors per paper
    // is scanned once for the separators and once over each identifier.
    const char16_t* const end = value + textLength(value);
    const char16_t* start = value;
    for (uint32_t index = 0; start != end && index < kMaxAuthors; ++index) {
        const char16_t* const stop = findUnitOrZero(start, end, u';', u';');
        const char16_t* last = stop;
        while (last != start && isAsciiWhiteSpace(last[-1])) --last;
        if (last != start && last[-1] == u')') {
            const char16_t* const close = last - 1;
            const char16_t* digits = close;
            while (digits != start && digits[-1] >= u'0' && digits[-1] <= u'9') --digits;
            if (digits != close && digits != start && digits[-1] == u'(')
                appendAuthorId(pub, u"scopus", digits, uint32_t(close - digits), index, nullptr, 0);
        }
        if (stop == end) break;
        start = stop + 1;
    }
}

void setOrcidIds(VroPublication& pub, char16_t* value, uint32_t&) { putNamedIds(pub, value, u"orcid"); }

void setResearcherIds(VroPublication& pub, char16_t* value, uint32_t&) {
    putNamedIds(pub, value, u"researcherid");
}

void setOpenAlexAuthorIds(VroPublication& pub, char16_t* value, uint32_t&) {
    if (!keeps(pub, kTextAuthorIds)) return;
    forEachPiece(value, u'|', [&](char16_t* piece, uint32_t length, uint32_t index) {
        uint32_t start = length;
        while (start > 0 && piece[start - 1] != u'/') --start;
        if (start == length) return;
        appendAuthorId(pub, u"openalex", piece + start, length - start, index, nullptr, 0);
    });
}
