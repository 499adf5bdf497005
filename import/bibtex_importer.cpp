// BibTeX importing: entries found wherever they start, their fields handed
// to the field handlers as plain text.
#include "import/bibtex_importer.h"

#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <string>

#include "foundation/text_reader.h"
#include "foundation/unit_scan.h"
#include "foundation/utf.h"
#include "import/field_handlers.h"
#include "import/tex_text.h"
#include "model/publication.h"

namespace {

constexpr uint32_t kMaxValueUnits = 1u << 20;
constexpr uint32_t kMaxNameUnits = 64;
constexpr uint32_t kMaxTypeUnits = 32;
constexpr uint32_t kMaxMacros = 256;
constexpr uint32_t kMaxMacroUnits = 65536;
constexpr uint32_t kFallbackCodePage = 1252;
constexpr uint32_t kUtf8CodePage = 65001;

template <class U>
bool isLetter(U c) noexcept { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// Lines are read as UTF-8 bytes where they can be: the syntax is all ASCII,
// so only the values a record keeps need decoding, and a skipped abstract
// is never widened at all.

// Bytes of the character a lead byte starts, in text already checked.
inline uint32_t utf8Length(uint8_t lead) noexcept { return lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4; }
inline uint32_t unitsAt(const char16_t*) noexcept { return 1; }
inline uint32_t unitsAt(const uint8_t* p) noexcept { return utf8Length(*p); }

// Checked UTF-8 from p to end as UTF-16 into out, which has room for as many
// units as there are bytes; returns the units written.
uint32_t widenUtf8(const uint8_t* p, const uint8_t* end, char16_t* out) noexcept {
    char16_t* o = out;
    while (p < end) {
#if defined(__SSE2__)
        const __m128i zero = _mm_setzero_si128();
        while (end - p >= 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            const unsigned high = unsigned(_mm_movemask_epi8(bytes));
            if (high != 0) {
                const unsigned n = unsigned(__builtin_ctz(high));
                for (unsigned i = 0; i < n; ++i) o[i] = p[i];
                p += n;
                o += n;
                break;
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o), _mm_unpacklo_epi8(bytes, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(o + 8), _mm_unpackhi_epi8(bytes, zero));
            p += 16;
            o += 16;
        }
        if (p == end) break;
#endif
        const uint8_t lead = *p;
        if (lead < 0x80) {
            *o++ = lead;
            ++p;
            continue;
        }
        char32_t c;
        if (lead < 0xE0) {
            c = char32_t(lead & 0x1F) << 6 | (p[1] & 0x3F);
        } else if (lead < 0xF0) {
            c = char32_t(lead & 0x0F) << 12 | char32_t(p[1] & 0x3F) << 6 | (p[2] & 0x3F);
        } else {
            c = char32_t(lead & 0x07) << 18 | char32_t(p[1] & 0x3F) << 12 | char32_t(p[2] & 0x3F) << 6 |
                (p[3] & 0x3F);
        }
        p += utf8Length(lead);
        if (c > 0xFFFF) {
            *o++ = char16_t(0xD800 + ((c - 0x10000) >> 10));
            *o++ = char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            *o++ = char16_t(c);
        }
    }
    return uint32_t(o - out);
}

// The first unit at or after p that is a or b (end when none); the text
// holds no zero.
const uint8_t* findUnitOrEnd(const uint8_t* p, const uint8_t* end, char16_t a, char16_t b) noexcept {
    if (a == b) {
        const void* at = std::memchr(p, a, size_t(end - p));
        return at != nullptr ? static_cast<const uint8_t*>(at) : end;
    }
#if defined(__SSE2__)
    const __m128i wantA = _mm_set1_epi8(char(a));
    const __m128i wantB = _mm_set1_epi8(char(b));
    for (; end - p >= 16; p += 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const int mask = _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(bytes, wantA), _mm_cmpeq_epi8(bytes, wantB)));
        if (mask != 0) return p + __builtin_ctz(unsigned(mask));
    }
#endif
    while (p < end && *p != a && *p != b) ++p;
    return p;
}
// The same over units: end holds a zero, which the scan stops at too.
inline char16_t* findUnitOrEnd(char16_t* p, char16_t* end, char16_t a, char16_t b) noexcept {
    return findUnitOrZero(p, end, a, b);
}

bool isDigits(const char16_t* text, uint32_t n) noexcept {
    for (uint32_t i = 0; i < n; ++i)
        if (text[i] < u'0' || text[i] > u'9') return false;
    return n > 0;
}

// A zero-terminated name of bounded length; longer names are cut (none of
// them is bound anyway).
struct ShortName {
    static_assert(kMaxNameUnits % 8 == 0);
    char16_t units[kMaxNameUnits + 1] = {};
    uint32_t length = 0;

    void clear() noexcept { units[length = 0] = 0; }
    void add(char16_t c) noexcept {
        if (length < kMaxNameUnits) units[length++] = c, units[length] = 0;
    }
    void add(const char16_t* text, uint32_t n) noexcept {
        if (n > kMaxNameUnits - length) n = kMaxNameUnits - length;
        std::memcpy(units + length, text, n * sizeof(char16_t));
        units[length += n] = 0;
    }
    // Checked UTF-8, as many units as fit, like add of its units: the ASCII
    // run that names usually are in one loop, the rest character by character.
    void add(const uint8_t* text, uint32_t n) noexcept {
        const uint32_t room = kMaxNameUnits - length;
        const uint32_t fit = n < room ? n : room;
        uint32_t i = 0;
        for (; i < fit && text[i] < 0x80; ++i) units[length + i] = text[i];
        units[length += i] = 0;
        for (const uint8_t* end = text + n; text + i < end && length < kMaxNameUnits;) {
            char16_t wide[2];
            const uint32_t bytes = utf8Length(text[i]);
            add(wide, widenUtf8(text + i, text + i + bytes, wide));
            i += bytes;
        }
    }
    bool is(const char* ascii) const noexcept { return compareFieldKey(units, ascii) == 0; }
    // Both names as written, eight units at a time: the units array holds
    // every chunk that starts below the longest length.
    bool sameUnits(const ShortName& other) const noexcept {
        uint32_t i = 0;
#if defined(__SSE2__)
        for (; i < length; i += 8) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(other.units + i));
            const unsigned differ = ~unsigned(_mm_movemask_epi8(_mm_cmpeq_epi16(a, b))) & 0xFFFFu;
            const uint32_t left = length - i;
            if ((differ & (left >= 8 ? 0xFFFFu : (1u << (2 * left)) - 1)) != 0) return false;
        }
#else
        for (; i < length; ++i)
            if (units[i] != other.units[i]) return false;
#endif
        return true;
    }
    bool sameAs(const ShortName& other) const noexcept {
        if (length != other.length) return false;
        if (sameUnits(other)) return true;
        for (uint32_t i = 0; i < length; ++i)
            if (asciiLower(units[i]) != asciiLower(other.units[i])) return false;
        return true;
    }
};

// The text handlers that store their value only where the record keeps its
// field: elsewhere whether the value holds any text is all they look at.
struct StoredText {
    VroFieldHandler handler;
    uint32_t field;
};
constexpr StoredText kStoredTexts[] = {
    {setAbstract, kFieldAbstract}, {setTitle, kFieldTitle},   {setFirstSource, kFieldSource},
    {setPublisher, kFieldPublisher}, {setDoi, kFieldDoi},     {setArticleUrl, kFieldArticleUrl},
    {setIssn, kFieldIssn},
};

// The field a handler stores its text in, 0 for the other handlers.
uint32_t storedField(VroFieldHandler handler) noexcept {
    for (const StoredText& text : kStoredTexts)
        if (text.handler == handler) return text.field;
    return 0;
}

// The units that end a field's name (white space, '=') or are dropped from
// it; the entry's closing delimiter ends it too.
struct AsciiSet {
    bool has[0x80] = {};
};
constexpr AsciiSet nameStops() {
    AsciiSet set;
    for (const char c : {'\t', '\n', '\v', '\f', '\r', ' ', '=', ',', '{', '}', '"', '#', '\0'})
        set.has[uint8_t(c)] = true;
    return set;
}
constexpr AsciiSet kNameStops = nameStops();


template <class U>
bool isEntryLine(const U* text, uint32_t length) noexcept;

enum class Entry : uint8_t { kRecord, kStrings, kSkipped };

enum class State : uint8_t {
    kOutside,    // between entries: everything but '@' is comment
    kType,       // after '@': the entry type, then its opening delimiter
    kKey,        // up to the comma after the key
    kFieldName,  // a field's name, or the entry's end
    kAfterName,  // blanks before '='
    kValue,      // before a part of the value
    kBraced,     // inside a braced part
    kQuoted,     // inside a quoted part
    kBare,       // a number or a macro name
    kAfterPart,  // after a part: '#', ',' or the entry's end
    kSkipped,    // the body of @comment or @preamble
};

class BibTeXReader {
public:
    BibTeXReader(const VroImportFormat& format, VroPublicationList& list, uint32_t* fieldMaskOut) noexcept
        : format_(format), list_(list), fieldMaskOut_(fieldMaskOut) {}

    ResultCode failure() const noexcept { return failure_; }

    // A line that starts an entry ends one left open.
    template <class U>
    void lineStart(const U* text, uint32_t length) noexcept {
        if (state_ == State::kOutside) return;
        uint32_t i = 0;
        while (i < length && isAsciiWhiteSpace(text[i])) ++i;
        if (i < length && text[i] == u'@' && isEntryLine(text + i, length - i)) endOpenEntry();
    }

    // Reads text up to end, where a zero unit stands. A value that opens and
    // closes on this line is turned into plain text where it stands, so the
    // text may change behind the read position.
    // Units (char16_t, with a zero at end) or checked UTF-8 bytes (const
    // uint8_t, read where they stand).
    template <class U>
    void feed(U* p, U* end) noexcept {
        while (p < end && failure_ == kResultOk) p = step(p, end);
    }

    // Whole lines straight from the reader's buffer while they are clean
    // UTF-8 and the reader decodes UTF-8; returns at the first line that
    // must be read as units (or at the end). Every line fits in the buffer,
    // so none is longer than the line limit.
    void feedByteLines(XpTextReader* reader) noexcept {
        static_assert(kTextReaderBufferSize - kTextReaderHeadroom <= kImportLineLimit);
        bool more = false;
        uint32_t left = 0;
        while (failure_ == kResultOk) {
            const uint8_t* bytes = nullptr;
            uint32_t count = 0;
            (void)reader->bufferedBytes(&bytes, &count, more);
            if (count == 0 || (more && count == left)) return;
            const uint8_t* whole = lastLineEnd(bytes, bytes + count);
            const uint8_t* clean = firstUnclean(bytes, whole);
            const uint8_t* lines = clean == whole ? whole : lastLineEnd(bytes, clean);
            feedLines(bytes, lines);
            reader->skipBytes(uint32_t(lines - bytes));
            if (clean != whole) return;  // a line the bytes cannot stand for
            left = uint32_t(bytes + count - lines);
            more = true;
        }
    }

    // The position after the last line feed (from when there is none).
    static const uint8_t* lastLineEnd(const uint8_t* from, const uint8_t* to) noexcept {
        const void* at = memrchr(from, '\n', size_t(to - from));
        return at != nullptr ? static_cast<const uint8_t*>(at) + 1 : from;
    }

    // The first byte from p on that the byte scan cannot read as it stands:
    // a zero (the unit scans stop at one) or a sequence the UTF-8 decoder
    // refuses; end when there is none.
    static const uint8_t* firstUnclean(const uint8_t* p, const uint8_t* end) noexcept {
        while (p < end) {
#if defined(__SSE2__)
            const __m128i zero = _mm_setzero_si128();
            for (; end - p >= 16; p += 16) {
                const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
                const unsigned odd =
                    unsigned(_mm_movemask_epi8(bytes) | _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, zero)));
                if (odd != 0) {
                    p += __builtin_ctz(odd);
                    break;
                }
            }
            if (p == end) break;
#endif
            if (*p == 0) return p;
            if (*p < 0x80) {
                ++p;
                continue;
            }
            char32_t c = 0;
            uint32_t used = 0;
            if (decodeUtf8Char(reinterpret_cast<const char*>(p), uint32_t(end - p), &c, &used) != kResultOk) return p;
            p += used;
        }
        return end;
    }

    // Whole clean lines: fed in one run, split only before a line that may
    // start an entry, where lineStart looks at it as the unit path does.
    void feedLines(const uint8_t* p, const uint8_t* end) noexcept {
        const uint8_t* from = p;
        for (const uint8_t* at = findUnitOrEnd(p, end, u'@', u'@'); at != end && failure_ == kResultOk;
             at = findUnitOrEnd(at + 1, end, u'@', u'@')) {
            const uint8_t* line = at;
            while (line > p && line[-1] != u'\n' && isAsciiWhiteSpace(line[-1])) --line;
            if (line != p && line[-1] != u'\n') continue;
            feed(from, line);
            from = line;
            const uint8_t* lineEnd = static_cast<const uint8_t*>(std::memchr(at, '\n', size_t(end - at)));
            lineStart(line, uint32_t(lineEnd + 1 - line));
        }
        if (failure_ == kResultOk) feed(from, end);
    }

    ResultCode finish() noexcept {
        endOpenEntry();
        return failure_;
    }

private:
    template <class U>
    [[gnu::always_inline]] U* step(U* p, U* end) noexcept {
        const char16_t c = *p;
        switch (state_) {
            case State::kOutside: {
                U* at = findUnitOrEnd(p, end, u'@', u'@');
                if (at == end) return end;
                if (*at == u'@') {
                    state_ = State::kType;
                    type_.clear();
                    typeEnded_ = false;
                }
                return at + 1;
            }
            case State::kType:
                if (isLetter(c) && !typeEnded_) {
                    if (type_.length < kMaxTypeUnits) type_.add(asciiLower(c));
                } else if (isAsciiWhiteSpace(c)) {
                    typeEnded_ = type_.length > 0;
                } else if ((c == u'{' || c == u'(') && type_.length > 0) {
                    open(c);
                } else {
                    state_ = State::kOutside;
                    return p;
                }
                return p + 1;
            case State::kKey: {
                U* at = findUnitOrEnd(p, end, u',', close_);
                if (at == end) return end;
                if (*at == close_) endEntry();
                else if (*at == u',') state_ = State::kFieldName;
                return at + 1;
            }
            case State::kFieldName:
                for (; p < end; ++p) {
                    if (isNameUnit(*p)) {
                        U* run = p;
                        p = nameRunEnd(p + 1, end);
                        name_.add(run, uint32_t(p - run));
                        if (p == end) break;
                    }
                    const char16_t u = *p;
                    if (u == close_) {
                        endEntry();
                        return p + 1;
                    }
                    if (u == u'=') {
                        beginValue();
                        return valueStart(p + 1, end);
                    }
                    if (isAsciiWhiteSpace(u)) {
                        if (name_.length == 0) continue;
                        U* next = skipBlanks(p + 1, end);
                        if (next < end && *next == u'=') {
                            beginValue();
                            return valueStart(next + 1, end);
                        }
                        state_ = State::kAfterName;
                        return next;
                    }
                    if (u != u',' && u != u'{' && u != u'}' && u != u'"' && u != u'#' && u != 0) name_.add(u);
                }
                return end;
            case State::kAfterName:
                if (c == u'=') {
                    beginValue();
                } else if (!isAsciiWhiteSpace(c)) {
                    name_.clear();  // a name without '=': not a field
                    state_ = State::kFieldName;
                    return p;
                }
                return p + 1;
            case State::kValue:
                if (isAsciiWhiteSpace(c) || c == u'#') return skipBlanks(p + 1, end);
                if (c == u'{' && value_.length() == 0 && entry_ == Entry::kRecord) {
                    if (U* next = wholeBracedValue(p, end)) return next;
                }
                if (c == u'{' || c == u'"') {
                    depth_ = c == u'{' ? 1 : 0;
                    state_ = c == u'{' ? State::kBraced : State::kQuoted;
                    return p + 1;
                }
                if (c == u',' || c == close_) return endField(c), p + 1;
                word_.clear();
                state_ = State::kBare;
                return p;
            case State::kBraced: {
                U* at = findUnitOrEnd(p, end, u'{', u'}');
                collect(p, at);
                if (at == end) return end;
                if (*at == 0) return at + 1;
                if (*at == u'{') {
                    ++depth_;
                } else if (*at == u'}' && --depth_ == 0) {
                    state_ = State::kAfterPart;
                    return at + 1;
                }
                collect(at, at + 1);
                return at + 1;
            }
            case State::kQuoted:
                if (c == u'"' && depth_ == 0) {
                    state_ = State::kAfterPart;
                    return p + 1;
                }
                if (c == u'{') ++depth_;
                if (c == u'}' && depth_ > 0) --depth_;
                if (c != 0) {
                    const uint32_t n = unitsAt(p);
                    collect(p, p + n);
                    return p + n;
                }
                return p + 1;
            case State::kBare:
                if (isAsciiWhiteSpace(c) || c == u',' || c == u'#' || c == close_ || c == u'{' || c == u'"' ||
                    c == u'}' || c == u'=' || c == 0) {
                    endWord();
                    return p;
                }
                if (c >= 0x80) {
                    const uint32_t n = unitsAt(p);
                    word_.add(p, n);
                    return p + n;
                }
                word_.add(c);
                return p + 1;
            case State::kAfterPart:
                if (isAsciiWhiteSpace(c)) return skipBlanks(p + 1, end);
                if (c == u'#') {
                    state_ = State::kValue;
                    return p + 1;
                }
                if (c == u',' || c == close_) return endField(c), p + 1;
                endField(0);  // no separator: the next field starts here
                return p;
            case State::kSkipped: {
                U* at = findUnitOrEnd(p, end, open_, close_);
                if (at == end) return end;
                if (*at == open_) ++depth_;
                else if (*at == close_ && --depth_ == 0) state_ = State::kOutside;
                return at + 1;
            }
        }
        return p + 1;
    }

    // The handler of a field name, remembered: an export repeats the same
    // names in the same order in every entry, so the name met at this place
    // of the last entry is tried first, compared as it is written.
    struct Known;
    const Known& handlerOf(const ShortName& name) noexcept {
        if (fieldIndex_ >= kKnownPlaces) return handlerByHash(name);
        Known& guess = byPlace_[fieldIndex_++];
        if (guess.filled && guess.name.sameAs(name)) return guess;
        guess = handlerByHash(name);
        return guess;
    }

    // A slot holds the last name that hashed to it.
    const Known& handlerByHash(const ShortName& name) noexcept {
        uint32_t hash = name.length;
        for (uint32_t i = 0; i < name.length; ++i) hash = hash * 31 + asciiLower(name.units[i]);
        Known& slot = known_[hash % kKnownSlots];
        if (slot.filled && slot.name.sameAs(name)) return slot;
        slot.name = name;
        slot.handler = findFieldHandler(uint32_t(format_.fields.size()), name.units, format_.fields.data());
        slot.stored = storedField(slot.handler);
        slot.filled = true;
        return slot;
    }

    // A unit of a field's name that neither ends it nor is dropped from it.
    bool isNameUnit(char16_t u) const noexcept {
        if (u >= 0x80) return true;
        return !kNameStops.has[u] && u != close_;
    }

    // The end of a run of name units from p on (end at the latest).
    char16_t* nameRunEnd(char16_t* p, char16_t* end) const noexcept {
#if defined(__SSE2__)
        // Eight units at a time: units of 0x8000 and above are negative
        // here, which only the equality tests see, and none of them is a stop.
        const __m128i tab = _mm_set1_epi16(8), carriageReturn = _mm_set1_epi16(14);
        const __m128i blank = _mm_set1_epi16(' '), equals = _mm_set1_epi16('='), comma = _mm_set1_epi16(',');
        const __m128i openBrace = _mm_set1_epi16('{'), closeBrace = _mm_set1_epi16('}');
        const __m128i quote = _mm_set1_epi16('"'), hash = _mm_set1_epi16('#'), zero = _mm_setzero_si128();
        const __m128i closing = _mm_set1_epi16(short(close_));
        for (; end - p >= 8; p += 8) {
            const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            __m128i stop = _mm_and_si128(_mm_cmpgt_epi16(units, tab), _mm_cmplt_epi16(units, carriageReturn));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, blank));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, equals));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, comma));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, openBrace));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, closeBrace));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, quote));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, hash));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, zero));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, closing));
            const int mask = _mm_movemask_epi8(stop);
            if (mask != 0) return p + __builtin_ctz(unsigned(mask)) / 2;
        }
#endif
        while (p < end && isNameUnit(*p)) ++p;
        return p;
    }

    // The same over bytes: those of 0x80 and above belong to names.
    const uint8_t* nameRunEnd(const uint8_t* p, const uint8_t* end) const noexcept {
#if defined(__SSE2__)
        const __m128i tab = _mm_set1_epi8(8), carriageReturn = _mm_set1_epi8(14);
        const __m128i blank = _mm_set1_epi8(' '), equals = _mm_set1_epi8('='), comma = _mm_set1_epi8(',');
        const __m128i openBrace = _mm_set1_epi8('{'), closeBrace = _mm_set1_epi8('}');
        const __m128i quote = _mm_set1_epi8('"'), hash = _mm_set1_epi8('#');
        const __m128i closing = _mm_set1_epi8(char(close_));
        for (; end - p >= 16; p += 16) {
            const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            __m128i stop = _mm_and_si128(_mm_cmpgt_epi8(units, tab), _mm_cmplt_epi8(units, carriageReturn));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, blank));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, equals));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, comma));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, openBrace));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, closeBrace));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, quote));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, hash));
            stop = _mm_or_si128(stop, _mm_cmpeq_epi8(units, closing));
            const int mask = _mm_movemask_epi8(stop);
            if (mask != 0) return p + __builtin_ctz(unsigned(mask));
        }
#endif
        while (p < end && isNameUnit(*p)) ++p;
        return p;
    }

    template <class U, class E>
    static U* skipBlanks(U* p, E* end) noexcept {
        while (p < end && isAsciiWhiteSpace(*p)) ++p;
        return p;
    }

    // Right after '=': the blanks before the value, then its one braced part
    // taken whole where it can be.
    template <class U>
    U* valueStart(U* p, U* end) noexcept {
        p = skipBlanks(p, end);
        if (p < end && *p == u'{' && entry_ == Entry::kRecord)
            if (U* next = wholeBracedValue(p, end)) return next;
        return p;
    }

    // At the opening brace of a record's value: when the value is one braced
    // part without inner braces, closed on this line and followed by the
    // field's end, it is handed on from where it stands, without a copy.
    // Returns the position after the field's end, or null (nothing done).
    template <class U>
    U* wholeBracedValue(U* open, U* end) noexcept {
        U* close = findUnitOrEnd(open + 1, end, u'{', u'}');
        if (close == end || *close != u'}') return nullptr;
        U* after = skipBlanks(close + 1, end);
        if (after == end || (*after != u',' && *after != close_)) return nullptr;
        if (handler_ != nullptr && record_ != nullptr) deliverText(open + 1, close);
        handler_ = nullptr;
        collecting_ = false;
        name_.clear();
        state_ = State::kFieldName;
        if (*after == close_) endEntry();
        // Blanks after it are skipped both before a field's name and
        // between entries.
        return skipBlanks(after + 1, end);
    }

    void deliverText(char16_t* from, char16_t* to) noexcept { deliver(from, uint32_t(to - from)); }
    // Bytes are widened first; a text only looked at, as far as its first
    // character when that one stands for itself.
    void deliverText(const uint8_t* from, const uint8_t* to) noexcept {
        if (!textKept_) to = presenceEnd(from, to);
        if (wide_.reserve(uint32_t(to - from) + 1) != kResultOk) return;
        deliver(wide_.data(), widenUtf8(from, to, wide_.data()));
    }

    // Where a text that is only looked at may end: after its first character
    // that is no white space, when that one stands for itself.
    static const uint8_t* presenceEnd(const uint8_t* from, const uint8_t* to) noexcept {
        const uint8_t* unit = skipBlanks(from, to);
        if (unit == to) return to;
        char16_t first[2];
        const uint32_t bytes = utf8Length(*unit);
        widenUtf8(unit, unit + bytes, first);
        return isTexPlain(first[0]) ? unit + bytes : to;
    }

    // A record's value, as read, turned into plain text in place and handed
    // to the field's handler; returns its plain length.
    uint32_t deliver(char16_t* text, uint32_t length) noexcept {
        const TexMode mode = handler_ == setListAuthors                       ? TexMode::kNames
                             : handler_ == setDoi || handler_ == setArticleUrl ? TexMode::kVerbatim
                                                                               : TexMode::kText;
        const uint32_t n = texToPlainText(text, length, mode, !textKept_);
        if (handler_ == setPages)
            for (uint32_t i = 0; i < n; ++i)
                if (text[i] == 0x2013 || text[i] == 0x2014) text[i] = u'-';
        handler_(*record_, text, mask_);
        return n;
    }

    void open(char16_t delimiter) noexcept {
        open_ = delimiter;
        close_ = delimiter == u'{' ? u'}' : u')';
        name_.clear();
        if (type_.is("comment") || type_.is("preamble")) {
            entry_ = Entry::kSkipped;
            depth_ = 1;
            state_ = State::kSkipped;
            return;
        }
        if (type_.is("string")) {
            entry_ = Entry::kStrings;
            state_ = State::kFieldName;
            return;
        }
        entry_ = Entry::kRecord;
        state_ = State::kKey;
        fieldIndex_ = 0;
        record_ = list_.add();
        if (record_ == nullptr) {
            failure_ = kErrNoMemory;
            return;
        }
        record_->Rank = int32_t(++records_);
        record_->Use = 1;
        mask_ = 0x20;
        setType(*record_, type_.units, mask_);
    }

    void beginValue() noexcept {
        handler_ = nullptr;
        uint32_t stored = 0;
        if (entry_ == Entry::kRecord && record_ != nullptr) {
            const Known& known = handlerOf(name_);
            handler_ = known.handler;
            stored = known.stored;
        }
        collecting_ = handler_ != nullptr || entry_ == Entry::kStrings;
        textKept_ = stored == 0 || (record_->keptTexts & stored) != 0;
        presenceOnly_ = !textKept_;
        value_.clear();
        valueFull_ = false;
        state_ = State::kValue;
    }

    void collect(const uint8_t* from, const uint8_t* to) noexcept {
        if (!collecting_ || from == to || valueFull_) return;
        if (presenceOnly_) to = presenceEnd(from, to);
        if (wide_.reserve(uint32_t(to - from)) != kResultOk) {
            valueFull_ = true;
            return;
        }
        collect(wide_.data(), wide_.data() + widenUtf8(from, to, wide_.data()));
    }

    void collect(const char16_t* from, const char16_t* to) noexcept {
        if (!collecting_ || from == to || valueFull_) return;
        uint32_t n = uint32_t(to - from);
        if (value_.length() + n > kMaxValueUnits) {
            n = kMaxValueUnits - value_.length();
            valueFull_ = true;
        }
        if (presenceOnly_) {
            // A value that is only looked at needs no more than its first
            // character, when that one stands for itself.
            const char16_t* unit = from;
            while (unit < from + n && isAsciiWhiteSpace(*unit)) ++unit;
            if (unit < from + n) {
                presenceOnly_ = false;
                if (isTexPlain(*unit)) {
                    valueFull_ = true;
                    n = uint32_t(unit - from) + 1;
                }
            }
        }
        if (value_.append(from, n) != kResultOk) valueFull_ = true;
    }

    void endWord() noexcept {
        state_ = State::kAfterPart;
        if (isDigits(word_.units, word_.length)) return collect(word_.units, word_.units + word_.length);
        for (uint32_t i = 0; i < macroCount_; ++i)
            if (word_.sameAs(macroNames_[i])) {
                const XpString16& text = macroValues_[i];
                return collect(text.data(), text.end());
            }
        collect(word_.units, word_.units + word_.length);
    }

    // At the field's end: the value goes to its handler, or is a macro's text.
    // by: the character that ended it (0: none).
    void endField(char16_t by) noexcept {
        if (state_ == State::kBare) endWord();
        if (entry_ == Entry::kStrings && name_.length > 0) defineMacro();
        if (entry_ == Entry::kRecord && handler_ != nullptr && record_ != nullptr)
            value_.setLength(deliver(value_.data(), value_.length()));
        handler_ = nullptr;
        collecting_ = false;
        name_.clear();
        state_ = State::kFieldName;
        if (by == close_) endEntry();
    }

    void defineMacro() noexcept {
        uint32_t i = 0;
        while (i < macroCount_ && !name_.sameAs(macroNames_[i])) ++i;
        if (i == kMaxMacros) return;
        if (i == macroCount_) ++macroCount_;
        macroNames_[i] = name_;
        const uint32_t n = value_.length() < kMaxMacroUnits ? value_.length() : kMaxMacroUnits;
        (void)macroValues_[i].assign(value_.data(), n);
    }

    void endEntry() noexcept {
        if (entry_ == Entry::kRecord && record_ != nullptr) {
            if (fieldMaskOut_ != nullptr) *fieldMaskOut_ |= mask_;
            record_->splitAuthors();
            record_->deriveAge(list_);
            record_ = nullptr;
        }
        state_ = State::kOutside;
    }

    void endOpenEntry() noexcept {
        switch (state_) {
            case State::kOutside: return;
            case State::kType:
            case State::kSkipped: state_ = State::kOutside; return;
            case State::kValue:
            case State::kBraced:
            case State::kQuoted:
            case State::kBare:
            case State::kAfterPart: endField(0); break;
            default: break;
        }
        endEntry();
    }

    const VroImportFormat& format_;
    VroPublicationList& list_;
    uint32_t* fieldMaskOut_;
    ResultCode failure_ = kResultOk;
    State state_ = State::kOutside;
    Entry entry_ = Entry::kRecord;
    ShortName type_;
    bool typeEnded_ = false;
    char16_t open_ = u'{';
    char16_t close_ = u'}';
    uint32_t depth_ = 0;
    ShortName name_;
    ShortName word_;
    VroFieldHandler handler_ = nullptr;
    bool collecting_ = false;
    bool valueFull_ = false;
    bool presenceOnly_ = false;  // until the first character that is not white space
    bool textKept_ = true;       // the record keeps the field's text, not only its presence
    XpString16 value_;
    XpString16 wide_;  // bytes of a value widened to units
    VroPublication* record_ = nullptr;
    uint32_t records_ = 0;
    uint32_t mask_ = 0;
    struct Known {
        ShortName name;
        VroFieldHandler handler = nullptr;
        uint32_t stored = 0;  // the record's field that keeps the text, 0 when always kept
        bool filled = false;
    };
    static constexpr uint32_t kKnownSlots = 61;
    Known known_[kKnownSlots];
    static constexpr uint32_t kKnownPlaces = 32;
    Known byPlace_[kKnownPlaces];
    uint32_t fieldIndex_ = 0;  // the record's fields named so far
    ShortName macroNames_[kMaxMacros];
    XpString16 macroValues_[kMaxMacros];
    uint32_t macroCount_ = 0;
};

}  // namespace

namespace {

template <class U>
bool isEntryLine(const U* text, uint32_t length) noexcept {
    uint32_t i = 0;
    while (i < length && isAsciiWhiteSpace(text[i])) ++i;
    if (i == length || text[i] != u'@') return false;
    const uint32_t type = ++i;
    while (i < length && isLetter(text[i])) ++i;
    if (i == type) return false;
    while (i < length && isAsciiWhiteSpace(text[i])) ++i;
    return i < length && (text[i] == u'{' || text[i] == u'(');
}

}  // namespace

bool isBibTeXEntryLine(const char16_t* text, uint32_t length) noexcept { return isEntryLine(text, length); }

ResultCode probeBibTeX(const XpString16& line, bool* accepted) noexcept {
    const char16_t* text = line.data();
    uint32_t length = line.length();
    if (isBibTeXEntryLine(text, length)) {
        *accepted = true;
        return kResultOk;
    }
    while (length > 0 && isAsciiWhiteSpace(text[length - 1])) --length;
    while (length > 0 && isAsciiWhiteSpace(*text)) ++text, --length;
    *accepted = length == 6 && std::char_traits<char16_t>::compare(text, u"Scopus", 6) == 0;
    return kResultOk;
}

ResultCode readBibTeXRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                             VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty()) return kErrInvalidArgument;
    // The macros make the reader large: it lives on the heap.
    BibTeXReader* bib = new (std::nothrow) BibTeXReader(format, list, fieldMaskOut);
    if (bib == nullptr) return kErrNoMemory;
    char16_t lineEnd[] = u"\n";
    bib->feed(line.data(), line.end());
    bib->feed(lineEnd, lineEnd + 1);
    // BibTeX is written in UTF-8 today: without a byte-order mark the lines
    // after the first are read as UTF-8, up to a byte that UTF-8 cannot
    // decode; from there on the fallback code page reads them, so that an
    // older file in a single-byte code page still reads to its end.
    bool utf8 = false;
    if (reader->encoding() != nullptr && reader->encoding()->codePage() == kFallbackCodePage &&
        !reader->carriageReturnLines())
        utf8 = reader->setEncoding(kUtf8CodePage) == kResultOk;
    // Whole lines of UTF-8 are read from the reader's bytes; a line the bytes
    // cannot stand for (another encoding, a byte UTF-8 refuses, a zero, more
    // than the line limit) and whatever follows a line read in pieces, up to
    // its end, are read as units.
    bool midLine = true;  // the first line's end is not known
    while (bib->failure() == kResultOk) {
        if (!midLine && reader->encoding() != nullptr && reader->encoding()->codePage() == kUtf8CodePage &&
            !reader->carriageReturnLines()) {
            bib->feedByteLines(reader);
            if (bib->failure() != kResultOk) break;
        }
        const ResultCode rc = reader->readLine(line, kImportLineLimit, u'\n');
        if (rc == kResultOk) {
            midLine = line.end()[-1] != u'\n';
            bib->lineStart(line.data(), line.length());
            bib->feed(line.data(), line.end());
            continue;
        }
        if (rc == kErrEndOfFile || !utf8 || reader->setEncoding(kFallbackCodePage) != kResultOk) break;
        utf8 = false;
    }
    const ResultCode rc = bib->finish();
    delete bib;
    return rc;
}
