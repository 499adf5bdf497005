// ASCII helpers shared by import, the command line and the strings: white
// space, letter case and four-character codes.
//
// Contract: every helper looks at ASCII only. Units above 127 (and negative
// narrow chars) are never white space and never change case, whatever the
// locale, so the UTF-8 or UTF-16 forms of accented letters pass through as
// they are. All helpers are constexpr and usable in constant tables.
#pragma once

#include <cstdint>

// Tab, line feed, vertical tab, form feed, carriage return and blank.
template <class Unit>
constexpr bool isAsciiWhiteSpace(Unit c) noexcept {
    return c == Unit(32) || (c >= Unit(9) && c <= Unit(13));
}

// "A"-"Z" to "a"-"z"; every other unit as it is.
template <class Unit>
constexpr Unit asciiLower(Unit c) noexcept {
    return (c >= Unit('A') && c <= Unit('Z')) ? Unit(c + 32) : c;
}

// Order of two zero-terminated narrow texts after asciiLower, bytes compared
// unsigned: negative, 0 or positive. Folding puts "_" (0x5F) before every
// letter, so "A_" sorts before "AB" although plain byte order says otherwise.
constexpr int compareAsciiNoCase(const char* a, const char* b) noexcept {
    for (;; ++a, ++b) {
        const int d = int(uint8_t(asciiLower(*a))) - int(uint8_t(asciiLower(*b)));
        if (d != 0 || *a == '\0') return d;
    }
}

// Packs four ASCII characters into a 32-bit code, the first in the lowest
// byte: fourCharacterCode("RisT") is 0x54736952.
constexpr uint32_t fourCharacterCode(const char (&code)[5]) noexcept {
    return uint32_t(uint8_t(code[0])) | (uint32_t(uint8_t(code[1])) << 8) | (uint32_t(uint8_t(code[2])) << 16) |
           (uint32_t(uint8_t(code[3])) << 24);
}
