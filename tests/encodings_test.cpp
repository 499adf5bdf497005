// Encoding objects: the registry, each class's constant answers, the charset
// name and character-property tables, the UTF classes in both byte orders and
// the one-byte-per-character code pages with their fallbacks.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "foundation/encodings.h"

namespace {

struct Shared {
    charenc* encoding = nullptr;
    explicit Shared(uint32_t codePage) { EXPECT_EQ(getEncoding(codePage, &encoding), kResultOk); }
    ~Shared() { releaseEncoding(encoding); }
    charenc* operator->() const { return encoding; }
};

std::vector<uint8_t> bytesOf(std::initializer_list<int> list) { return std::vector<uint8_t>(list.begin(), list.end()); }

std::vector<uint8_t> markOf(charenc* enc) {
    uint32_t length = 99;
    const uint8_t* mark = enc->byteOrderMark(&length);
    return mark ? std::vector<uint8_t>(mark, mark + length) : std::vector<uint8_t>(length, 0xEE);
}

TEST(EncodingsClasses, ConstantAnswers) {
    const struct {
        uint32_t codePage;
        const char* name;
        std::vector<uint8_t> mark;
        uint32_t kind;
        bool unicode, wide;
        uint32_t minBytes, maxBytes;
    } rows[] = {
        {65001, "utf-8", {0xEF, 0xBB, 0xBF}, 0, true, false, 1, 4},
        {1201, "utf-16be", {0xFE, 0xFF}, 3, true, true, 2, 2},
        {1200, "utf-16le", {0xFF, 0xFE}, 3, true, true, 2, 2},
        {12001, "utf-32be", {0x00, 0x00, 0xFE, 0xFF}, 3, true, true, 4, 4},
        {12000, "utf-32le", {0xFF, 0xFE, 0x00, 0x00}, 3, true, true, 4, 4},
        {20127, "us-ascii", {}, 1, false, false, 1, 1},
        {437, "ibm437", {}, 1, false, false, 1, 1},
        {850, "ibm850", {}, 1, false, false, 1, 1},
        {1252, "windows-1252", {}, 1, false, false, 1, 1},
        {10000, "macintosh", {}, 1, false, false, 1, 1},
        {28591, "iso-8859-1", {}, 1, false, false, 1, 1},
        {65002, "x-user-defined", {}, 1, false, false, 1, 1},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        Shared enc(r.codePage);
        ASSERT_NE(enc.encoding, nullptr);
        EXPECT_EQ(enc->codePage(), r.codePage);
        EXPECT_STREQ(enc->name(), r.name);
        EXPECT_EQ(markOf(enc.encoding), r.mark);
        EXPECT_EQ(enc->passThroughKind(), r.kind);
        EXPECT_EQ(enc->isUnicode(), r.unicode);
        EXPECT_EQ(enc->hasWideUnits(), r.wide);
        EXPECT_EQ(enc->minBytesPerChar(), r.minBytes);
        EXPECT_EQ(enc->maxBytesPerChar(), r.maxBytes);
        // Every class but UTF-8 answers the same for any lead byte.
        if (r.codePage != 65001) {
            for (uint8_t b : {0x00, 0x41, 0xC3, 0xFF}) {
                EXPECT_EQ(enc->sequenceLength(b), r.minBytes);
                EXPECT_EQ(enc->startsMultiByte(b), r.wide);
            }
        }
    }
}

TEST(EncodingsRegistry, PseudoAndUnknownCodePages) {
    const struct {
        uint32_t asked;
        const char* name;
    } rows[] = {{0, "windows-1252"}, {0xFFFFFFFE, "windows-1252"}, {1, "ibm850"}, {2, "macintosh"}};
    for (const auto& r : rows) {
        Shared pseudo(r.asked);
        ASSERT_NE(pseudo.encoding, nullptr);
        EXPECT_STREQ(pseudo->name(), r.name);
        Shared real(pseudo->codePage());
        EXPECT_EQ(pseudo.encoding, real.encoding) << "one shared object per code page";
    }
    for (uint32_t unknown : {65000u, 3u, 1250u, 0xFFFFFFFFu}) {
        charenc* enc = reinterpret_cast<charenc*>(&enc);
        EXPECT_EQ(getEncoding(unknown, &enc), kErrObjectNotFound) << unknown;
        EXPECT_EQ(enc, nullptr);
    }
    EXPECT_EQ(getEncoding(65001, nullptr), kErrInvalidArgument);
}

TEST(EncodingsRegistry, ReferencesAreCountedPerCallerAndHandedOver) {
    charenc* holder = defaultEncoding();
    ASSERT_NE(holder, nullptr);
    EXPECT_EQ(holder->codePage(), 65001u);
    const uint32_t utf8Count = holder->referenceCount();
    charenc* same = nullptr;
    ASSERT_EQ(getEncoding(65001, &same), kResultOk);
    EXPECT_EQ(same, holder);
    EXPECT_EQ(same->referenceCount(), utf8Count + 1);
    EXPECT_FALSE(replaceEncoding(&holder, same));  // the caller keeps its reference
    releaseEncoding(same);
    releaseEncoding(nullptr);
    EXPECT_EQ(holder->referenceCount(), utf8Count);

    charenc* cp1252 = nullptr;
    ASSERT_EQ(getEncoding(1252, &cp1252), kResultOk);
    const uint32_t cp1252Count = cp1252->referenceCount();
    EXPECT_TRUE(replaceEncoding(&holder, cp1252));  // takes over the reference, releases UTF-8's
    EXPECT_EQ(holder, cp1252);
    EXPECT_EQ(cp1252->referenceCount(), cp1252Count);
    {
        Shared utf8(65001);
        EXPECT_EQ(utf8->referenceCount(), utf8Count);  // one released, one taken here
    }
    EXPECT_TRUE(replaceEncoding(&holder, nullptr));
    EXPECT_EQ(holder, nullptr);
    EXPECT_FALSE(replaceEncoding(nullptr, nullptr));

    charenc* seen[8] = {};  // concurrent first requests share one object
    std::vector<std::thread> threads;
    for (charenc*& slot : seen) threads.emplace_back([&slot] { EXPECT_EQ(getEncoding(kCodePageUtf32Be, &slot), 0); });
    for (std::thread& t : threads) t.join();
    const uint32_t count = seen[0]->referenceCount();
    for (charenc* enc : seen) EXPECT_EQ(enc, seen[0]);
    for (charenc* enc : seen) releaseEncoding(enc);
    EXPECT_EQ(seen[0]->referenceCount(), count - 8);
}

TEST(EncodingsCharsetNames, TableAndLookup) {
    EXPECT_STREQ(kCharsetNames[0].name, "asmo-708");
    EXPECT_STREQ(kCharsetNames[kCharsetNameCount - 1].name, "x_chinese-eten");
    const struct {
        const char* name;
        ResultCode result;
        uint32_t codePage;
    } rows[] = {
        {"asmo-708", 0, 708},       {"big5", 0, 950},           {"cp1025", 0, 21025},
        {"euc-kr", 0, 51949},       {"iso-8859-8-i", 0, 38598}, {"koi8-u", 0, 21866},
        {"unicodefffe", 0, 1201},   {"ucs-2", 0, 1200},         {"utf-32", 0, 12000},
        {"utf8", 0, 65001},         {"mac", 0, 10000},          {"utf-7", 0, 65000},
        {"x-user-defined", 0, 65002}, {"x_chinese-eten", 0, 20002},
        {"UTF-8", kErrObjectNotFound, 7}, {"", kErrObjectNotFound, 7}, {"zzz", kErrObjectNotFound, 7},
    };
    for (const auto& r : rows) {
        uint32_t page = 7;
        EXPECT_EQ(charsetCodePage(r.name, &page), r.result) << r.name;
        EXPECT_EQ(page, r.codePage) << r.name;
    }
    uint32_t page = 0;
    EXPECT_EQ(charsetCodePage(nullptr, &page), kErrInvalidArgument);
    EXPECT_EQ(charsetCodePage("utf-8", nullptr), kErrInvalidArgument);

    // Every object of the registry is found under its own name.
    for (uint32_t cp : {437u, 850u, 1200u, 1201u, 1252u, 10000u, 12000u, 12001u, 20127u, 28591u, 65001u, 65002u}) {
        Shared enc(cp);
        EXPECT_EQ(charsetCodePage(enc->name(), &page), kResultOk) << enc->name();
        EXPECT_EQ(page, cp);
    }
}

TEST(EncodingsCharProperties, TableShapeAndRows) {
    ASSERT_GT(kCharPropertyCount, 1000u);
    EXPECT_EQ(kCharProperties[0].first, 0u);
    for (uint32_t i = 1; i < kCharPropertyCount; ++i)
        ASSERT_LT(kCharProperties[i - 1].first, kCharProperties[i].first) << i;
    EXPECT_STRNE(kCharPropertiesUnicodeVersion, "");

    const struct {
        char32_t cp;
        uint8_t category;
        uint32_t upper, lower, title;
        uint8_t fallback;
    } rows[] = {
        {U'A', 0x11, 0, U'a', 0, U'A'},
        {0x00E9, 0x12, 0x00C9, 0, 0x00C9, 0},
        {0x01C5, 0x13, 0x01C4, 0x01C6, 0x01C5, 0},
        {0x00A0, 0x61, 0, 0, 0, ' '},
        {0x0301, 0x21, 0, 0, 0, 0},
        {0x2013, 0x42, 0, 0, 0, 0},
        {0x201C, 0x45, 0, 0, 0, 0},
        {0x2019, 0x46, 0, 0, 0, 0},
        {0x200B, 0x72, 0, 0, 0, 0},
        {0xD800, 0x73, 0, 0, 0, 0},
        {0xE000, 0x74, 0, 0, 0, 0},
        {0x0378, 0x75, 0, 0, 0, 0},
        {0x0085, 0x71, 0, 0, 0, 0},
        {0xFF01, 0x47, 0, 0, 0, '!'},
        {0x1D400, 0x11, 0, 0, 0, 'A'},  // mathematical bold capital A
        {0x10FFFF, 0x75, 0, 0, 0, 0},
    };
    for (const auto& r : rows) {
        const CharProperty& p = findCharProperty(r.cp);
        SCOPED_TRACE(testing::Message() << "U+" << std::hex << uint32_t(r.cp));
        EXPECT_LE(p.first, uint32_t(r.cp));
        EXPECT_EQ(p.category, r.category);
        EXPECT_EQ(p.upper, r.upper);
        EXPECT_EQ(p.lower, r.lower);
        EXPECT_EQ(p.title, r.title);
        EXPECT_EQ(p.fallback, r.fallback);
    }
}

TEST(EncodingsUtf8, NarrowTextPassesThroughByCopyingWhatFits) {
    Shared utf8(kCodePageUtf8);
    uint8_t copy[3];
    uint32_t units = 5, room = 3;
    EXPECT_EQ(utf8->encodeFromUtf8("abcde", &units, copy, &room), kErrNoBufferSpace);
    EXPECT_EQ(units, 3u);
    EXPECT_EQ(room, 3u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(copy), 3), "abc");
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
