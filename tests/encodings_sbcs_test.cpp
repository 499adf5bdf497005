// The one-byte-per-character encodings: their deliberately different
// decoders, the two searches and the property fallback, every byte of each
// code page, us-ascii and x-user-defined.
#include <gtest/gtest.h>

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

struct Encoded {
    ResultCode result;
    uint32_t consumed;
    std::string bytes;
};

template <class Unit>
Encoded encode(charenc* enc, const std::basic_string<Unit>& text, uint32_t room = 16) {
    uint8_t out[16];
    uint32_t count = uint32_t(text.size()), size = room;
    ResultCode rc;
    if constexpr (sizeof(Unit) == 1)
        rc = enc->encodeFromUtf8(text.data(), &count, out, &size);
    else if constexpr (sizeof(Unit) == 2)
        rc = enc->encodeFromUtf16(text.data(), &count, out, &size);
    else
        rc = enc->encodeFromUtf32(text.data(), &count, out, &size);
    return {rc, count, std::string(reinterpret_cast<char*>(out), size)};
}

TEST(EncodingsSingleByte, EmojiFromNarrowTextIsDroppedAsPrivateUse) {
    // Less 0x10000, U+1F600 becomes U+F600: private use, so no byte at all.
    Shared cp1252(kCodePageWindows1252);
    Encoded e = encode(cp1252.encoding, std::string("\xF0\x9F\x98\x80"));
    EXPECT_EQ(e.result, kResultOk);
    EXPECT_EQ(e.consumed, 4u);
    EXPECT_EQ(e.bytes, "");
    EXPECT_EQ(cp1252->encodedLengthFromUtf8("\xF0\x9F\x98\x80", 4), 0u);
}

TEST(EncodingsSingleByte, SurrogatePairsAreReadLowFirst) {
    Shared cp1252(kCodePageWindows1252);
    // High surrogate first is invalid: with nothing after the pair the skip
    // runs off the end and the call waits for more.
    Encoded alone = encode(cp1252.encoding, std::u16string(u"\U0001F600"));
    EXPECT_EQ(alone.result, kErrIncompleteInput);
    EXPECT_EQ(alone.consumed, 0u);
    EXPECT_EQ(alone.bytes, "");

    Encoded followed = encode(cp1252.encoding, std::u16string(u"\U0001F600A"));
    EXPECT_EQ(followed.result, kErrIllegalSequence);
    EXPECT_EQ(followed.consumed, 3u);
    EXPECT_EQ(followed.bytes, "?A");

    // Low then high is a pair; its code point is above 0xFFFF, hence "?" without 85.
    const char16_t reversed[] = {0xDE00, 0xD83D};
    Encoded pair = encode(cp1252.encoding, std::u16string(reversed, 2));
    EXPECT_EQ(pair.result, kResultOk);
    EXPECT_EQ(pair.bytes, "?");

    // A low surrogate at the end, or one followed by a character, is invalid.
    const char16_t lowThenA[] = {0xDC00, u'A'};
    EXPECT_EQ(encode(cp1252.encoding, std::u16string(lowThenA, 2)).bytes, "?A");
    EXPECT_EQ(encode(cp1252.encoding, std::u16string(lowThenA, 1)).result, kErrIncompleteInput);
}

struct MapCase {
    uint32_t codePage;
    char32_t codePoint;
    const char* bytes;  // expected output
};

TEST(EncodingsSingleByte, CodePointsMapThroughTableSubstitutionAndFallback) {
    const MapCase cases[] = {
        {kCodePageWindows1252, 0x2019, "\x92"},  // the code page's own table
        {kCodePageWindows1252, 0x20AC, "\x80"},
        {kCodePageWindows1252, 0x0081, "\x81"},  // unassigned byte keeps its C1 control
        {kCodePageWindows1252, 0x2033, "\""},    // substitution table
        {kCodePageWindows1252, 0xFF21, "A"},     // full-width forms
        {kCodePageWindows1252, 0x2002, " "},     // property fallback: en space
        {kCodePageWindows1252, 0x0100, "?"},     // property row without fallback
        {kCodePageWindows1252, 0x0301, "'"},     // the substitution table comes before dropping
        {kCodePageWindows1252, 0x0308, ""},      // combining mark: dropped
        {kCodePageIbm437, 0x201C, "\""},         // 437 lacks curly quotes
        {kCodePageIbm437, 0x00E9, "\x82"},
        {kCodePageIbm850, 0x0131, "\xD5"},
        {kCodePageMacintosh, 0x2019, "\xD5"},
        {kCodePageIso8859_1, 0x00E9, "\xE9"},
        {kCodePageIso8859_1, 0x2019, "'"},
        {kCodePageUsAscii, 0x2019, "?"},  // no substitution table for us-ascii
        {kCodePageUsAscii, 0x00E9, "?"},
        {kCodePageUsAscii, 0x00A0, " "},
        {kCodePageUsAscii, 0x0301, ""},
        {kCodePageUsAscii, 0xE000, ""},
        {kCodePageUsAscii, 0xFF01, "!"},
        {kCodePageUserDefined, 0x00E9, "\xE9"},
        {kCodePageUserDefined, 0xF741, "A"},
        {kCodePageUserDefined, 0xF7FF, "\xFF"},
        {kCodePageUserDefined, 0x2019, "?"},
    };
    for (const MapCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.codePage << " U+" << std::hex << uint32_t(c.codePoint));
        Shared enc(c.codePage);
        Encoded e32 = encode(enc.encoding, std::u32string(1, c.codePoint));
        EXPECT_EQ(e32.result, kResultOk);
        EXPECT_EQ(e32.consumed, 1u);
        EXPECT_EQ(e32.bytes, c.bytes);
        EXPECT_EQ(encode(enc.encoding, std::u16string(1, char16_t(c.codePoint))).bytes, c.bytes);
        char narrow[4];
        uint32_t length = 0;
        ASSERT_EQ(encodeUtf8CodePoint(c.codePoint, narrow, 4, &length), kResultOk);
        EXPECT_EQ(encode(enc.encoding, std::string(narrow, length)).bytes, c.bytes);
        EXPECT_EQ(enc->encodedLengthFromUtf32(&c.codePoint, 1), std::string(c.bytes).size());
    }
}

TEST(EncodingsSingleByte, ResultIsThatOfTheLastNonAsciiCharacter) {
    Shared cp1252(kCodePageWindows1252);
    Encoded cleared = encode(cp1252.encoding, std::string("\xC0" "A\xC3\xA9"));
    EXPECT_EQ(cleared.result, kResultOk);
    EXPECT_EQ(cleared.bytes, "?A\xE9");
    Encoded kept = encode(cp1252.encoding, std::string("\xC3\xA9\xC0" "A"));
    EXPECT_EQ(kept.result, kErrIllegalSequence);
    EXPECT_EQ(kept.bytes, "\xE9?A");
    // A character cut off at the end stops the call before it.
    Encoded cut = encode(cp1252.encoding, std::string("A\xE2\x82"));
    EXPECT_EQ(cut.result, kErrIncompleteInput);
    EXPECT_EQ(cut.consumed, 1u);
    EXPECT_EQ(cut.bytes, "A");
}

TEST(EncodingsSingleByte, FullOutputStopsButDroppedCharactersNeedNoRoom) {
    Shared ascii(kCodePageUsAscii);
    Encoded full = encode(ascii.encoding, std::u32string(U"ab\u00E9"), 1);
    EXPECT_EQ(full.result, kErrNoBufferSpace);
    EXPECT_EQ(full.consumed, 1u);
    EXPECT_EQ(full.bytes, "a");
    Encoded dropped = encode(ascii.encoding, std::u32string(U"a\u0301"), 1);
    EXPECT_EQ(dropped.result, kResultOk);
    EXPECT_EQ(dropped.consumed, 2u);
}

// Every byte of every single-byte code page decodes to one character and
// encodes back to itself, through all three widths.
TEST(EncodingsSingleByte, EveryByteRoundTrips) {
    uint8_t all[256];
    for (int b = 0; b < 256; ++b) all[b] = uint8_t(b);
    for (uint32_t page : {kCodePageIbm437, kCodePageIbm850, kCodePageWindows1252, kCodePageMacintosh,
                          kCodePageIso8859_1, kCodePageUserDefined}) {
        SCOPED_TRACE(page);
        Shared enc(page);
        char16_t text16[256];
        uint32_t size = 256, count = 256;
        ASSERT_EQ(enc->decodeToUtf16(all, &size, text16, &count), kResultOk);
        uint8_t back[256];
        size = 256, count = 256;
        ASSERT_EQ(enc->encodeFromUtf16(text16, &count, back, &size), kResultOk);
        EXPECT_EQ(std::vector<uint8_t>(back, back + size), std::vector<uint8_t>(all, all + 256));

        char32_t text32[256];
        size = 256, count = 256;
        ASSERT_EQ(enc->decodeToUtf32(all, &size, text32, &count), kResultOk);
        size = 256, count = 256;
        ASSERT_EQ(enc->encodeFromUtf32(text32, &count, back, &size), kResultOk);
        EXPECT_EQ(std::vector<uint8_t>(back, back + size), std::vector<uint8_t>(all, all + 256));

        std::string narrow(enc->decodedLengthAsUtf8(all, 256), '\0');
        size = 256, count = uint32_t(narrow.size());
        ASSERT_EQ(enc->decodeToUtf8(all, &size, narrow.data(), &count), kResultOk);
        ASSERT_EQ(count, narrow.size());
        EXPECT_EQ(enc->encodedLengthFromUtf8(narrow.data(), count), 256u);
        size = 256;
        ASSERT_EQ(enc->encodeFromUtf8(narrow.data(), &count, back, &size), kResultOk);
        EXPECT_EQ(std::vector<uint8_t>(back, back + size), std::vector<uint8_t>(all, all + 256));
    }
}

TEST(EncodingsSingleByte, PublishedCodePointsOfTheHighHalf) {
    const struct {
        uint32_t codePage;
        uint8_t byte;
        char32_t codePoint;
    } rows[] = {
        {kCodePageWindows1252, 0x80, 0x20AC}, {kCodePageWindows1252, 0x8D, 0x008D}, {kCodePageWindows1252, 0x9F, 0x0178},
        {kCodePageIbm437, 0x80, 0x00C7},      {kCodePageIbm437, 0xFF, 0x00A0},      {kCodePageIbm850, 0x9E, 0x00D7},
        {kCodePageMacintosh, 0x80, 0x00C4},   {kCodePageMacintosh, 0xF0, 0xF8FF},   {kCodePageIso8859_1, 0x80, 0x0080},
        {kCodePageUsAscii, 0xC1, U'A'},       {kCodePageUserDefined, 0x80, 0xF780},
    };
    for (const auto& r : rows) {
        Shared enc(r.codePage);
        char32_t cp = 0;
        uint32_t size = 1, count = 1;
        ASSERT_EQ(enc->decodeToUtf32(&r.byte, &size, &cp, &count), kResultOk);
        EXPECT_EQ(uint32_t(cp), uint32_t(r.codePoint)) << r.codePage << " byte " << int(r.byte);
    }
}

TEST(EncodingsSingleByte, NarrowDecodingNeedsRoomForWholeCharacters) {
    Shared cp1252(kCodePageWindows1252);
    const uint8_t bytes[] = {'a', 0x80, 'b', 0};
    EXPECT_EQ(cp1252->decodedLengthAsUtf8(bytes, kUnitsToTerminator), 6u);
    char out[8];
    uint32_t size = 3, count = 3;
    EXPECT_EQ(cp1252->decodeToUtf8(bytes, &size, out, &count), kErrNoBufferSpace);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(count, 1u);
    size = kUnitsToTerminator, count = 8;
    EXPECT_EQ(cp1252->decodeToUtf8(bytes, &size, out, &count), kResultOk);
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(std::string(out, count), std::string("a\xE2\x82\xAC" "b", 6));
}

TEST(EncodingsSingleByte, BuildingWithoutADefinition) {
    charenc_sbcs* empty = new charenc_sbcs(nullptr);
    EXPECT_STREQ(empty->name(), "");
    EXPECT_EQ(empty->build(nullptr), kErrInvalidArgument);
    // Without tables every character still gets an answer.
    uint8_t out[2];
    uint32_t count = 2, size = 2;
    EXPECT_EQ(empty->encodeFromUtf32(U"\u2019\u00E9", &count, out, &size), kResultOk);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out), size), "'?");
    empty->release();

    const char16_t low[128] = {u'A'};  // bytes 00-7F decode to "A" or U+0000
    const SbcsDefinition odd{"odd", low, nullptr, 1};
    charenc_sbcs* built = new charenc_sbcs(&odd);
    EXPECT_STREQ(built->name(), "odd");
    EXPECT_EQ(built->mapAscii('A'), 0x00);  // the lowest byte that decodes to "A"
    EXPECT_EQ(built->mapAscii(0), 0x01);
    built->release();
}

}  // namespace
