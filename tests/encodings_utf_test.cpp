// UTF-8, UTF-16 and UTF-32 encoding objects: the decoding rules at the edges,
// the conversion protocol and random round trips in both byte orders.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "foundation/encodings.h"

namespace {

struct Shared {
    charenc* encoding = nullptr;
    explicit Shared(uint32_t codePage) { EXPECT_EQ(getEncoding(codePage, &encoding), kResultOk); }
    ~Shared() { releaseEncoding(encoding); }
    charenc* operator->() const { return encoding; }
};

std::vector<uint8_t> bytesOf(std::initializer_list<int> list) {
    std::vector<uint8_t> out;
    for (int b : list) out.push_back(uint8_t(b));
    return out;
}

struct Utf8Case {
    const char* what;
    std::vector<uint8_t> input;
    std::u16string output;
    uint32_t consumed;
    ResultCode result;
};

TEST(EncodingsUtf8, DecodingEdgeCases) {
    const Utf8Case cases[] = {
        {"euro sign", bytesOf({0xE2, 0x82, 0xAC}), u"\u20AC", 3, kResultOk},
        {"overlong three-byte form skips its continuation bytes", bytesOf({0xE0, 0x80, 0x80, 0x41}), u"\uFFFDA", 4,
         kErrIllegalSequence},
        {"encoded surrogate", bytesOf({0xED, 0xA0, 0x80, 0x41}), u"\uFFFDA", 4, kErrIllegalSequence},
        {"skip runs to the end", bytesOf({0xE0, 0x80, 0x80}), u"\uFFFD", 3, kErrIncompleteInput},
        {"cut-off sequence stays for the next call", bytesOf({0x41, 0xE2, 0x82}), u"A", 1, kErrIncompleteInput},
        {"invalid lead byte C0", bytesOf({0xC0, 0x41}), u"\uFFFDA", 2, kErrIllegalSequence},
        {"four bytes become a pair", bytesOf({0xF0, 0x9F, 0x98, 0x80}), u"\U0001F600", 4, kResultOk},
        {"F4 above the code space", bytesOf({0xF4, 0x90, 0x80, 0x80, 0x41}), u"\uFFFDA", 5, kErrIllegalSequence},
        {"lone continuation bytes", bytesOf({0x80, 0xBF, 0x41}), u"\uFFFDA", 3, kErrIllegalSequence},
    };
    Shared utf8(kCodePageUtf8);
    for (const Utf8Case& c : cases) {
        SCOPED_TRACE(c.what);
        char16_t out[16] = {};
        uint32_t size = uint32_t(c.input.size());
        uint32_t count = 16;
        EXPECT_EQ(utf8->decodeToUtf16(c.input.data(), &size, out, &count), c.result);
        EXPECT_EQ(size, c.consumed);
        EXPECT_EQ(std::u16string(out, count), c.output);
        EXPECT_EQ(utf8->decodedLengthAsUtf16(c.input.data(), uint32_t(c.input.size())), c.output.size());
    }
}

TEST(EncodingsUtf8, ConversionProtocol) {
    Shared utf8(kCodePageUtf8);
    const uint8_t emoji[] = {0xF0, 0x9F, 0x98, 0x80};
    char16_t out[4];

    // A pair needs room for both units: nothing is written into one.
    uint32_t size = 4, count = 1;
    EXPECT_EQ(utf8->decodeToUtf16(emoji, &size, out, &count), kErrNoBufferSpace);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(count, 0u);

    // The same character fits one UTF-32 unit.
    char32_t wide[1];
    size = 4, count = 1;
    EXPECT_EQ(utf8->decodeToUtf32(emoji, &size, wide, &count), kResultOk);
    EXPECT_EQ(wide[0], U'\U0001F600');

    // Terminated source: the terminator is converted and counted.
    const uint8_t text[] = {'h', 'i', 0, 'x'};
    size = kUnitsToTerminator, count = 4;
    EXPECT_EQ(utf8->decodeToUtf16(text, &size, out, &count), kResultOk);
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(out[2], u'\0');

    // Missing arguments, absent source, empty source.
    EXPECT_EQ(utf8->decodeToUtf16(text, nullptr, out, &count), kErrInvalidArgument);
    EXPECT_EQ(utf8->decodeToUtf16(text, &size, nullptr, &count), kErrInvalidArgument);
    EXPECT_EQ(utf8->encodeFromUtf16(u"a", &size, nullptr, &count), kErrInvalidArgument);
    size = 5, count = 4;
    EXPECT_EQ(utf8->decodeToUtf16(nullptr, &size, out, &count), kResultOk);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(utf8->decodedLengthAsUtf32(nullptr, 9), 0u);

    // Narrow text passes through by copying, as much as fits.
    uint8_t copy[3];
    uint32_t units = 5, room = 3;
    EXPECT_EQ(utf8->encodeFromUtf8("abcde", &units, copy, &room), kErrNoBufferSpace);
    EXPECT_EQ(units, 3u);
    EXPECT_EQ(room, 3u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(copy), 3), "abc");
}

TEST(EncodingsUtf8, EncodingFrom16BitText) {
    Shared utf8(kCodePageUtf8);
    uint8_t out[16];

    // A lone low surrogate becomes EF BF BD with 85 and costs one unit.
    const char16_t lone[] = {0xDC00, u'A'};
    uint32_t count = 2, size = 16;
    EXPECT_EQ(utf8->encodeFromUtf16(lone, &count, out, &size), kErrIllegalSequence);
    EXPECT_EQ(std::vector<uint8_t>(out, out + size), bytesOf({0xEF, 0xBF, 0xBD, 0x41}));

    // A high surrogate in the last position waits for its partner.
    const char16_t cut[] = {u'A', 0xD83D};
    count = 2, size = 16;
    EXPECT_EQ(utf8->encodeFromUtf16(cut, &count, out, &size), kErrIncompleteInput);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(size, 1u);

    // The length counter is loose: a high surrogate and ANY next unit count four.
    const char16_t loose[] = {0xD800, u'A'};
    EXPECT_EQ(utf8->encodedLengthFromUtf16(loose, 2), 4u);
    EXPECT_EQ(utf8->encodedLengthFromUtf16(cut, 2), 1u);
    EXPECT_EQ(utf8->encodedLengthFromUtf16(u"\u00E9\u20AC", kUnitsToTerminator), 6u);

    // UTF-32 values that are no characters become the replacement.
    const char32_t bad[] = {0xD800, 0x110000};
    count = 2, size = 16;
    EXPECT_EQ(utf8->encodeFromUtf32(bad, &count, out, &size), kErrIllegalSequence);
    EXPECT_EQ(size, 6u);
}

TEST(EncodingsUtf8, SequenceLengthFromLeadByte) {
    Shared utf8(kCodePageUtf8);
    const struct {
        uint8_t lead;
        uint32_t length;
        bool multi;
    } rows[] = {{0x41, 1, false}, {0x80, 1, false}, {0xBF, 1, false}, {0xC2, 2, true},
                {0xDF, 2, true},  {0xE2, 3, true},  {0xF0, 4, true},  {0xFF, 4, true}};
    for (const auto& r : rows) {
        EXPECT_EQ(utf8->sequenceLength(r.lead), r.length) << int(r.lead);
        EXPECT_EQ(utf8->startsMultiByte(r.lead), r.multi) << int(r.lead);
    }
}

TEST(EncodingsWide, ByteOrderOfEachClass) {
    const struct {
        uint32_t codePage;
        std::vector<uint8_t> euro;  // U+20AC
        std::vector<uint8_t> emoji;  // U+1F600
    } rows[] = {
        {kCodePageUtf16Le, bytesOf({0xAC, 0x20}), bytesOf({0x3D, 0xD8, 0x00, 0xDE})},
        {kCodePageUtf16Be, bytesOf({0x20, 0xAC}), bytesOf({0xD8, 0x3D, 0xDE, 0x00})},
        {kCodePageUtf32Le, bytesOf({0xAC, 0x20, 0, 0}), bytesOf({0x00, 0xF6, 0x01, 0x00})},
        {kCodePageUtf32Be, bytesOf({0, 0, 0x20, 0xAC}), bytesOf({0x00, 0x01, 0xF6, 0x00})},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.codePage);
        Shared enc(r.codePage);
        uint8_t out[8];
        uint32_t count = 3, size = 8;
        EXPECT_EQ(enc->encodeFromUtf8("\xE2\x82\xAC", &count, out, &size), kResultOk);
        EXPECT_EQ(std::vector<uint8_t>(out, out + size), r.euro);
        count = 4, size = 8;
        EXPECT_EQ(enc->encodeFromUtf8("\xF0\x9F\x98\x80", &count, out, &size), kResultOk);
        EXPECT_EQ(std::vector<uint8_t>(out, out + size), r.emoji);

        // Decoding reads the same bytes back, from an odd address too.
        uint8_t shifted[9];
        std::copy(r.emoji.begin(), r.emoji.end(), shifted + 1);
        char16_t text[4];
        uint32_t bytes = uint32_t(r.emoji.size()), units = 4;
        EXPECT_EQ(enc->decodeToUtf16(shifted + 1, &bytes, text, &units), kResultOk);
        EXPECT_EQ(std::u16string(text, units), u"\U0001F600");
    }
}

TEST(EncodingsWide, PartialUnitsAreNeitherConvertedNorCounted) {
    Shared utf16(kCodePageUtf16Le);
    const uint8_t five[] = {'a', 0, 'b', 0, 'c'};
    char16_t text[4];
    uint32_t size = 5, count = 4;
    EXPECT_EQ(utf16->decodeToUtf16(five, &size, text, &count), kResultOk);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(std::u16string(text, count), u"ab");
    EXPECT_EQ(utf16->decodedLengthAsUtf8(five, 5), 2u);

    // A destination of 7 bytes holds three units.
    uint8_t out[7];
    count = 4, size = 7;
    EXPECT_EQ(utf16->encodeFromUtf16(u"wxyz", &count, out, &size), kErrNoBufferSpace);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(size, 6u);

    Shared utf32(kCodePageUtf32Be);
    const uint8_t seven[] = {0, 0, 0, 'a', 0, 0, 0};
    char32_t wide[2];
    size = 7, count = 2;
    EXPECT_EQ(utf32->decodeToUtf32(seven, &size, wide, &count), kResultOk);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(wide[0], U'a');
}

TEST(EncodingsWide, TerminatedByteSourceEndsAtAZeroUnit) {
    Shared utf16(kCodePageUtf16Be);
    // A zero byte inside a unit does not end the text; a zero unit does.
    const uint8_t text[] = {0x00, 'A', 0x00, 0x00, 0x00, 'B'};
    char16_t out[4];
    uint32_t size = kUnitsToTerminator, count = 4;
    EXPECT_EQ(utf16->decodeToUtf16(text, &size, out, &count), kResultOk);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(std::u16string(out, count), std::u16string(u"A\0", 2));
}

// Random valid text through every UTF encoding and every width, with the
// lengths predicted ahead matching what the conversions produce.
TEST(EncodingsWide, RandomTextRoundTrips) {
    std::mt19937 random(20240607);
    std::uniform_int_distribution<uint32_t> plane(0, 3);
    std::u32string text;
    for (int i = 0; i < 4000; ++i) {
        uint32_t limit = plane(random) == 0 ? 0x10FFFF : plane(random) == 1 ? 0x7FF : 0xFFFF;
        uint32_t cp;
        do cp = std::uniform_int_distribution<uint32_t>(1, limit)(random);
        while (cp >= 0xD800 && cp <= 0xDFFF);
        text.push_back(char32_t(cp));
    }
    for (uint32_t page : {kCodePageUtf8, kCodePageUtf16Le, kCodePageUtf16Be, kCodePageUtf32Le, kCodePageUtf32Be}) {
        SCOPED_TRACE(page);
        Shared enc(page);
        const uint32_t n = uint32_t(text.size());
        uint32_t needed = enc->encodedLengthFromUtf32(text.data(), n);
        std::vector<uint8_t> bytes(needed);
        uint32_t count = n, size = needed;
        ASSERT_EQ(enc->encodeFromUtf32(text.data(), &count, bytes.data(), &size), kResultOk);
        ASSERT_EQ(count, n);
        ASSERT_EQ(size, needed);

        std::u32string back(enc->decodedLengthAsUtf32(bytes.data(), size), U'\0');
        uint32_t used = size, units = uint32_t(back.size());
        ASSERT_EQ(enc->decodeToUtf32(bytes.data(), &used, back.data(), &units), kResultOk);
        EXPECT_EQ(back, text);

        std::u16string text16(enc->decodedLengthAsUtf16(bytes.data(), size), u'\0');
        used = size, units = uint32_t(text16.size());
        ASSERT_EQ(enc->decodeToUtf16(bytes.data(), &used, text16.data(), &units), kResultOk);
        ASSERT_EQ(units, text16.size());
        std::vector<uint8_t> again(enc->encodedLengthFromUtf16(text16.data(), units));
        count = units, size = uint32_t(again.size());
        ASSERT_EQ(enc->encodeFromUtf16(text16.data(), &count, again.data(), &size), kResultOk);
        EXPECT_EQ(again, bytes);

        std::string narrow(enc->decodedLengthAsUtf8(bytes.data(), uint32_t(bytes.size())), '\0');
        used = uint32_t(bytes.size()), units = uint32_t(narrow.size());
        ASSERT_EQ(enc->decodeToUtf8(bytes.data(), &used, narrow.data(), &units), kResultOk);
        ASSERT_EQ(units, narrow.size());
        std::vector<uint8_t> third(enc->encodedLengthFromUtf8(narrow.data(), units));
        count = units, size = uint32_t(third.size());
        ASSERT_EQ(enc->encodeFromUtf8(narrow.data(), &count, third.data(), &size), kResultOk);
        EXPECT_EQ(third, bytes);
    }
}

}  // namespace
