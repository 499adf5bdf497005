// Encoding objects: the registry, each class's constant answers, the charset
// name and character-property tables, the UTF classes in both byte orders and
// the one-byte-per-character code pages with their fallbacks.
#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/encodings.h"
#include "tests/support/support.h"

namespace {

struct Shared {
    charenc* encoding = nullptr;
    explicit Shared(uint32_t codePage) { EXPECT_EQ(getEncoding(codePage, &encoding), kResultOk); }
    ~Shared() { releaseEncoding(encoding); }
    charenc* operator->() const { return encoding; }
};

std::vector<uint8_t> markOf(charenc* enc) {
    uint32_t length = 99;
    const uint8_t* mark = enc->byteOrderMark(&length);
    return mark ? std::vector<uint8_t>(mark, mark + length) : std::vector<uint8_t>(length, 0xEE);
}

// tests/data/foundation/encodings/conversions.txt: one conversion per line,
//   <code page> <operation> <input units in hex> [~] / <room> = <result>
// where the operation is d8, d16 or d32 (decode bytes into UTF-8, UTF-16 or
// UTF-32 units), e8, e16 or e32 (encode units of that width into bytes), or
// n8, n16, n32, m8, m16, m32 (the decoded or encoded length in those units,
// room unused). "~" passes the input as terminated (size all ones). The
// result reads "<code> <units consumed> : <output in hex>", or the length.
template <class In, class Out>
std::string convert(charenc* enc, const std::string& op, const std::vector<uint32_t>& input, bool terminated,
                    uint32_t room) {
    std::vector<In> in(input.begin(), input.end());
    std::vector<Out> out(room + 1, Out(0xEE));
    uint32_t used = terminated ? kUnitsToTerminator : uint32_t(in.size()), produced = room;
    ResultCode rc = -1;
    uint32_t length = 0;
    const auto* bytes = reinterpret_cast<const uint8_t*>(in.data());
    auto* outBytes = reinterpret_cast<uint8_t*>(out.data());
    if (op == "d8") rc = enc->decodeToUtf8(bytes, &used, reinterpret_cast<char*>(out.data()), &produced);
    if (op == "d16") rc = enc->decodeToUtf16(bytes, &used, reinterpret_cast<char16_t*>(out.data()), &produced);
    if (op == "d32") rc = enc->decodeToUtf32(bytes, &used, reinterpret_cast<char32_t*>(out.data()), &produced);
    if (op == "e8") rc = enc->encodeFromUtf8(reinterpret_cast<const char*>(in.data()), &used, outBytes, &produced);
    if (op == "e16") rc = enc->encodeFromUtf16(reinterpret_cast<const char16_t*>(in.data()), &used, outBytes, &produced);
    if (op == "e32") rc = enc->encodeFromUtf32(reinterpret_cast<const char32_t*>(in.data()), &used, outBytes, &produced);
    if (op[0] == 'n' || op[0] == 'm') {
        const uint32_t n = used;
        if (op == "n8") length = enc->decodedLengthAsUtf8(bytes, n);
        if (op == "n16") length = enc->decodedLengthAsUtf16(bytes, n);
        if (op == "n32") length = enc->decodedLengthAsUtf32(bytes, n);
        if (op == "m8") length = enc->encodedLengthFromUtf8(reinterpret_cast<const char*>(in.data()), n);
        if (op == "m16") length = enc->encodedLengthFromUtf16(reinterpret_cast<const char16_t*>(in.data()), n);
        if (op == "m32") length = enc->encodedLengthFromUtf32(reinterpret_cast<const char32_t*>(in.data()), n);
        return std::to_string(length);
    }
    std::string text = std::to_string(rc) + " " + std::to_string(used) + " :";
    char hex[12];
    for (uint32_t i = 0; i < produced && i < room; ++i) {
        std::snprintf(hex, sizeof hex, " %02X", unsigned(std::make_unsigned_t<Out>(out[i])));
        text += hex;
    }
    return out[room] == Out(0xEE) ? text : text + " (written past the room)";
}

TEST(Encodings, ConversionCases) {
    int checked = 0;
    for (const std::string& line : vt::linesOf(vt::slurp(vt::dataPath("foundation/encodings/conversions.txt")))) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream words(line.substr(0, line.find('=')));
        uint32_t page = 0, room = 0;
        std::string op, word;
        std::vector<uint32_t> input;
        bool terminated = false;
        words >> page >> op;
        while (words >> word && word != "/") word == "~" ? void(terminated = true) : input.push_back(std::stoul(word, nullptr, 16));
        words >> room;
        Shared enc(page);
        ASSERT_NE(enc.encoding, nullptr) << line;
        const char width = op.back() == '8' ? 1 : op.back() == '6' ? 2 : 4;
        const bool bytesIn = op[0] == 'd' || op[0] == 'n';
        const std::string got = bytesIn ? (width == 1 ? convert<uint8_t, char>(enc.encoding, op, input, terminated, room)
                                           : width == 2 ? convert<uint8_t, char16_t>(enc.encoding, op, input, terminated, room)
                                                        : convert<uint8_t, char32_t>(enc.encoding, op, input, terminated, room))
                                        : (width == 1 ? convert<char, uint8_t>(enc.encoding, op, input, terminated, room)
                                           : width == 2 ? convert<char16_t, uint8_t>(enc.encoding, op, input, terminated, room)
                                                        : convert<char32_t, uint8_t>(enc.encoding, op, input, terminated, room));
        EXPECT_EQ(got, line.substr(line.find('=') + 2)) << line;
        ++checked;
    }
    EXPECT_GT(checked, 50);
}

// tests/data/foundation/encodings/objects.txt: what each object, name and property answers.
std::string answer(const std::string& kind, const std::string& key) {
    char text[128];
    if (kind == "class" || kind == "pseudo" || kind == "lead") {
        const uint32_t asked = kind == "lead" ? 65001 : uint32_t(std::stoul(key));
        charenc* probe = nullptr;
        if (const ResultCode rc = getEncoding(asked, &probe)) return std::to_string(rc);
        releaseEncoding(probe);
        Shared enc(asked);
        if (kind == "lead") {
            const uint8_t b = uint8_t(std::stoul(key, nullptr, 16));
            return std::to_string(enc->sequenceLength(b)) + " " + std::to_string(enc->startsMultiByte(b));
        }
        Shared real(enc->codePage());
        if (kind == "pseudo") return std::string(enc->name()) + (real.encoding == enc.encoding ? "" : " (another object)");
        std::string mark;
        for (uint8_t b : markOf(enc.encoding)) mark += (mark.empty() ? "" : " ") + std::string(text, size_t(std::snprintf(text, sizeof text, "%02X", b)));
        std::snprintf(text, sizeof text, " | %u %d %d %u-%u", enc->passThroughKind(), enc->isUnicode(), enc->hasWideUnits(),
                      enc->minBytesPerChar(), enc->maxBytesPerChar());
        for (uint8_t b : {0x00, 0x41, 0xC3, 0xFF})
            if (enc->codePage() != 65001 && (enc->sequenceLength(b) != enc->minBytesPerChar() || enc->startsMultiByte(b) != enc->hasWideUnits()))
                return "lead byte " + std::to_string(b) + " answers otherwise";
        return std::string(enc->name()) + " | " + (mark.empty() ? "-" : mark) + text;
    }
    if (kind == "charset") {
        uint32_t page = 7;
        const ResultCode rc = charsetCodePage(key.c_str(), &page);
        return std::to_string(rc) + " " + std::to_string(page);
    }
    const CharProperty& p = findCharProperty(char32_t(std::stoul(key, nullptr, 16)));
    if (p.first > std::stoul(key, nullptr, 16)) return "row starts after the character";
    std::snprintf(text, sizeof text, "%X %X %X %X %X", unsigned(p.category), unsigned(p.upper), unsigned(p.lower),
                  unsigned(p.title), unsigned(p.fallback));
    return text;
}

TEST(Encodings, ObjectsNamesAndPropertiesAsInTestsData) {
    int checked = 0;
    for (const std::vector<std::string>& row : vt::tableOf("foundation/encodings/objects.txt")) {
        const std::string kind = row.at(0).substr(0, row[0].find(' ')), key = row[0].substr(kind.size() + std::min<size_t>(1, row[0].size() - kind.size()));
        std::string expected = row.at(1);
        for (size_t i = 2; i < row.size(); ++i) expected += " | " + row[i];
        EXPECT_EQ(answer(kind, key), expected) << row[0];
        ++checked;
    }
    EXPECT_GT(checked, 60);
    EXPECT_EQ(getEncoding(65001, nullptr), kErrInvalidArgument);
    charenc* enc = reinterpret_cast<charenc*>(&checked);
    EXPECT_EQ(getEncoding(3, &enc), kErrObjectNotFound);
    EXPECT_EQ(enc, nullptr);
    uint32_t page = 0;
    EXPECT_EQ(charsetCodePage(nullptr, &page), kErrInvalidArgument);
    EXPECT_EQ(charsetCodePage("utf-8", nullptr), kErrInvalidArgument);
    EXPECT_STREQ(kCharsetNames[0].name, "asmo-708");
    EXPECT_STREQ(kCharsetNames[kCharsetNameCount - 1].name, "x_chinese-eten");
    for (uint32_t i = 1; i < kCharPropertyCount; ++i) ASSERT_LT(kCharProperties[i - 1].first, kCharProperties[i].first) << i;
    // Byte lengths past the 32-bit range saturate instead of wrapping (the text is not read for them).
    EXPECT_EQ(Shared(12000)->encodedLengthFromUtf32(U"", 0x40000000u), 0xFFFFFFFFu);
    EXPECT_EQ(Shared(1201)->encodedLengthFromUtf16(u"", 0x7FFFFFFFu), 0xFFFFFFFEu);
    // Every object of the registry is found under its own name.
    for (uint32_t cp : {437u, 850u, 1200u, 1201u, 1252u, 10000u, 12000u, 12001u, 20127u, 28591u, 65001u, 65002u}) {
        Shared named(cp);
        EXPECT_EQ(charsetCodePage(named->name(), &page), kResultOk) << named->name();
        EXPECT_EQ(page, cp);
    }
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
}

// Decoded into one width, to the length predicted ahead, bytes encode back to themselves.
template <class Unit>
void expectRoundTrip(charenc* enc, const std::vector<uint8_t>& bytes) {
    const uint32_t size = uint32_t(bytes.size());
    std::basic_string<Unit> text(sizeof(Unit) == 1   ? enc->decodedLengthAsUtf8(bytes.data(), size)
                                 : sizeof(Unit) == 2 ? enc->decodedLengthAsUtf16(bytes.data(), size)
                                                     : enc->decodedLengthAsUtf32(bytes.data(), size),
                                 Unit(0));
    uint32_t used = size, units = uint32_t(text.size());
    std::vector<uint8_t> back;
    if constexpr (sizeof(Unit) == 1) {
        ASSERT_EQ(enc->decodeToUtf8(bytes.data(), &used, text.data(), &units), kResultOk);
        back.resize(enc->encodedLengthFromUtf8(text.data(), units));
    } else if constexpr (sizeof(Unit) == 2) {
        ASSERT_EQ(enc->decodeToUtf16(bytes.data(), &used, text.data(), &units), kResultOk);
        back.resize(enc->encodedLengthFromUtf16(text.data(), units));
    } else {
        ASSERT_EQ(enc->decodeToUtf32(bytes.data(), &used, text.data(), &units), kResultOk);
        back.resize(enc->encodedLengthFromUtf32(text.data(), units));
    }
    ASSERT_EQ(units, text.size()) << sizeof(Unit);
    uint32_t count = units, room = uint32_t(back.size());
    ResultCode rc = -1;
    if constexpr (sizeof(Unit) == 1) rc = enc->encodeFromUtf8(text.data(), &count, back.data(), &room);
    if constexpr (sizeof(Unit) == 2) rc = enc->encodeFromUtf16(text.data(), &count, back.data(), &room);
    if constexpr (sizeof(Unit) == 4) rc = enc->encodeFromUtf32(text.data(), &count, back.data(), &room);
    EXPECT_EQ(rc, kResultOk) << sizeof(Unit);
    EXPECT_EQ(back, bytes) << sizeof(Unit);
}

// Random valid text through every UTF encoding, and every byte of every single-byte code page.
TEST(Encodings, RoundTripsThroughEveryWidth) {
    std::mt19937 random(20240607);
    std::u32string text;
    while (text.size() < 4000) {
        const char32_t limits[] = {0x7F, 0x7FF, 0xFFFF, 0x10FFFF};
        const char32_t cp = std::uniform_int_distribution<char32_t>(1, limits[random() % 4])(random);
        if (cp < 0xD800 || cp > 0xDFFF) text.push_back(cp);
    }
    std::vector<uint8_t> all(256);
    for (int b = 0; b < 256; ++b) all[size_t(b)] = uint8_t(b);
    for (uint32_t page : {65001u, 1200u, 1201u, 12000u, 12001u, 437u, 850u, 1252u, 10000u, 28591u, 65002u}) {
        SCOPED_TRACE(page);
        Shared enc(page);
        std::vector<uint8_t> bytes = all;
        if (enc->isUnicode()) {
            bytes.resize(enc->encodedLengthFromUtf32(text.data(), uint32_t(text.size())));
            uint32_t count = uint32_t(text.size()), size = uint32_t(bytes.size());
            ASSERT_EQ(enc->encodeFromUtf32(text.data(), &count, bytes.data(), &size), kResultOk);
            ASSERT_EQ(count, text.size());
        }
        expectRoundTrip<char>(enc.encoding, bytes);
        expectRoundTrip<char16_t>(enc.encoding, bytes);
        expectRoundTrip<char32_t>(enc.encoding, bytes);
    }
}

// Every conversion refuses a missing count, buffer or text, whichever one is missing.
TEST(Encodings, ConversionsRefuseEachMissingArgument) {
    for (uint32_t cp : {20127u, 437u, 1252u, 65001u, 1200u, 1201u, 12000u}) {
        Shared e(cp);
        uint8_t bytes[8] = {'a'};
        char32_t t32[2] = {U'a'};
        char16_t t16[2] = {u'a'};
        char t8[2] = {'a'};
        for (int missing = 0; missing < 3; ++missing) {
            SCOPED_TRACE(std::to_string(cp) + " without argument " + std::to_string(missing));
            uint32_t one = 1, eight = 8;
            uint32_t* first = missing == 0 ? nullptr : &one;
            uint32_t* last = missing == 2 ? nullptr : &eight;
            const bool none = missing == 1;
            EXPECT_EQ(e->encodeFromUtf32(t32, first, none ? nullptr : bytes, last), kErrInvalidArgument);
            EXPECT_EQ(e->encodeFromUtf16(t16, first, none ? nullptr : bytes, last), kErrInvalidArgument);
            EXPECT_EQ(e->encodeFromUtf8(t8, first, none ? nullptr : bytes, last), kErrInvalidArgument);
            EXPECT_EQ(e->decodeToUtf32(bytes, first, none ? nullptr : t32, last), kErrInvalidArgument);
            EXPECT_EQ(e->decodeToUtf16(bytes, first, none ? nullptr : t16, last), kErrInvalidArgument);
            EXPECT_EQ(e->decodeToUtf8(bytes, first, none ? nullptr : t8, last), kErrInvalidArgument);
        }
    }
}

}  // namespace
