#include "collate/work_keys.h"

#include <array>
#include <new>
#include <string_view>

#include "foundation/encodings.h"

namespace {

// The code point at text[i] (a lone surrogate stands for itself); i moves past it.
char32_t nextCodePoint(const char16_t* text, uint32_t length, uint32_t& i) noexcept {
    const char16_t c = text[i++];
    if (c >= 0xD800 && c < 0xDC00 && i < length && text[i] >= 0xDC00 && text[i] < 0xE000)
        return 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(text[i++]) - 0xDC00);
    return c;
}

char16_t* putCodePoint(char16_t* out, char32_t c) noexcept {
    if (c < 0x10000) {
        *out++ = char16_t(c);
    } else {
        *out++ = char16_t(0xD800 + ((c - 0x10000) >> 10));
        *out++ = char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
    }
    return out;
}

void appendCodePoint(std::u16string& out, char32_t c) {
    char16_t units[2];
    out.append(units, size_t(putCodePoint(units, c) - units));
}

// What the keys need of a character: its simple lower-case mapping and
// category, from the character tables, with ASCII answered at once.
struct Character {
    char32_t lower;
    uint8_t category;
};

Character classify(char32_t c) noexcept {
    if (c < 0x80) {
        if (c >= U'A' && c <= U'Z') return {c + 32, 0x11};
        if (c >= U'a' && c <= U'z') return {c, 0x12};
        if (c >= U'0' && c <= U'9') return {c, 0x31};
        if (c == U' ') return {c, 0x61};
        return {c, 0x47};  // punctuation, symbols and controls alike: none of them counts
    }
    const CharProperty& row = findCharProperty(c);
    return {row.lower != 0 ? row.lower : c, row.category};
}

// What an ASCII unit gives a title key: its lower-case letter or digit, or
// 0 for every other unit.
constexpr auto kAsciiTitleUnits = [] {
    std::array<char16_t, 128> units{};
    for (char16_t c = u'0'; c <= u'9'; ++c) units[c] = c;
    for (char16_t c = u'a'; c <= u'z'; ++c) units[c] = units[c - 32] = c;
    return units;
}();

bool isLetter(const Character& c) noexcept { return (c.category >> 4) == 1; }
bool isNumber(const Character& c) noexcept { return (c.category >> 4) == 3; }
bool isWhite(char32_t c) noexcept { return c == 32 || (c >= 9 && c <= 13) || (classify(c).category >> 4) == 6; }

char16_t asciiLower(char16_t c) noexcept { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; }

// Whether text[0, length) starts with prefix once its ASCII letters are lower-cased.
bool startsWithLowered(const char16_t* text, uint32_t length, std::u16string_view prefix) noexcept {
    if (length < prefix.size()) return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (asciiLower(text[i]) != prefix[i]) return false;
    return true;
}

// The letters of text[begin, end), lower-cased, appended to out; the count.
uint32_t appendLetters(const char16_t* text, uint32_t begin, uint32_t end, std::u16string& out) {
    uint32_t n = 0;
    for (uint32_t i = begin; i < end;) {
        const char32_t c = nextCodePoint(text, end, i);
        const Character row = classify(c);
        if (!isLetter(row)) continue;
        appendCodePoint(out, row.lower);
        ++n;
    }
    return n;
}

// The first letter of text[begin, end), lower-cased, or 0.
char32_t firstLetter(const char16_t* text, uint32_t begin, uint32_t end) noexcept {
    for (uint32_t i = begin; i < end;) {
        const char32_t c = nextCodePoint(text, end, i);
        const Character row = classify(c);
        if (isLetter(row)) return row.lower;
    }
    return 0;
}

struct Word {
    uint32_t begin;
    uint32_t end;
};

// Initials: one to three letters all capitals ("VA", "V"), or letters
// written with full stops ("V.A.", "J.-P.").
bool looksLikeInitials(const char16_t* text, Word w) noexcept {
    uint32_t letters = 0;
    bool allUpper = true;
    bool stop = false;
    for (uint32_t i = w.begin; i < w.end;) {
        const char32_t c = nextCodePoint(text, w.end, i);
        const Character row = classify(c);
        if (c == U'.') stop = true;
        if (!isLetter(row)) continue;
        ++letters;
        if (row.category != 0x11) allUpper = false;
    }
    if (letters == 0) return false;
    return stop ? letters <= 4 : allUpper && letters <= 3;
}

}  // namespace

bool doiKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept {
    key.clear();
    try {
        uint32_t begin = 0;
        uint32_t end = length;
        while (begin < end && isWhite(text[begin])) ++begin;
        while (end > begin && isWhite(text[end - 1])) --end;
        static constexpr std::u16string_view kPrefixes[] = {u"https://doi.org/", u"http://doi.org/",
                                                            u"https://dx.doi.org/", u"http://dx.doi.org/", u"doi:"};
        for (const std::u16string_view prefix : kPrefixes) {
            if (startsWithLowered(text + begin, end - begin, prefix)) {
                begin += uint32_t(prefix.size());
                break;
            }
        }
        if (!startsWithLowered(text + begin, end - begin, u"10.")) return true;
        key.resize(end - begin);
        for (uint32_t i = begin; i < end; ++i) key[i - begin] = asciiLower(text[i]);
    } catch (const std::bad_alloc&) {
        key.clear();
        return false;
    }
    return true;
}

bool titleKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept {
    key.clear();
    try {
        // A character's lower case takes at most two units, so the key fits
        // in twice the title's units; written in place, most titles being
        // ASCII that a table maps at once.
        key.resize(size_t(length) * 2);
        char16_t* const start = key.data();
        char16_t* out = start;
        uint32_t pairs = 0;  // characters written as two units
        for (uint32_t i = 0; i < length;) {
            if (text[i] < 0x80) {
                // Written always, kept only when it counts: no branch to mispredict.
                *out = kAsciiTitleUnits[text[i++]];
                out += *out != 0;
                continue;
            }
            const Character row = classify(nextCodePoint(text, length, i));
            if (!isLetter(row) && !isNumber(row)) continue;
            char16_t* const next = putCodePoint(out, row.lower);
            pairs += uint32_t(next - out) - 1;
            out = next;
        }
        const uint32_t count = uint32_t(out - start) - pairs;
        key.resize(count < kMinTitleKeyLength ? 0 : size_t(out - start));
    } catch (const std::bad_alloc&) {
        key.clear();
        return false;
    }
    return true;
}

bool nameKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept {
    key.clear();
    try {
        uint32_t comma = 0;
        while (comma < length && text[comma] != u',') ++comma;
        Word surname{0, 0};
        Word given{0, 0};
        if (comma < length) {
            surname = {0, comma};
            given = {comma + 1, length};
        } else {
            Word words[64];
            uint32_t count = 0;
            for (uint32_t i = 0; i < length && count < 64;) {
                while (i < length && isWhite(text[i])) ++i;
                const uint32_t begin = i;
                while (i < length && !isWhite(text[i])) ++i;
                if (i > begin) words[count++] = {begin, i};
            }
            if (count == 0) return true;
            const Word first = words[0];
            const Word last = words[count - 1];
            if (count > 1 && looksLikeInitials(text, last) && !looksLikeInitials(text, first)) {
                surname = {first.begin, words[count - 2].end};
                given = last;
            } else {
                surname = last;
                given = count > 1 ? Word{first.begin, words[count - 2].end} : Word{0, 0};
            }
        }
        if (appendLetters(text, surname.begin, surname.end, key) == 0) {
            key.clear();
            return true;
        }
        const char32_t initial = firstLetter(text, given.begin, given.end);
        if (initial != 0) {
            key.push_back(u' ');
            appendCodePoint(key, initial);
        }
    } catch (const std::bad_alloc&) {
        key.clear();
        return false;
    }
    return true;
}

bool sourceKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept {
    key.clear();
    try {
        bool blank = false;
        for (uint32_t i = 0; i < length;) {
            const char32_t c = nextCodePoint(text, length, i);
            if (isWhite(c)) {
                blank = !key.empty();
                continue;
            }
            if (blank) key.push_back(u' ');
            blank = false;
            appendCodePoint(key, classify(c).lower);
        }
    } catch (const std::bad_alloc&) {
        key.clear();
        return false;
    }
    return true;
}
