#include "foundation/ascii.h"

#include <gtest/gtest.h>

#include "foundation/sorted_tables.h"

namespace {

// Sorted tables and case-blind lookups rest on this order: letters fold down,
// so "_" (0x5F) sorts before them, and bytes above 0x7F compare unsigned.
TEST(Ascii, CaseBlindOrderFoldsBeforeComparing) {
    struct Case {
        const char* a;
        const char* b;
        int sign;
    } cases[] = {
        {"Abstract", "ABSTRACT", 0}, {"A_", "AB", -1},  {"Z", "[", 1},  {"ab", "a", 1},
        {"\xC3\x89", "\xC3\xA9", -1}, {"\x7F", "\x80", -1}, {"", "", 0},
    };
    for (const Case& c : cases) {
        const int order = compareAsciiNoCase(c.a, c.b);
        EXPECT_EQ((order > 0) - (order < 0), c.sign) << c.a << " vs " << c.b;
    }
}

TEST(Ascii, OnlyAsciiIsWhiteSpaceOrChangesCase) {
    for (char16_t c : {u'\t', u'\n', u'\v', u'\f', u'\r', u' '}) EXPECT_TRUE(isAsciiWhiteSpace(c));
    for (char16_t c : {u'\b', u'\x0E', u'\x85', u'\xA0', u'\x2028'}) EXPECT_FALSE(isAsciiWhiteSpace(c));
    EXPECT_FALSE(isAsciiWhiteSpace(char(0x89)));  // a negative narrow char
    EXPECT_EQ(asciiLower(u'\x00C9'), u'\x00C9');
    EXPECT_EQ(asciiLower('@'), '@');
    EXPECT_EQ(asciiLower('Z'), 'z');
    static_assert(fourCharacterCode("RisT") == 0x54736952u);
    static constexpr int kRows[] = {1, 2, 2};
    static_assert(!isStrictlyAscending(kRows, [](int a, int b) { return a < b; }));  // equal keys break it
}

}  // namespace
