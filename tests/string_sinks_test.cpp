#include "foundation/string_sinks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "foundation/strings.h"

namespace {

TEST(StrWriter, CutsAtTheLimitAndAlwaysTerminates) {
    char buffer[8];
    std::memset(buffer, '#', sizeof buffer);
    str_writer sink(buffer, buffer + 4);
    EXPECT_EQ(sink.writeText("abcdef", 6), 0);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(sink.cursor(), buffer + 4);
    EXPECT_EQ(buffer[5], '#');
    // Full: further writes change nothing and still succeed.
    EXPECT_EQ(sink.writeFill('x', 3), 0);
    EXPECT_EQ(sink.writeText16(u"y", 1), 0);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(sink.written(), 4u);
}

TEST(StrWriter, EachOperation) {
    char buffer[16];
    str_writer sink(buffer, buffer + 15);
    EXPECT_EQ(sink.writeFill('-', 2), 0);
    EXPECT_EQ(sink.writeText("ab\0cd", 5), 0);  // stops at the zero byte
    EXPECT_EQ(sink.writeText16(u"\u00E9", kUnitsToTerminator), 0);
    EXPECT_EQ(sink.writeText16Alt(u"!?", 1), 0);  // only the units counted
    EXPECT_EQ(sink.writeText32(U"\U0001F600?", 1), 0);
    EXPECT_STREQ(buffer, "--ab\xC3\xA9!\xF0\x9F\x98\x80");
    EXPECT_EQ(sink.written(), 11u);
}

TEST(StrWriter, WideTextKeepsWholeCharactersOnly) {
    char buffer[4];
    str_writer sink(buffer, buffer + 3);
    EXPECT_EQ(sink.writeText16(u"\u00E9\u20AC", 2), 0);  // the euro sign needs three more bytes
    EXPECT_STREQ(buffer, "\xC3\xA9");
    EXPECT_EQ(sink.writeText32(U"z\u00E9", 2), 0);
    EXPECT_STREQ(buffer, "\xC3\xA9z");
}

TEST(StrWriter, UnusableCursorWritesNothing) {
    str_writer none(nullptr, nullptr);
    EXPECT_EQ(none.writeText("abc", 3), 0);
    EXPECT_EQ(none.writeFill('x', 2), 0);
    char buffer[4] = {'#', '#', '#', '#'};
    str_writer past(buffer + 3, buffer + 2);
    EXPECT_EQ(past.writeText("abc", 3), 0);
    EXPECT_EQ(past.writeText32(U"abc", 3), 0);
    str_writer empty(buffer, buffer + 3);  // no text: only the terminator
    EXPECT_EQ(empty.writeText16(nullptr, 2), 0);
    EXPECT_EQ(empty.writeText32(nullptr, kUnitsToTerminator), 0);
    EXPECT_EQ(empty.written(), 0u);
    buffer[0] = '#';
    EXPECT_EQ(std::string(buffer, 4), "####");
    str_writer noRoom(buffer, buffer);  // no room, but still the terminator, whatever the width
    for (int width : {0, 8, 16, 32}) {
        buffer[0] = '#';
        EXPECT_EQ(width == 0 ? noRoom.writeFill('x', 1) : width == 8 ? noRoom.writeText("x", 1)
                  : width == 16 ? noRoom.writeText16(u"x", 1) : noRoom.writeText32(U"x", 1), 0);
        EXPECT_EQ(std::string(buffer, 4), std::string("\0###", 4)) << width;
    }
}

TEST(StringSinks, NarrowTarget) {
    XpString s;
    strbuf_writer sink(&s);
    tsr_writer& w = sink;
    EXPECT_EQ(w.writeText("ab", kUnitsToTerminator), 0);
    EXPECT_EQ(w.writeFill('.', 3), 0);
    EXPECT_EQ(w.writeText16(u"\u00E9", 1), 0);
    EXPECT_EQ(w.writeText16Alt(u"\u00E9", 1), 0);
    EXPECT_EQ(w.writeText32(U"\U0001F600", kUnitsToTerminator), 0);
    EXPECT_TRUE(s.equals("ab...\xC3\xA9\xC3\xA9\xF0\x9F\x98\x80"));
    const char16_t loneHigh[] = {u'x', 0xD800};
    EXPECT_EQ(w.writeText16(loneHigh, 2), kErrIncompleteInput);
    EXPECT_EQ(s.lastChar(), 'x');
}

TEST(StringSinks, MissingTarget) {
    strbuf_writer none(nullptr);
    EXPECT_EQ(none.writeText("a", 1), kErrInvalidArgument);
}

}  // namespace
