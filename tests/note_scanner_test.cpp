#include "import/note_scanner.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

struct ScanCase {
    const char16_t* input;
    const char* pattern;
    bool matched;
    uint32_t converted;
    uint32_t first;
    uint32_t last;
    const char16_t* rest;  // what follows the stop position
};

std::u16string restOf(const NoteScanResult& r) { return r.stop != nullptr ? std::u16string(r.stop) : u"<null>"; }

TEST(NoteScanner, ElementsMatchAsDescribed) {
    const ScanCase cases[] = {
        // "%u cites:" with a link after it; the blank matches a run or none.
        {u"42 cites: http://x", "%u cites:", true, 1, 42, 42, u" http://x"},
        {u"42cites:", "%u cites:", true, 1, 42, 42, u""},
        {u"42 \t cites:", "%u cites:", true, 1, 42, 42, u""},
        {u"  +7 cites:", "%u cites:", true, 1, 7, 7, u""},
        // Literal text keeps its letter case.
        {u"42 Cites:", "%u cites:", false, 1, 42, 42, u"Cites:"},
        {u"cites: 4", "%u cites:", false, 0, 0, 0, u"cites: 4"},
        // Unsigned: negative wraps to the cap, 64-bit overflow saturates.
        {u"-5 cites:", "%u cites:", true, 1, 4294967295u, 4294967295u, u""},
        {u"4294967296 cites:", "%u cites:", true, 1, 4294967295u, 4294967295u, u""},
        {u"99999999999999999999999 cites:", "%u cites:", true, 1, 4294967295u, 4294967295u, u""},
        // Signed pairs of pages; a scan stops where the input stops matching.
        {u"123-130", "%d-%d", true, 2, 123, 130, u""},
        {u"123", "%d-%d", false, 1, 123, 123, u""},
        {u"e1-e9", "%d-%d", false, 0, 0, 0, u"e1-e9"},
        {u"-12--3", "%d-%d", true, 2, uint32_t(-12), uint32_t(-3), u""},
        {u"99999999999-1", "%d-%d", true, 2, 2147483647u, 1, u""},
        {u"-99999999999-1", "%d-%d", true, 2, uint32_t(INT32_MIN), 1, u""},
        // Skips go to the first occurrence only; "~" alone ignores case.
        {u"Export Date: 1 May 2020; Cited By: 17", "%~(Cited By) : %u", true, 1, 17, 17, u""},
        {u"Export Date: 1 May 2020; cited by: 17", "%~(Cited By) : %u", true, 1, 17, 17, u""},
        {u"cited by: 17", "%(Cited By) : %u", false, 0, 0, 0, u"cited by: 17"},
        {u"Cited By (since 1996): 35", "%~(Cited By) (since %u): %u", true, 2, 1996, 35, u""},
        {u"Cited By: 35", "%~(Cited By) (since %u): %u", false, 0, 0, 0, u": 35"},
        {u"Cited By x; Cited By: 4", "%(Cited By): %u", false, 0, 0, 0, u" x; Cited By: 4"},
        {u"no such note", "%~(Cited By) : %u", false, 0, 0, 0, u"no such note"},
        {u"Cited B", "%~(Cited By)", false, 0, 0, 0, u"Cited B"},
    };
    for (const ScanCase& c : cases) {
        SCOPED_TRACE(std::string(c.pattern) + " over case with first value " + std::to_string(c.first));
        const NoteScanResult r = scanNote(c.input, c.pattern);
        EXPECT_EQ(r.matched, c.matched);
        ASSERT_EQ(r.converted, c.converted);
        if (c.converted > 0) {
            EXPECT_EQ(r.values[0], c.first);
            EXPECT_EQ(r.values[c.converted - 1], c.last);
        }
        EXPECT_EQ(restOf(r), std::u16string(c.rest));
    }
}

TEST(NoteScanner, NumberReadersFollowTheLibraryConversions) {
    int32_t s = 99;
    EXPECT_EQ(readSignedNumber(u"n.d.", &s), nullptr);
    EXPECT_EQ(s, 99);  // untouched without digits
    const char16_t* year = u" 2010///";
    EXPECT_EQ(readSignedNumber(year, &s), year + 5);
    EXPECT_EQ(s, 2010);
    EXPECT_NE(readSignedNumber(u"2147483648", &s), nullptr);
    EXPECT_EQ(s, INT32_MAX);
    EXPECT_EQ(readSignedNumber(u"- 4", &s), nullptr);  // the sign must touch the digits

    uint32_t u = 0;
    EXPECT_NE(readUnsignedNumber(u"18446744073709551615", &u), nullptr);
    EXPECT_EQ(u, 4294967295u);
    EXPECT_NE(readUnsignedNumber(u"\v4294967294", &u), nullptr);
    EXPECT_EQ(u, 4294967294u);
    EXPECT_NE(readUnsignedNumber(u"-0", &u), nullptr);
    EXPECT_EQ(u, 0u);
    // U+00A0 is not white space here, whatever the locale says.
    EXPECT_EQ(readUnsignedNumber(u"\u00A012", &u), nullptr);
}

}  // namespace
