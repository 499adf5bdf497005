#include <gtest/gtest.h>

#include "foundation/printf_engine.h"
#include "foundation/strings.h"

namespace {

// formatInto appends through a wstrbuf_writer, so narrow arguments arrive as
// UTF-16 and the engine's first failing sink code comes back.
TEST(StringFormat, AppendsFormattedTextToUtf16String) {
    XpString16 s;
    ASSERT_EQ(s.append(u">"), 0);
    EXPECT_EQ(formatInto(&s, "%s=%03u%c", "caf\xC3\xA9", 7u, '!'), 0);
    EXPECT_TRUE(s.equals(u">caf\u00E9=007!"));
    EXPECT_EQ(formatInto(&s, "%5s|", "ab"), 0);  // padding goes through writeFill
    EXPECT_TRUE(s.equals(u">caf\u00E9=007!   ab|"));
}

TEST(StringFormat, EmptyOrAbsentFormatDoesNothing) {
    XpString16 s;
    EXPECT_EQ(formatInto(&s, nullptr), 0);
    EXPECT_EQ(formatInto(nullptr, nullptr), 0);
    EXPECT_EQ(s.length(), 0u);
    EXPECT_EQ(formatInto(nullptr, "x"), kErrInvalidArgument);
    // A lone narrow byte of 0x80 or more is incomplete UTF-8 for a UTF-16 string.
    EXPECT_EQ(formatInto(&s, "%c", '\xE9'), kErrIncompleteInput);
}

}  // namespace
