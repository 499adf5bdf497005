#include "import/tex_text.h"

#include "foundation/ascii.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

bool isLetter(char16_t c) noexcept { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

// Combining mark of each accent command, for letters without a precomposed
// form; 0 for a character that is no accent.
char16_t combiningMark(char16_t accent) noexcept {
    switch (accent) {
        case u'`': return 0x0300;
        case u'\'': return 0x0301;
        case u'^': return 0x0302;
        case u'~': return 0x0303;
        case u'=': return 0x0304;
        case u'u': return 0x0306;
        case u'.': return 0x0307;
        case u'"': return 0x0308;
        case u'r': return 0x030A;
        case u'H': return 0x030B;
        case u'v': return 0x030C;
        case u'd': return 0x0323;
        case u'c': return 0x0327;
        case u'k': return 0x0328;
        case u'b': return 0x0331;
        default: return 0;
    }
}

char16_t composedLetter(char16_t accent, char16_t base) noexcept {
    uint32_t low = 0, high = kTexAccentCount;
    const uint32_t key = uint32_t(accent) << 16 | base;
    while (low < high) {
        const uint32_t middle = (low + high) / 2;
        const TexAccent& entry = kTexAccents[middle];
        const uint32_t at = uint32_t(uint8_t(entry.accent)) << 16 | uint8_t(entry.base);
        if (at == key) return entry.composed;
        if (at < key) low = middle + 1;
        else high = middle;
    }
    return 0;
}

// The character of a control word (letters only), 0 when it names none.
char16_t namedCharacter(const char16_t* word, uint32_t n) noexcept {
    uint32_t low = 0, high = kTexNamedCharacterCount;
    while (low < high) {
        const uint32_t middle = (low + high) / 2;
        const char* name = kTexNamedCharacters[middle].name;
        int order = 0;
        uint32_t i = 0;
        for (; i < n && name[i] != 0 && order == 0; ++i) order = int(word[i]) - int(uint8_t(name[i]));
        if (order == 0) order = i < n ? 1 : name[i] != 0 ? -1 : 0;
        if (order == 0) return kTexNamedCharacters[middle].character;
        if (order > 0) low = middle + 1;
        else high = middle;
    }
    return 0;
}

// Characters that may stand for something else: white space, braces, the
// backslash, and the tie, math shift and dash of prose.
struct AsciiSet {
    bool has[0x80] = {};
};
constexpr AsciiSet asciiSet(const char* members) {
    AsciiSet set;
    for (; *members != 0; ++members) set.has[uint8_t(*members)] = true;
    return set;
}
constexpr AsciiSet kSpecialAscii = asciiSet(" \t\n\v\f\r{}\\~$-");

bool isPlain(char16_t c) noexcept { return c >= 0x80 || !kSpecialAscii.has[c]; }

}  // namespace

bool isTexPlain(char16_t c) noexcept { return isPlain(c); }

namespace {

// Writes the plain text behind the read position; the write position never
// passes it, since every step consumes at least as many units as it writes.
class PlainWriter {
public:
    PlainWriter(char16_t* text, uint32_t length) noexcept : text_(text), length_(length) {}

    bool done() const noexcept { return read_ >= length_; }
    char16_t at(uint32_t offset = 0) const noexcept {
        return read_ + offset < length_ ? text_[read_ + offset] : char16_t(0);
    }
    void skip(uint32_t n = 1) noexcept { read_ += n; }
    void skipBlanks() noexcept {
        while (!done() && isAsciiWhiteSpace(text_[read_])) ++read_;
    }
    void blank() noexcept { pendingBlank_ = write_ > 0; }
    void put(char16_t c) noexcept {
        if (pendingBlank_) text_[write_++] = u' ';
        pendingBlank_ = false;
        text_[write_++] = c;
    }
    // ';' ending a name: no blank before it.
    void putSeparator() noexcept {
        pendingBlank_ = false;
        if (write_ > 0 && text_[write_ - 1] != u';') text_[write_++] = u';';
        pendingBlank_ = write_ > 0;
    }
    uint32_t written() const noexcept { return write_; }
    uint32_t finish() noexcept {
        text_[write_] = 0;
        return write_;
    }
    // Copies the run of characters that stand for themselves at the read
    // position: most of a value, taken in one tight loop.
    // With singleBlanks, one blank between two such characters is copied too;
    // with names, not one before "and" and white space (a name's end).
    void copyPlain(bool singleBlanks, bool names) noexcept {
        uint32_t r = read_;
        if (r == length_ || !isPlain(text_[r])) return;
        uint32_t w = write_;
        if (pendingBlank_) text_[w++] = u' ';
        pendingBlank_ = false;
        for (;;) {
            text_[w++] = text_[r++];
            if (r == length_) break;
            if (isPlain(text_[r])) continue;
            if (!singleBlanks || text_[r] != u' ' || r + 1 == length_ || !isPlain(text_[r + 1])) break;
            if (names && startsAnd(r + 1)) break;
            text_[w++] = text_[r++];
        }
        read_ = r;
        write_ = w;
    }

private:
    bool startsAnd(uint32_t r) const noexcept {
        return r + 3 < length_ && asciiLower(text_[r]) == u'a' && asciiLower(text_[r + 1]) == u'n' &&
               asciiLower(text_[r + 2]) == u'd' && isAsciiWhiteSpace(text_[r + 3]);
    }

    char16_t* text_;
    uint32_t length_;
    uint32_t read_ = 0;
    uint32_t write_ = 0;
    bool pendingBlank_ = false;
};

// After an accent command: its letter, braced or not, "\i" and "\j" standing
// for i and j; 0 when there is none (an accent over nothing).
char16_t accentBase(PlainWriter& w) noexcept {
    w.skipBlanks();
    const bool braced = w.at() == u'{';
    if (braced) {
        w.skip();
        w.skipBlanks();
    }
    char16_t base = 0;
    if (w.at() == u'\\' && (w.at(1) == u'i' || w.at(1) == u'j') && !isLetter(w.at(2))) {
        base = w.at(1);
        w.skip(2);
    } else if (w.at() != u'}' && w.at() != 0 && !isAsciiWhiteSpace(w.at())) {
        base = w.at();
        w.skip();
    }
    if (braced) {
        w.skipBlanks();
        if (w.at() == u'}') w.skip();
    }
    return base;
}

void putAccented(PlainWriter& w, char16_t accent) noexcept {
    const char16_t base = accentBase(w);
    if (base == 0) {
        if (!isLetter(accent)) w.put(accent);
        return;
    }
    const char16_t composed = base < 0x80 ? composedLetter(accent, base) : 0;
    if (composed != 0) {
        w.put(composed);
        return;
    }
    w.put(base);
    w.put(combiningMark(accent));
}

// At a backslash.
void putCommand(PlainWriter& w, TexMode mode) noexcept {
    const char16_t next = w.at(1);
    if (next == 0) {
        w.skip();
        return;
    }
    if (!isLetter(next)) {
        w.skip(2);
        if (mode != TexMode::kVerbatim && combiningMark(next) != 0) putAccented(w, next);
        else if (next == u'\\' || isAsciiWhiteSpace(next)) w.blank();
        else if (next != u'-') w.put(next);
        return;
    }
    if (mode == TexMode::kVerbatim) {
        w.skip();  // the backslash; the word stays
        return;
    }
    w.skip();
    // Longer than every name of the table: a longer word names nothing.
    constexpr uint32_t kLongestName = 24;
    uint32_t n = 0;
    char16_t word[kLongestName];
    while (isLetter(w.at())) {
        if (n < kLongestName) word[n] = w.at();
        ++n;
        w.skip();
    }
    if (n == 1 && combiningMark(word[0]) != 0) {
        putAccented(w, word[0]);
        return;
    }
    const char16_t named = n <= kLongestName ? namedCharacter(word, n) : 0;
    w.skipBlanks();
    if (named != 0) w.put(named);
}

// " and " between names, at the read position's blank.
bool atNameSeparator(const PlainWriter& w) noexcept {
    uint32_t i = 0;
    while (isAsciiWhiteSpace(w.at(i))) ++i;
    if (asciiLower(w.at(i)) != u'a' || asciiLower(w.at(i + 1)) != u'n' || asciiLower(w.at(i + 2)) != u'd')
        return false;
    return isAsciiWhiteSpace(w.at(i + 3));
}

// "; others" ends a list of names that goes on unnamed.
uint32_t dropOthers(char16_t* text, uint32_t length) noexcept {
    static constexpr char16_t kOthers[] = u"; others";
    constexpr uint32_t n = sizeof kOthers / sizeof kOthers[0] - 1;
    if (length < n) return length;
    for (uint32_t i = 0; i < n; ++i)
        if (asciiLower(text[length - n + i]) != kOthers[i]) return length;
    text[length - n] = 0;
    return length - n;
}

// Whether text reads as it stands outside name lists: only characters that
// stand for themselves, with single blanks between them. Most values are
// such, so this is checked sixteen units at a time first.
bool readsAsItStands(const char16_t* text, uint32_t length) noexcept {
    if (length == 0) return true;
    if (text[0] == u' ' || text[length - 1] == u' ') return false;
    uint32_t i = 0;
    bool blankBefore = false;  // the unit before i is a blank
#if defined(__SSE2__)
    // Units packed to bytes with unsigned saturation: 0x0100-0x7FFF become
    // 0xFF and 0x8000-0xFFFF become 0, none of which is looked for.
    const __m128i tab = _mm_set1_epi8(8), carriageReturn = _mm_set1_epi8(14);
    const __m128i blank = _mm_set1_epi8(' '), openBrace = _mm_set1_epi8('{'), closeBrace = _mm_set1_epi8('}');
    const __m128i backslash = _mm_set1_epi8('\\'), tie = _mm_set1_epi8('~'), dollar = _mm_set1_epi8('$');
    const __m128i dash = _mm_set1_epi8('-');
    for (; i + 16 <= length; i += 16) {
        const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i + 8));
        const __m128i bytes = _mm_packus_epi16(low, high);
        __m128i special = _mm_and_si128(_mm_cmpgt_epi8(bytes, tab), _mm_cmplt_epi8(bytes, carriageReturn));
        special = _mm_or_si128(special, _mm_cmpeq_epi8(bytes, openBrace));
        special = _mm_or_si128(special, _mm_cmpeq_epi8(bytes, closeBrace));
        special = _mm_or_si128(special, _mm_cmpeq_epi8(bytes, backslash));
        special = _mm_or_si128(special, _mm_cmpeq_epi8(bytes, tie));
        special = _mm_or_si128(special, _mm_cmpeq_epi8(bytes, dollar));
        special = _mm_or_si128(special, _mm_cmpeq_epi8(bytes, dash));
        if (_mm_movemask_epi8(special) != 0) return false;
        const unsigned blanks = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, blank)));
        if ((blanks & (blanks << 1 | unsigned(blankBefore))) != 0) return false;
        blankBefore = (blanks >> 15) != 0;
    }
#endif
    for (; i < length; ++i) {
        const char16_t c = text[i];
        if (c == u' ') {
            if (blankBefore) return false;
            blankBefore = true;
            continue;
        }
        if (!isPlain(c)) return false;
        blankBefore = false;
    }
    return true;
}

}  // namespace

uint32_t texToPlainText(char16_t* text, uint32_t length, TexMode mode, bool presenceOnly) noexcept {
    if (mode != TexMode::kNames && !presenceOnly && readsAsItStands(text, length)) {
        text[length] = 0;
        return length;
    }
    PlainWriter w(text, length);
    uint32_t depth = 0;
    const bool prose = mode != TexMode::kVerbatim;
    while (!w.done()) {
        if (presenceOnly && w.written() > 0) break;
        if (presenceOnly && isPlain(w.at())) {
            w.put(w.at());
            break;
        }
        w.copyPlain(true, mode == TexMode::kNames);
        if (w.done()) break;
        const char16_t c = w.at();
        if (isAsciiWhiteSpace(c)) {
            if (mode == TexMode::kNames && depth == 0 && atNameSeparator(w)) {
                w.skipBlanks();
                w.skip(3);
                w.putSeparator();
                continue;
            }
            w.skip();
            w.blank();
            continue;
        }
        switch (c) {
            case u'{':
                ++depth;
                w.skip();
                continue;
            case u'}':
                if (depth > 0) --depth;
                w.skip();
                continue;
            case u'\\':
                putCommand(w, mode);
                continue;
            default: break;
        }
        w.skip();
        if (prose && c == u'~') {
            w.blank();
        } else if (prose && c == u'$') {
        } else if (prose && c == u'-' && w.at() == u'-') {
            const bool em = w.at(1) == u'-';
            w.skip(em ? 2 : 1);
            w.put(em ? char16_t(0x2014) : char16_t(0x2013));
        } else {
            w.put(c);
        }
    }
    const uint32_t n = w.finish();
    return mode == TexMode::kNames ? dropOthers(text, n) : n;
}
