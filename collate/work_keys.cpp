#include "collate/work_keys.h"

#include <new>

#include "foundation/encodings.h"

namespace {

// The code point at text[i] (a lone surrogate stands for itself); i moves past it.
char32_t nextCodePoint(const char16_t* text, uint32_t length, uint32_t& i) noexcept {
    const char16_t c = text[i++];
    if (c >= 0xD800 && c < 0xDC00 && i < length && text[i] >= 0xDC00 && text[i] < 0xE000)
        return 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(text[i++]) - 0xDC00);
    return c;
}

void appendCodePoint(std::u16string& out, char32_t c) {
    if (c < 0x10000) {
        out.push_back(char16_t(c));
    } else {
        out.push_back(char16_t(0xD800 + ((c - 0x10000) >> 10)));
        out.push_back(char16_t(0xDC00 + ((c - 0x10000) & 0x3FF)));
    }
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

bool isLetter(const Character& c) noexcept { return (c.category >> 4) == 1; }
bool isNumber(const Character& c) noexcept { return (c.category >> 4) == 3; }
bool isWhite(char32_t c) noexcept { return c == 32 || (c >= 9 && c <= 13) || (classify(c).category >> 4) == 6; }

char16_t asciiLower(char16_t c) noexcept { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; }

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
        for (uint32_t i = begin; i < end; ++i) key.push_back(asciiLower(text[i]));
        static constexpr const char16_t* kPrefixes[] = {u"https://doi.org/", u"http://doi.org/", u"https://dx.doi.org/",
                                                        u"http://dx.doi.org/", u"doi:"};
        for (const char16_t* prefix : kPrefixes) {
            if (key.starts_with(prefix)) {
                key.erase(0, std::char_traits<char16_t>::length(prefix));
                break;
            }
        }
        if (!key.starts_with(u"10.")) key.clear();
    } catch (const std::bad_alloc&) {
        key.clear();
        return false;
    }
    return true;
}

bool titleKey(const char16_t* text, uint32_t length, std::u16string& key) noexcept {
    key.clear();
    try {
        uint32_t count = 0;
        for (uint32_t i = 0; i < length;) {
            const char32_t c = nextCodePoint(text, length, i);
            const Character row = classify(c);
            if (!isLetter(row) && !isNumber(row)) continue;
            appendCodePoint(key, row.lower);
            ++count;
        }
        if (count < kMinTitleKeyLength) key.clear();
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
