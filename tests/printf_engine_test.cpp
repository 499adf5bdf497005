#include "foundation/printf_engine.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstring>
#include <string>

#include "foundation/string_sinks.h"
#include "foundation/strings.h"

namespace {

// Records what the engine delivers: narrow text as it is, UTF-16 units below
// 128 as bytes and others as <U+XXXX>; counts the sink calls and can be told
// to fail from a given call on.
class RecordingSink final : public tsr_writer {
public:
    std::string text;
    int calls = 0;
    int fills = 0;
    int failFromCall = -1;
    ResultCode failCode = kErrNoSpace;

    ResultCode writeFill(char byte, uint32_t count) noexcept override {
        if (failing()) return failCode;
        ++fills;
        text.append(count, byte);
        return 0;
    }
    ResultCode writeText32(const char32_t*, uint32_t) noexcept override { return kErrUnspecified; }  // unused
    ResultCode writeText16(const char16_t* s, uint32_t count) noexcept override {
        if (failing()) return failCode;
        for (uint32_t i = 0; i < count && s[i]; ++i) {
            if (s[i] < 128) {
                text += static_cast<char>(s[i]);
            } else {
                char b[16];
                snprintf(b, sizeof b, "<U+%04X>", static_cast<unsigned>(s[i]));
                text += b;
            }
        }
        return 0;
    }
    ResultCode writeText16Alt(const char16_t* s, uint32_t count) noexcept override { return writeText16(s, count); }
    ResultCode writeText(const char* s, uint32_t count) noexcept override {
        if (failing()) return failCode;
        text.append(s, count);
        return 0;
    }

private:
    bool failing() { return failFromCall >= 0 && calls++ >= failFromCall; }
};

std::string vfmt(const char* format, va_list args) {
    RecordingSink sink;
    EXPECT_EQ(formatToSink(&sink, format, args), 0) << format;
    return sink.text;
}

__attribute__((format(printf, 2, 3))) ResultCode sinkPrintf(tsr_writer* sink, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const ResultCode rc = formatToSink(sink, format, args);
    va_end(args);
    return rc;
}

// Formats with the engine; the compiler checks every call's arguments.
__attribute__((format(printf, 1, 2))) std::string fmt(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vfmt(format, args);
    va_end(args);
    return text;
}

// For the engine's own conversions that the compiler's checks do not know.
std::string fmtUnchecked(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vfmt(format, args);
    va_end(args);
    return text;
}

TEST(PrintfEngine, WidthJustificationSignsAndBases) {
    EXPECT_EQ(fmt("[%5s][%-5s][%5d][%-5d][%05d]", "ab", "ab", -42, -42, -42), "[   ab][ab   ][  -42][-42  ][-0042]");
    EXPECT_EQ(fmtUnchecked("[%-05d]", 42), "[42   ]");  // '-' wins over '0'
    EXPECT_EQ(fmt("[%*d][%*d]", 4, 7, -4, 7), "[   7][7   ]");  // negative '*' width left-justifies
    EXPECT_EQ(fmt("[%04d-%02d][%2s]", 2021, 3, "abcdef"), "[2021-03][abcdef]");  // width never cuts
    EXPECT_EQ(fmt("%+d %+d % d % d", 5, -5, 5, -5), "+5 -5  5 -5");
    EXPECT_EQ(fmt("%#x %#x %#X %x %X %o", 255, 0, 255, 0xBEEFu, 0xBEEFu, 8u), "0xff 0 0XFF beef BEEF 10");
    EXPECT_EQ(fmt("%#o %#o %#08x %'d", 8u, 0u, 255u, 1234567), "010 0 0x0000ff 1234567");  // grouping not applied
    EXPECT_EQ(fmtUnchecked("%+u", 5u), "5");  // unsigned conversions take no sign

    RecordingSink sink;  // padding is one fill call
    EXPECT_EQ(sinkPrintf(&sink, "%6u", 12u), 0);
    EXPECT_EQ(sink.text, "    12");
    EXPECT_EQ(sink.fills, 1);
}

TEST(PrintfEngine, IntegerPrecisionAndSizes) {
    EXPECT_EQ(fmt("%.3d %.3d [%.0d] [%#.0o] [%.*d] [%.*s]", 7, -7, 0, 0u, -1, 5, 0, "ab"), "007 -007 [] [0] [5] []");
    EXPECT_EQ(fmtUnchecked("[%08.3d]", 7), "[     007]");  // precision switches zero padding off
    EXPECT_EQ(fmt("%.300d", 1), std::string(255, '0') + "1");  // cut at 256 characters
    EXPECT_EQ(fmt("%.300x", 0xABu), std::string(254, '0') + "ab");
    EXPECT_EQ(fmt("%hhd %hhu %hd %hu", 257, 511, 65537, 65535 + 65536), "1 255 1 65535");
    EXPECT_EQ(fmt("%ld %lu", LONG_MIN, ULONG_MAX), std::to_string(LONG_MIN) + " " + std::to_string(ULONG_MAX));
    EXPECT_EQ(fmt("%lld %llu", LLONG_MIN, ULLONG_MAX), "-9223372036854775808 18446744073709551615");
    EXPECT_EQ(fmt("%zu %zd %td %jd", size_t(42), ptrdiff_t(-3), ptrdiff_t(-4), intmax_t(-5)), "42 -3 -4 -5");
    EXPECT_EQ(fmtUnchecked("%I64d %qd %Od %Td", int64_t(-1) << 40, int64_t(1) << 40, int64_t(7), int64_t(-7)),
              "-1099511627776 1099511627776 7 -7");
    EXPECT_EQ(fmtUnchecked("%I32d %I16d %Iu", -9, 65537, size_t(1) << 33), "-9 1 8589934592");
    EXPECT_EQ(fmt("%u %d", 4294967295u, INT_MIN), "4294967295 -2147483648");
}

TEST(PrintfEngine, CharactersStringsPointersAndOthers) {
    EXPECT_EQ(fmt("[%c][%3c][%-3c] %.2s|%.10s", 'A', 'b', 'c', "abcdef", "xy"), "[A][  b][c  ] ab|xy");
    EXPECT_EQ(fmtUnchecked("[%05s]", "ab"), "[000ab]");
    const char* absent = nullptr;
    EXPECT_EQ(fmtUnchecked("%s: [%.3s][%.6s][%8s]", absent, absent, absent, absent), "(null): [][(null)][  (null)]");
    const char16_t* wide = u"h\u00e9llo";
    const char16_t* absent16 = nullptr;
    EXPECT_EQ(fmtUnchecked("[%ls][%ts][%S]", wide, wide, wide), "[h<U+00E9>llo][h<U+00E9>llo][h<U+00E9>llo]");
    EXPECT_EQ(fmtUnchecked("[%.2ls][%7ls][%ls][%S]", wide, u"ab", absent16, absent16), "[h<U+00E9>][     ab][][]");
    EXPECT_EQ(fmtUnchecked("[%hS][%lc][%C][%hC]", "narrow", u'\u00e9', u'Z', 'n'), "[narrow][<U+00E9>][Z][n]");
    EXPECT_EQ(fmtUnchecked("[%zs]", static_cast<void*>(nullptr)), "[CFStringRef]");
    EXPECT_EQ(fmt("%p %p 100%%", reinterpret_cast<void*>(0x1234), static_cast<void*>(nullptr)), "0x1234 0x0 100%");
    EXPECT_EQ(fmtUnchecked("a%yb%"), "a%yb%");  // not conversions: written back
    EXPECT_EQ(fmtUnchecked("a%\xE9" "b"), "a%\xE9" "b");  // nor a byte above ASCII
}

TEST(PrintfEngine, CountAndErrnoText) {
    int n = -1;
    signed char small = -1;
    long long wide = -1;
    EXPECT_EQ(fmt("abc%n%5d%hhn%lln", &n, 1, &small, &wide), "abc    1");
    EXPECT_EQ(n, 3);
    EXPECT_EQ(small, 8);
    EXPECT_EQ(wide, 8);

    errno = ENOENT;
    std::string expected = strerror(ENOENT);
    EXPECT_EQ(fmt("[%m]"), "[" + expected + "]");
}

TEST(PrintfEngine, FloatingPoint) {
    EXPECT_EQ(fmt("[%08.2f][%-6.1f][%E][%G]", -3.5, 2.25, 0.00012, 1e20), "[-0003.50][2.2   ][1.200000E-04][1E+20]");
    EXPECT_EQ(fmt("[%a][%010a][%.3Lf]", 1.0, 1.0, 2.5L), "[0x1p+0][0x00001p+0][2.500]");  // zeros after "0x"
    EXPECT_EQ(fmt("[%010a][%+010a][%09.1a]", -1.0, 1.0, 0.5), "[-0x0001p+0][+0x0001p+0][0x01.0p-1]");
    EXPECT_EQ(fmt("[%06f][%+F][%06a]", -INFINITY, INFINITY, -INFINITY), "[  -inf][+INF][  -inf]");  // no zeros

    // Larger than the engine's stack buffer: made once more on the heap.
    std::string big = fmt("%.600f", 1.0);
    EXPECT_EQ(big, "1." + std::string(600, '0'));
}

TEST(PrintfEngine, FirstSinkFailureEndsFormatting) {
    RecordingSink sink;
    sink.failFromCall = 1;  // the literal "a" passes, everything after fails
    EXPECT_EQ(sinkPrintf(&sink, "a%db%s", 5, "c"), kErrNoSpace);
    EXPECT_EQ(sink.text, "a");
    EXPECT_EQ(sink.calls, 2);  // nothing was tried after the failing call

    RecordingSink failing;
    failing.failFromCall = 0;
    failing.failCode = kErrNoBufferSpace;
    EXPECT_EQ(sinkPrintf(&failing, "%5d", 1), kErrNoBufferSpace);
    EXPECT_EQ(failing.calls, 1);

    EXPECT_EQ(sinkPrintf(nullptr, "x"), kErrInvalidArgument);
}

TEST(PrintfEngine, FixedBufferIsCutAndTerminated) {
    char buffer[8];
    memset(buffer, 'z', sizeof buffer);
    EXPECT_EQ(bufferPrintf(buffer, sizeof buffer, "%s-%d", "abcdef", 12345), 7u);
    EXPECT_STREQ(buffer, "abcdef-");
    EXPECT_EQ(bufferPrintf(buffer, 1, "%d", 5), 0u);
    EXPECT_STREQ(buffer, "");
}

}  // namespace
