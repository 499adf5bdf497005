#include "foundation/utf.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(UtfProtocol, ArgumentsAndTerminatedSource) {
    char16_t out[8];
    uint32_t in = 3, n = 8;
    EXPECT_EQ(utf8ToUtf16("abc", nullptr, out, &n), kErrInvalidArgument);
    EXPECT_EQ(utf8ToUtf16("abc", &in, nullptr, &n), kErrInvalidArgument);
    EXPECT_EQ(utf8ToUtf16("abc", &in, out, nullptr), kErrInvalidArgument);
    EXPECT_EQ(utf8ToUtf16(nullptr, &in, out, &n), 0);
    EXPECT_EQ(in, 0u);
    EXPECT_EQ(n, 0u);
    in = 0;
    n = 8;
    EXPECT_EQ(utf8ToUtf16("abc", &in, out, &n), 0);
    EXPECT_EQ(n, 0u);
    // A terminated source converts its terminator as well.
    in = kUnitsToTerminator;
    n = 8;
    EXPECT_EQ(utf8ToUtf16("ab", &in, out, &n), 0);
    EXPECT_EQ(in, 3u);
    EXPECT_EQ(std::u16string(out, n), std::u16string(u"ab\0", 3));
    EXPECT_EQ(utf16LengthOfUtf8("ab", kUnitsToTerminator), 3u);
    EXPECT_EQ(utf16LengthOfUtf8(nullptr, 5), 0u);
}

TEST(Utf8SingleCharacter, DecodeAndEncode) {
    char32_t cp = 0;
    uint32_t used = 9;
    EXPECT_EQ(decodeUtf8Char("", 0, &cp, &used), kErrIncompleteInput);
    EXPECT_EQ(used, 0u);
    EXPECT_EQ(decodeUtf8Char("\xE2\x82\xAC", 3, &cp, &used), 0);
    EXPECT_EQ(cp, U'\u20AC');
    EXPECT_EQ(used, 3u);
    EXPECT_EQ(decodeUtf8Char("\xC0\x41", 2, &cp, &used), kErrIllegalSequence);
    EXPECT_EQ(cp, kReplacementChar);
    EXPECT_EQ(used, 1u);
    EXPECT_EQ(decodeUtf8Char("\xE0\x80\x80", 3, &cp, &used), kErrIncompleteInput);
    EXPECT_EQ(used, 3u);
    EXPECT_EQ(decodeUtf8Char("\xE2\x82", 2, &cp, &used), kErrIncompleteInput);
    EXPECT_EQ(used, 0u);

    struct { char32_t cp; std::string bytes; ResultCode rc; } const encodeCases[] = {
        {0x41, "A", 0},          {0x7FF, "\xDF\xBF", 0},          {0xD800, "\xEF\xBF\xBD", kErrIllegalSequence},
        {0xFFFF, "\xEF\xBF\xBF", 0}, {0x10000, "\xF0\x90\x80\x80", 0}, {0x110000, "\xEF\xBF\xBD", kErrIllegalSequence},
    };
    for (const auto& c : encodeCases) {
        char out[4];
        uint32_t written = 0;
        EXPECT_EQ(encodeUtf8CodePoint(c.cp, out, 4, &written), c.rc) << std::hex << static_cast<uint32_t>(c.cp);
        EXPECT_EQ(std::string(out, written), c.bytes);
        EXPECT_EQ(encodeUtf8CodePoint(c.cp, out, static_cast<uint32_t>(c.bytes.size()) - 1, &written),
                  kErrNoBufferSpace);
        EXPECT_EQ(written, 0u);
    }
}

}  // namespace
