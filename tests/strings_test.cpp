#include "foundation/strings.h"

#include <gtest/gtest.h>

#include <string>

namespace {

template <class S>
std::basic_string<typename S::UnitType> text(const S& s) {
    return std::basic_string<typename S::UnitType>(s.data(), s.length());
}

// Width traits: inline room and the capacity after one unit more.
template <class S>
struct Width;
template <>
struct Width<XpString> {
    static constexpr uint32_t kInline = 10, kFirstBlock = 16;
};
template <>
struct Width<XpString16> {
    static constexpr uint32_t kInline = 4, kFirstBlock = 8;
};
template <>
struct Width<XpString32> {
    static constexpr uint32_t kInline = 1, kFirstBlock = 4;
};

template <class S>
class StringWidths : public testing::Test {};
using AllWidths = testing::Types<XpString, XpString16, XpString32>;
TYPED_TEST_SUITE(StringWidths, AllWidths);

TYPED_TEST(StringWidths, InlineUntilRoomThenPowerOfTwoBlock) {
    TypeParam s;
    EXPECT_TRUE(s.isInline());
    EXPECT_EQ(s.length(), 0u);
    EXPECT_EQ(s.data()[0], 0);
    ASSERT_EQ(s.insertFill(kXpStringAppend, 'x', Width<TypeParam>::kInline), 0);
    EXPECT_TRUE(s.isInline());
    EXPECT_EQ(reinterpret_cast<const void*>(s.data()), reinterpret_cast<const void*>(&s));
    ASSERT_EQ(s.appendUnit('y'), 0);
    EXPECT_FALSE(s.isInline());
    EXPECT_EQ(s.capacity(), Width<TypeParam>::kFirstBlock);
    EXPECT_EQ(s.length(), Width<TypeParam>::kInline + 1);
    EXPECT_EQ(s.data()[s.length() - 1], 'y');
    EXPECT_EQ(*s.end(), 0);

    // Clearing keeps the block and its capacity.
    const void* block = s.data();
    s.clear();
    EXPECT_FALSE(s.isInline());
    EXPECT_EQ(s.length(), 0u);
    EXPECT_EQ(s.capacity(), Width<TypeParam>::kFirstBlock);
    EXPECT_EQ(static_cast<const void*>(s.data()), block);
    EXPECT_EQ(s.data()[0], 0);
}

TYPED_TEST(StringWidths, CommitAndSetLengthClampToRoom) {
    TypeParam s;
    s.end()[0] = 'a';
    s.commitAppended(1);
    EXPECT_EQ(s.length(), 1u);
    s.commitAppended(100);
    EXPECT_EQ(s.length(), Width<TypeParam>::kInline);
    EXPECT_EQ(*s.end(), 0);
    ASSERT_EQ(s.grow(1), 0);
    s.setLength(1000);
    EXPECT_EQ(s.length(), Width<TypeParam>::kFirstBlock - 1);
    EXPECT_EQ(*s.end(), 0);
    s.setLength(0);
    EXPECT_EQ(s.data()[0], 0);
}

TYPED_TEST(StringWidths, LimitsOfTheLargestBlock) {
    TypeParam s;
    ASSERT_EQ(s.insertFill(kXpStringAppend, 'a', 3), 0);
    EXPECT_EQ(s.reserve(0xFFFFFF), kErrDataLimit);   // capacity would need 0x1000000
    EXPECT_EQ(s.grow(0xFFFFFD), kErrNoBufferSpace);  // length would pass 0xFFFFFF
    EXPECT_EQ(s.grow(0xFFFFFC), kErrDataLimit);      // length would reach it: no room for the terminator
    EXPECT_EQ(s.insertFill(kXpStringAppend, 'b', 0xFFFFFF), kErrNoBufferSpace);
    EXPECT_EQ(s.reserve(0xFFFFFFFF), kErrDataLimit);
    EXPECT_EQ(text(s), std::basic_string<typename TypeParam::UnitType>(3, 'a'));

    ASSERT_EQ(s.reserve(0xFFFFFE), 0);
    EXPECT_EQ(s.capacity(), 0xFFFFFFu);
    s.setLength(0xFFFFFFFF);
    EXPECT_EQ(s.length(), 0xFFFFFEu);
    // At the longest length one more unit passes the length check but not
    // the capacity; two more fail the length check.
    EXPECT_EQ(s.appendUnit('c'), kErrDataLimit);
    EXPECT_EQ(s.insertFill(0, 'c', 2), kErrNoBufferSpace);
    EXPECT_EQ(s.length(), 0xFFFFFEu);
    EXPECT_EQ(s.data()[0], 'a');
}

struct FillCase { uint32_t position; uint32_t count; const char* expected; };

TEST(StringInsert, FillPositionsOnAbc) {
    const FillCase cases[] = {
        {kXpStringAssign, 3, "xxx"}, {1, 2, "axxbc"},       {10, 1, "abcx"}, {3, 1, "abcx"},
        {kXpStringAppend, 1, "abcx"}, {0, 1, "xabc"},        {1, 0, "abc"},  {kXpStringAssign, 0, "abc"},
    };
    for (const FillCase& c : cases) {
        XpString s;
        ASSERT_EQ(s.append("abc"), 0);
        EXPECT_EQ(s.insertFill(c.position, 'x', c.count), 0);
        EXPECT_EQ(text(s), c.expected) << c.position << " " << c.count;
    }
}

TEST(StringInsert, TextPositionsCountsAndHeapMoves) {
    XpString s;
    ASSERT_EQ(s.append("abc"), 0);
    ASSERT_EQ(s.insert(1, "0123456789", 4), 0);  // moves to the heap mid-insert
    EXPECT_EQ(text(s), "a0123bc");
    ASSERT_EQ(s.insert(kXpStringAssign, "hello"), 0);
    EXPECT_EQ(text(s), "hello");
    EXPECT_EQ(s.insert(0, static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(s.insert(kXpStringAssign, "zz", 0), 0);
    EXPECT_EQ(text(s), "hello");
    ASSERT_EQ(s.insert(kXpStringAssign, ""), 0);  // an empty terminated text still assigns
    EXPECT_EQ(s.length(), 0u);
    // An explicit count takes embedded zeros too.
    ASSERT_EQ(s.append("a\0b", 3), 0);
    EXPECT_EQ(text(s), std::string("a\0b", 3));
}

TEST(StringInsert, OwnStorageIsRefused) {
    XpString s;
    ASSERT_EQ(s.append("abc"), 0);
    EXPECT_EQ(s.insert(0, s.data()), kErrInvalidArgument);
    EXPECT_EQ(s.append(s), kErrInvalidArgument);
    EXPECT_EQ(text(s), "abc");
    ASSERT_EQ(s.append("defghijklmnop"), 0);
    EXPECT_EQ(s.insert(0, s.data() + 5, 2), kErrInvalidArgument);
    EXPECT_EQ(s.assign(s.data(), 0), kErrInvalidArgument);
    EXPECT_EQ(text(s), "abcdefghijklmnop");
    XpString other;
    ASSERT_EQ(other.append(s), 0);
    EXPECT_TRUE(other.equals("abcdefghijklmnop"));
    EXPECT_FALSE(other.equals("abcdefghijklmnoq"));  // same length, one unit differs
}

TEST(StringInsert, FailedAssignKeepsTheText) {
    XpString16 s;
    ASSERT_EQ(s.append(u"keep"), 0);
    static const char16_t big[] = u"x";
    EXPECT_EQ(s.insert(kXpStringAssign, big, 0x1000000), kErrNoBufferSpace);
    EXPECT_TRUE(s.equals(u"keep"));
    ASSERT_EQ(s.assign(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(s.length(), 0u);
}

struct WidthCase { const char* name; std::string narrow; std::u16string wide; ResultCode rc; };

// Narrow text into 16-bit strings: each invalid sequence is one U+FFFD, an
// incomplete sequence at the very end is dropped, and the code tells which.
TEST(StringConversion, NarrowIntoUtf16KeepsWhatConverted) {
    const WidthCase cases[] = {
        {"valid", "caf\xC3\xA9 \xF0\x9F\x98\x80", u"caf\u00E9 \xD83D\xDE00", 0},
        {"invalid", "a\xFF\xFE" "b\xC0", u"a\xFFFD" u"b\xFFFD", kErrIncompleteInput},
        {"overlong", "\xC0\x41", u"\xFFFD" u"A", kErrIllegalSequence},
        {"incompleteTail", "ab\xE2\x82", u"ab", kErrIncompleteInput},
        {"onlyIncomplete", "\xC3", u"", kErrIncompleteInput},
    };
    for (const WidthCase& c : cases) {
        SCOPED_TRACE(c.name);
        XpString16 s;
        EXPECT_EQ(s.assign(c.narrow.c_str()), c.rc);
        EXPECT_EQ(text(s), c.wide);
    }
}

TEST(StringConversion, BetweenAllWidthsInTheMiddle) {
    XpString16 w;
    ASSERT_EQ(w.append(u"[]"), 0);
    ASSERT_EQ(w.insert(1, U"\U0001F600\u00E9"), 0);
    EXPECT_EQ(text(w), u"[\xD83D\xDE00\u00E9]");

    XpString n;
    ASSERT_EQ(n.append("<>"), 0);
    ASSERT_EQ(n.insert(1, w), 0);
    EXPECT_EQ(text(n), "<[\xF0\x9F\x98\x80\xC3\xA9]>");
    const char16_t loneLow[] = {0xDC00, 0};
    EXPECT_EQ(n.append(loneLow), kErrIllegalSequence);
    EXPECT_EQ(text(n), "<[\xF0\x9F\x98\x80\xC3\xA9]>\xEF\xBF\xBD");

    XpString32 u;
    ASSERT_EQ(u.append(n), 0);
    EXPECT_EQ(text(u), U"<[\U0001F600\u00E9]>\uFFFD");
    XpString16 back;
    ASSERT_EQ(back.assign(u), 0);
    EXPECT_EQ(text(back), u"<[\xD83D\xDE00\u00E9]>\xFFFD");
}

TEST(NarrowString, LastChar) {
    XpString s;
    EXPECT_EQ(s.lastChar(), -1);
    EXPECT_EQ(s.removeLastChar(), -1);
    ASSERT_EQ(s.append("a\xE9"), 0);
    EXPECT_EQ(s.lastChar(), 0xE9);
    EXPECT_EQ(s.removeLastChar(), 0xE9);
    EXPECT_EQ(text(s), "a");
    EXPECT_EQ(s.data()[1], '\0');
}

TEST(StringCompare, Utf16Strings) {
    XpString16 ab, abc, high;
    ASSERT_EQ(ab.append(u"ab"), 0);
    ASSERT_EQ(abc.append(u"abc"), 0);
    ASSERT_EQ(high.append(u"\xFFFF"), 0);
    EXPECT_LT(XpString16::compare(ab, abc), 0);
    EXPECT_GT(XpString16::compare(abc, ab), 0);
    EXPECT_EQ(XpString16::compare(ab, ab), 0);
    EXPECT_EQ(XpString16::compare(high, ab), 0xFFFF - 'a');  // units compare unsigned
}

TEST(StringCompare, PlainNarrowText) {
    EXPECT_NE(compareText("CSV", "csv"), 0);
    EXPECT_EQ(compareText(nullptr, ""), 0);
    EXPECT_LT(compareText(nullptr, "a"), 0);
    EXPECT_EQ(compareText("\x80", "a"), 0x80 - 'a');  // bytes compare unsigned
    EXPECT_EQ(compareText("x-user-defined", "x_chinese-eten"), '-' - '_');
    static_assert(compareText("ab", "abc") < 0);
}

}  // namespace
