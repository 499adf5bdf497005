#include "import/note_scanner.h"

#include <cstdint>

#include "import/importer.h"

namespace {

const char16_t* skipWhiteSpace(const char16_t* p) noexcept {
    while (isAsciiWhiteSpace(*p)) ++p;
    return p;
}

bool isDigit(char16_t c) noexcept { return c >= u'0' && c <= u'9'; }

// Reads the optional sign; returns true for a minus.
bool readSign(const char16_t*& p) noexcept {
    if (*p == u'+' || *p == u'-') return *p++ == u'-';
    return false;
}

// Finds text (ASCII, length n) in the input from p; returns the position
// past its first occurrence or null.
const char16_t* skipPast(const char16_t* p, const char* text, uint32_t n, bool ignoreCase) noexcept {
    if (n == 0) return p;
    const char16_t first = ignoreCase ? asciiLower(char16_t(static_cast<unsigned char>(text[0])))
                                      : char16_t(static_cast<unsigned char>(text[0]));
    // A letter in either case is the lower-case letter with bit 0x20 set.
    const bool letter = ignoreCase && first >= u'a' && first <= u'z';
    for (; *p != 0; ++p) {
        // Most positions fail at the first unit; they are passed over cheaply.
        if (letter ? char16_t(*p | 0x20) != first : (ignoreCase ? asciiLower(*p) : *p) != first) continue;
        uint32_t i = 0;
        for (; i < n; ++i) {
            char16_t a = p[i];
            char16_t b = char16_t(static_cast<unsigned char>(text[i]));
            if (a == 0) return nullptr;  // the rest of the input is shorter than text
            if (ignoreCase) {
                a = asciiLower(a);
                b = asciiLower(b);
            }
            if (a != b) break;
        }
        if (i == n) return p + n;
    }
    return nullptr;
}

}  // namespace

const char16_t* readUnsignedNumber(const char16_t* text, uint32_t* out) noexcept {
    const char16_t* p = skipWhiteSpace(text);
    const bool negative = readSign(p);
    if (!isDigit(*p)) return nullptr;
    uint64_t value = 0;
    bool saturated = false;
    for (; isDigit(*p); ++p) {
        const uint64_t digit = uint64_t(*p - u'0');
        if (saturated || value > (UINT64_MAX - digit) / 10) {
            saturated = true;
            continue;
        }
        value = value * 10 + digit;
    }
    if (saturated) value = UINT64_MAX;
    else if (negative) value = uint64_t(0) - value;
    *out = value > UINT32_MAX ? UINT32_MAX : uint32_t(value);
    return p;
}

const char16_t* readSignedNumber(const char16_t* text, int32_t* out) noexcept {
    const char16_t* p = skipWhiteSpace(text);
    const bool negative = readSign(p);
    if (!isDigit(*p)) return nullptr;
    int64_t value = 0;
    for (; isDigit(*p); ++p) {
        const int64_t digit = int64_t(*p - u'0');
        value = negative ? value * 10 - digit : value * 10 + digit;
        if (value > INT32_MAX) value = INT32_MAX;
        if (value < INT32_MIN) value = INT32_MIN;
    }
    *out = int32_t(value);
    return p;
}

NoteScanResult scanNote(const char16_t* input, const char* pattern) noexcept {
    NoteScanResult result;
    if (input == nullptr || pattern == nullptr) {
        result.stop = input;
        return result;
    }
    const char16_t* p = input;
    const char* f = pattern;
    while (*f != 0) {
        if (*f == ' ') {
            p = skipWhiteSpace(p);
            ++f;
            continue;
        }
        if (*f != '%') {
            if (*p != char16_t(static_cast<unsigned char>(*f))) break;
            ++p;
            ++f;
            continue;
        }
        // A conversion or a skip.
        const char* c = f + 1;
        if (*c == 'u' || *c == 'd') {
            if (result.converted >= kNoteScanSlots) break;
            const char16_t* next = nullptr;
            if (*c == 'u') {
                next = readUnsignedNumber(p, &result.values[result.converted]);
            } else {
                int32_t v = 0;
                next = readSignedNumber(p, &v);
                if (next != nullptr) result.values[result.converted] = uint32_t(v);
            }
            if (next == nullptr) break;
            ++result.converted;
            p = next;
            f = c + 1;
            continue;
        }
        const bool ignoreCase = *c == '~';
        if (ignoreCase) ++c;
        if (*c != '(') break;  // an element this scanner does not know
        const char* text = c + 1;
        const char* close = text;
        while (*close != 0 && *close != ')') ++close;
        if (*close != ')') break;
        const char16_t* next = skipPast(p, text, uint32_t(close - text), ignoreCase);
        if (next == nullptr) break;
        p = next;
        f = close + 1;
    }
    result.matched = *f == 0;
    result.stop = p;
    return result;
}
