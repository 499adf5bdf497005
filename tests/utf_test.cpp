#include "foundation/utf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

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

// Random valid text from every range (ASCII, two-, three-, four-byte).
std::u32string randomText(std::mt19937& rng, size_t length) {
    std::uniform_int_distribution<int> pick(0, 3);
    std::u32string text;
    while (text.size() < length) {
        char32_t cp;
        switch (pick(rng)) {
            case 0: cp = std::uniform_int_distribution<char32_t>(1, 0x7F)(rng); break;
            case 1: cp = std::uniform_int_distribution<char32_t>(0x80, 0x7FF)(rng); break;
            case 2: cp = std::uniform_int_distribution<char32_t>(0x800, 0xFFFF)(rng); break;
            default: cp = std::uniform_int_distribution<char32_t>(0x10000, 0x10FFFF)(rng); break;
        }
        if (cp >= 0xD800 && cp <= 0xDFFF) continue;
        text.push_back(cp);
    }
    return text;
}

// A reader decodes in pieces and hands the bytes left by 537 to the next call;
// the pieces must add up to the whole decoding.
TEST(UtfRoundTrip, PiecewiseDecodingMatchesWhole) {
    std::mt19937 rng(7981);
    for (int round = 0; round < 100; ++round) {
        const std::u32string text = randomText(rng, 40);
        std::string utf8(utf8LengthOfUtf32(text.data(), 40), '\0');
        uint32_t in = 40, n = static_cast<uint32_t>(utf8.size());
        ASSERT_EQ(utf32ToUtf8(text.data(), &in, utf8.data(), &n), 0);

        std::u32string pieces;
        size_t start = 0;
        size_t end = 0;
        while (start < utf8.size()) {
            // A piece that consumed nothing is offered again with more bytes.
            end = std::min(utf8.size(), std::max(end, start) + std::uniform_int_distribution<size_t>(1, 3)(rng));
            char32_t out[8];
            uint32_t used = static_cast<uint32_t>(end - start), produced = 8;
            ResultCode rc = utf8ToUtf32(utf8.data() + start, &used, out, &produced);
            ASSERT_TRUE(rc == 0 || rc == kErrIncompleteInput) << rc;
            ASSERT_FALSE(rc == kErrIncompleteInput && end == utf8.size()) << "valid text left incomplete";
            pieces.append(out, produced);
            start += used;
        }
        EXPECT_EQ(pieces, text);
    }
}

}  // namespace
