#include "foundation/utf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

struct Utf8Case {
    const char* name;
    std::string bytes;
    std::u16string units;
    ResultCode rc;
    uint32_t consumed;
};

// Decoding rules for invalid and incomplete UTF-8, one row per rule.
const Utf8Case kUtf8Cases[] = {
    {"euro", "\xE2\x82\xAC", u"\u20AC", 0, 3},
    {"pairFromFourBytes", "\xF0\x9F\x98\x80", u"\xD83D\xDE00", 0, 4},
    {"largestBmp", "\xEF\xBF\xBF", u"\xFFFF", 0, 3},
    {"overlongThreeByteSkipsContinuations", "\xE0\x80\x80\x41", u"\xFFFD" u"A", kErrIllegalSequence, 4},
    {"encodedSurrogate", "\xED\xA0\x80\x41", u"\xFFFD" u"A", kErrIllegalSequence, 4},
    {"invalidRunToTheEnd", "\xE0\x80\x80", u"\xFFFD", kErrIncompleteInput, 3},
    {"overlongTwoByteLead", "\xC0\x41", u"\xFFFD" u"A", kErrIllegalSequence, 2},
    {"strayContinuationAtEnd", "A\x80", u"A\xFFFD", kErrIncompleteInput, 2},
    {"leadAboveF4", "\xF5\x41", u"\xFFFD" u"A", kErrIllegalSequence, 2},
    {"aboveU10FFFF", "\xF4\x90\x80\x80" "B", u"\xFFFD" u"B", kErrIllegalSequence, 5},
    {"brokenSequenceResyncsAtLead", "\xE2\x82\xE2\x82\xAC", u"\xFFFD\u20AC", kErrIllegalSequence, 5},
    {"shortSequenceWithMisfitIsInvalidAtOnce", "\xE2\x41", u"\xFFFD" u"A", kErrIllegalSequence, 2},
    {"incompleteAtEndStopsBeforeLead", "A\xE2\x82", u"A", kErrIncompleteInput, 1},
    {"incompleteFourByte", "\xF0\x9F\x98", u"", kErrIncompleteInput, 0},
    {"twoInvalidBytesOneReplacement", "a\xFF\xFE" "b", u"a\xFFFD" u"b", kErrIllegalSequence, 4},
};

TEST(Utf8Decoding, ToUtf16AndUtf32) {
    for (const Utf8Case& c : kUtf8Cases) {
        SCOPED_TRACE(c.name);
        char16_t out16[16] = {};
        uint32_t in = static_cast<uint32_t>(c.bytes.size());
        uint32_t out = 16;
        EXPECT_EQ(utf8ToUtf16(c.bytes.data(), &in, out16, &out), c.rc);
        EXPECT_EQ(in, c.consumed);
        EXPECT_EQ(std::u16string(out16, out), c.units);
        EXPECT_EQ(utf16LengthOfUtf8(c.bytes.data(), static_cast<uint32_t>(c.bytes.size())), c.units.size());

        // The 32-bit side decodes alike: one unit per character.
        char32_t out32[16] = {};
        in = static_cast<uint32_t>(c.bytes.size());
        out = 16;
        EXPECT_EQ(utf8ToUtf32(c.bytes.data(), &in, out32, &out), c.rc);
        EXPECT_EQ(in, c.consumed);
        uint32_t expected32 = 0;
        for (char16_t u : c.units) expected32 += (u >= 0xDC00 && u <= 0xDFFF) ? 0 : 1;
        EXPECT_EQ(out, expected32);
        EXPECT_EQ(utf32LengthOfUtf8(c.bytes.data(), static_cast<uint32_t>(c.bytes.size())), expected32);
    }
}

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

TEST(UtfProtocol, FullDestinationStopsBeforeWholeCharacter) {
    char16_t out16[4];
    uint32_t in = 7, n = 2;  // "A" + pair: the pair needs both units
    EXPECT_EQ(utf8ToUtf16("AB\xF0\x9F\x98\x80", &in, out16, &n), kErrNoBufferSpace);
    EXPECT_EQ(in, 2u);
    EXPECT_EQ(n, 2u);
    in = 5;
    n = 2;
    EXPECT_EQ(utf8ToUtf16("A\xF0\x9F\x98\x80", &in, out16, &n), kErrNoBufferSpace);
    EXPECT_EQ(in, 1u);
    EXPECT_EQ(n, 1u);
    // A UTF-8 sequence needs all its bytes; 56 wins over an earlier 85.
    char out8[4];
    const char16_t src[] = {0xDC00, 0x20AC};
    in = 2;
    n = 4;
    EXPECT_EQ(utf16ToUtf8(src, &in, out8, &n), kErrNoBufferSpace);
    EXPECT_EQ(in, 1u);
    EXPECT_EQ(n, 3u);
}

struct Utf16Case {
    const char* name;
    std::u16string units;
    std::string bytes;
    ResultCode rc;
    uint32_t consumed;
};

const Utf16Case kUtf16Cases[] = {
    {"oneTwoThreeBytes", u"A\u07FF\u0800", "A\xDF\xBF\xE0\xA0\x80", 0, 3},
    {"pair", u"\xD83D\xDE00", "\xF0\x9F\x98\x80", 0, 2},
    {"loneLow", u"\xDE00" u"A", "\xEF\xBF\xBD" "A", kErrIllegalSequence, 2},
    {"highThenOther", u"\xD83D" u"A", "\xEF\xBF\xBD" "A", kErrIllegalSequence, 2},
    {"highLastStops", u"A\xD83D", "A", kErrIncompleteInput, 1},
};

TEST(Utf16Encoding, RulesToUtf8AndUtf32) {
    for (const Utf16Case& c : kUtf16Cases) {
        SCOPED_TRACE(c.name);
        char out[16];
        uint32_t in = static_cast<uint32_t>(c.units.size()), n = 16;
        EXPECT_EQ(utf16ToUtf8(c.units.data(), &in, out, &n), c.rc);
        EXPECT_EQ(in, c.consumed);
        EXPECT_EQ(std::string(out, n), c.bytes);
        EXPECT_EQ(utf8LengthOfUtf16(c.units.data(), static_cast<uint32_t>(c.units.size())), c.bytes.size());

        char32_t out32[8];
        in = static_cast<uint32_t>(c.units.size());
        n = 8;
        EXPECT_EQ(utf16ToUtf32(c.units.data(), &in, out32, &n), c.rc);
        EXPECT_EQ(in, c.consumed);
    }
}

TEST(Utf16Encoding, QuickLengthCountsLoosely) {
    const char16_t highThenCjk[] = {0xD83D, 0x4E00};
    EXPECT_EQ(utf8LengthOfUtf16Quick(highThenCjk, 2), 4u);
    EXPECT_EQ(utf8LengthOfUtf16(highThenCjk, 2), 6u);
    const char16_t mixed[] = {0x41, 0x7FF, 0xDC00, 0xD83D};
    EXPECT_EQ(utf8LengthOfUtf16Quick(mixed, 4), 1u + 2u + 3u);  // stops at the last high surrogate
}

TEST(Utf32Transforms, InvalidValuesBecomeReplacement) {
    const char32_t src[] = {0x41, 0xD800, 0x10FFFF, 0x110000};
    char16_t out16[8];
    uint32_t in = 4, n = 8;
    EXPECT_EQ(utf32ToUtf16(src, &in, out16, &n), kErrIllegalSequence);
    EXPECT_EQ(std::u16string(out16, n), std::u16string(u"A\xFFFD\xDBFF\xDFFF\xFFFD"));
    char out8[16];
    in = 4;
    n = 16;
    EXPECT_EQ(utf32ToUtf8(src, &in, out8, &n), kErrIllegalSequence);
    EXPECT_EQ(std::string(out8, n), "A\xEF\xBF\xBD\xF4\x8F\xBF\xBF\xEF\xBF\xBD");
    EXPECT_EQ(utf8LengthOfUtf32(src, 4), 11u);
    EXPECT_EQ(utf16LengthOfUtf32(src, 4), 5u);
}

TEST(UtfByteOrder, SwappedUnitsAtAnyAddress) {
    // Big-endian UTF-16 bytes at an odd address, as a byte buffer holds them.
    const unsigned char raw[] = {0, 0xD8, 0x3D, 0xDE, 0x00, 0x00, 0x41};
    const auto* src = reinterpret_cast<const char16_t*>(raw + 1);
    char out[8];
    uint32_t in = 3, n = 8;
    EXPECT_EQ(utf16ToUtf8(src, &in, out, &n, UnitOrder::kSwapped), 0);
    EXPECT_EQ(std::string(out, n), "\xF0\x9F\x98\x80" "A");
    EXPECT_EQ(utf8LengthOfUtf16(src, 3, UnitOrder::kSwapped), 5u);

    unsigned char be32[9] = {};
    in = 3;
    n = 1;
    EXPECT_EQ(utf8ToUtf32("\xE2\x82\xAC", &in, reinterpret_cast<char32_t*>(be32 + 1), &n, UnitOrder::kSwapped), 0);
    EXPECT_EQ(be32[1], 0);
    EXPECT_EQ(be32[3], 0x20);
    EXPECT_EQ(be32[4], 0xAC);
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

    struct {
        char32_t cp;
        std::string bytes;
        ResultCode rc;
    } const encodeCases[] = {
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

TEST(UtfRoundTrip, RandomValidTextThroughEveryWidth) {
    std::mt19937 rng(20211106);
    for (int round = 0; round < 200; ++round) {
        const std::u32string text = randomText(rng, 1 + round % 50);
        const uint32_t count = static_cast<uint32_t>(text.size());

        std::string utf8(utf8LengthOfUtf32(text.data(), count), '\0');
        uint32_t in = count, n = static_cast<uint32_t>(utf8.size());
        ASSERT_EQ(utf32ToUtf8(text.data(), &in, utf8.data(), &n), 0);
        ASSERT_EQ(n, utf8.size());

        std::u16string utf16(utf16LengthOfUtf8(utf8.data(), n), u'\0');
        in = n;
        n = static_cast<uint32_t>(utf16.size());
        ASSERT_EQ(utf8ToUtf16(utf8.data(), &in, utf16.data(), &n), 0);
        ASSERT_EQ(in, utf8.size());
        EXPECT_EQ(utf16LengthOfUtf32(text.data(), count), utf16.size());

        std::u32string back(count, U'\0');
        in = static_cast<uint32_t>(utf16.size());
        n = count;
        ASSERT_EQ(utf16ToUtf32(utf16.data(), &in, back.data(), &n), 0);
        EXPECT_EQ(back, text);

        std::string again(utf8.size(), '\0');
        in = static_cast<uint32_t>(utf16.size());
        n = static_cast<uint32_t>(again.size());
        ASSERT_EQ(utf16ToUtf8(utf16.data(), &in, again.data(), &n), 0);
        EXPECT_EQ(again, utf8);
    }
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
