// The encoding registry, the constant answers of each class, the charset
// name table, the character-property table, and that conversions never
// allocate.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "foundation/encodings.h"

// Counts every allocation of this test program, so a test can show that a
// stretch of code made none.
namespace {
std::atomic<uint64_t> gAllocations{0};
}
void* operator new(std::size_t size) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

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

TEST(EncodingsRegistry, ReferencesAreCountedPerCaller) {
    Shared first(kCodePageUtf16Le);
    uint32_t before = first->referenceCount();
    charenc* second = nullptr;
    ASSERT_EQ(getEncoding(kCodePageUtf16Le, &second), kResultOk);
    EXPECT_EQ(second->referenceCount(), before + 1);
    releaseEncoding(second);
    EXPECT_EQ(first->referenceCount(), before);
    releaseEncoding(nullptr);

    charenc* utf8 = defaultEncoding();
    ASSERT_NE(utf8, nullptr);
    EXPECT_EQ(utf8->codePage(), 65001u);
    Shared again(65001);
    EXPECT_EQ(again.encoding, utf8);
    releaseEncoding(utf8);
}

TEST(EncodingsRegistry, ReplaceEncodingTakesOverTheReference) {
    charenc* holder = defaultEncoding();
    uint32_t utf8Count = holder->referenceCount();

    charenc* same = defaultEncoding();
    EXPECT_FALSE(replaceEncoding(&holder, same));  // the caller keeps its reference
    releaseEncoding(same);

    charenc* cp1252 = nullptr;
    ASSERT_EQ(getEncoding(1252, &cp1252), kResultOk);
    uint32_t cp1252Count = cp1252->referenceCount();
    EXPECT_TRUE(replaceEncoding(&holder, cp1252));
    EXPECT_EQ(holder, cp1252);
    EXPECT_EQ(cp1252->referenceCount(), cp1252Count);
    Shared utf8(65001);
    EXPECT_EQ(utf8->referenceCount(), utf8Count);  // one released, one taken by `utf8`

    EXPECT_TRUE(replaceEncoding(&holder, nullptr));
    EXPECT_EQ(holder, nullptr);
    EXPECT_FALSE(replaceEncoding(nullptr, nullptr));
}

TEST(EncodingsRegistry, ConcurrentFirstRequestsShareOneObject) {
    constexpr int kThreads = 8;
    charenc* seen[kThreads] = {};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&seen, i] { EXPECT_EQ(getEncoding(kCodePageUtf32Be, &seen[i]), kResultOk); });
    for (std::thread& t : threads) t.join();
    for (int i = 1; i < kThreads; ++i) EXPECT_EQ(seen[i], seen[0]);
    uint32_t count = seen[0]->referenceCount();
    for (charenc* enc : seen) releaseEncoding(enc);
    EXPECT_EQ(seen[0]->referenceCount(), count - kThreads);
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

TEST(EncodingsAllocation, ConversionsNeverAllocate) {
    std::vector<charenc*> all;
    for (uint32_t cp : {437u, 850u, 1200u, 1201u, 1252u, 10000u, 12000u, 12001u, 20127u, 28591u, 65001u, 65002u}) {
        charenc* enc = nullptr;
        ASSERT_EQ(getEncoding(cp, &enc), kResultOk);
        all.push_back(enc);
    }
    const char narrow[] = "caf\xC3\xA9 \xE2\x80\x99 \xF0\x9F\x98\x80 \xC0";
    const char16_t wide16[] = u"caf\u00E9 \u2019 \U0001F600";
    const char32_t wide32[] = U"caf\u00E9 \u2019 \U0001F600";
    uint8_t bytes[256];
    char16_t text16[256];
    char32_t text32[256];
    char text8[256];

    uint64_t before = gAllocations.load();
    for (charenc* enc : all) {
        uint32_t count = kUnitsToTerminator, size = sizeof bytes;
        (void)enc->encodeFromUtf8(narrow, &count, bytes, &size);
        count = kUnitsToTerminator, size = sizeof bytes;
        (void)enc->encodeFromUtf16(wide16, &count, bytes, &size);
        count = kUnitsToTerminator, size = sizeof bytes;
        (void)enc->encodeFromUtf32(wide32, &count, bytes, &size);
        uint32_t produced = size;
        count = 256, size = produced;
        (void)enc->decodeToUtf16(bytes, &size, text16, &count);
        count = 256, size = produced;
        (void)enc->decodeToUtf32(bytes, &size, text32, &count);
        count = 256, size = produced;
        (void)enc->decodeToUtf8(bytes, &size, text8, &count);
        (void)enc->decodedLengthAsUtf8(bytes, produced);
        (void)enc->encodedLengthFromUtf16(wide16, kUnitsToTerminator);
    }
    EXPECT_EQ(gAllocations.load(), before);
    for (charenc* enc : all) releaseEncoding(enc);
}

}  // namespace
