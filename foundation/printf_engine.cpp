// The framework's printf engine. One constexpr row per conversion letter says
// what the letter converts; the directive parser fills a Directive and the
// row's kind picks the emitter. Everything reaches the sink through its five
// operations, so the same engine serves text writers, strings and buffers.
#include "foundation/printf_engine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "foundation/string_sinks.h"

namespace {

enum class Kind : uint8_t {
    Signed,
    Unsigned,
    Pointer,
    Char,        // narrow unless a size makes it UTF-16
    WideChar,    // UTF-16 unless "h"
    String,      // narrow unless a size makes it UTF-16
    WideString,  // UTF-16 unless "h"
    Float,
    HexFloat,
    Count,
    ErrnoText,
    Percent,
};

struct ConversionRow {
    char letter;
    uint8_t base;
    Kind kind;
    bool upper;
};

constexpr ConversionRow kConversions[] = {
    {'%', 0, Kind::Percent, false},   {'A', 16, Kind::HexFloat, true},
    {'C', 0, Kind::WideChar, false},  {'E', 10, Kind::Float, true},
    {'F', 10, Kind::Float, true},     {'G', 10, Kind::Float, true},
    {'S', 0, Kind::WideString, false}, {'X', 16, Kind::Unsigned, true},
    {'a', 16, Kind::HexFloat, false}, {'c', 0, Kind::Char, false},
    {'d', 10, Kind::Signed, false},   {'e', 10, Kind::Float, false},
    {'f', 10, Kind::Float, false},    {'g', 10, Kind::Float, false},
    {'i', 10, Kind::Signed, false},   {'m', 0, Kind::ErrnoText, false},
    {'n', 0, Kind::Count, false},     {'o', 8, Kind::Unsigned, false},
    {'p', 16, Kind::Pointer, false},  {'s', 0, Kind::String, false},
    {'u', 10, Kind::Unsigned, false}, {'x', 16, Kind::Unsigned, false},
};

// Letter -> row number + 1 (0: not a conversion), for O(1) lookup.
constexpr std::array<uint8_t, 128> kConversionIndex = [] {
    std::array<uint8_t, 128> index{};
    for (size_t i = 0; i < std::size(kConversions); ++i)
        index[static_cast<uint8_t>(kConversions[i].letter)] = static_cast<uint8_t>(i + 1);
    return index;
}();

enum class Size : uint8_t { Default, Char, Short, Long, Wide64, IntMax, SizeT, PtrDiff, LongDouble };

enum : uint32_t {
    kFlagLeft = 1,
    kFlagZero = 2,
    kFlagAlternate = 4,
    kFlagGrouping = 8,
    kFlagPlus = 16,
    kFlagSpace = 32,
};

struct Directive {
    uint32_t flags = 0;
    uint32_t width = 0;
    bool hasPrecision = false;
    uint32_t precision = 0;
    Size size = Size::Default;
    bool sizeH = false;  // "h" given: C and S fall back to narrow
};

constexpr uint32_t kMaxWidth = 0x7FFFFFFF;

// The sink plus the running count of delivered units and the first failure.
class Output {
public:
    explicit Output(tsr_writer* sink) : sink_(sink) {}

    bool ok() const { return result_ == 0; }
    ResultCode result() const { return result_; }
    uint64_t count() const { return count_; }

    void text(const char* s, size_t n) {
        while (ok() && n > 0) {
            uint32_t piece = n > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<uint32_t>(n);
            track(sink_->writeText(s, piece), piece);
            s += piece;
            n -= piece;
        }
    }
    void text16(const char16_t* s, size_t n) {
        while (ok() && n > 0) {
            uint32_t piece = n > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<uint32_t>(n);
            track(sink_->writeText16(s, piece), piece);
            s += piece;
            n -= piece;
        }
    }
    void literal(const char* s, size_t n) { text(s, n); }
    void literal(const char16_t* s, size_t n) { text16(s, n); }
    void fill(char c, uint32_t n) {
        if (ok() && n > 0) track(sink_->writeFill(c, n), n);
    }

private:
    void track(ResultCode rc, uint32_t n) {
        if (rc != 0)
            result_ = rc;
        else
            count_ += n;
    }

    tsr_writer* sink_;
    uint64_t count_ = 0;
    ResultCode result_ = 0;
};

// Pads content of `length` units to the directive's width with blanks, or
// zeros when the '0' flag is given, on the left unless left-justified; `emit`
// writes the content.
template <class Emit>
void padded(Output& out, const Directive& d, size_t length, Emit emit) {
    uint32_t pad = d.width > length ? static_cast<uint32_t>(d.width - length) : 0;
    if (d.flags & kFlagLeft) {
        emit();
        out.fill(' ', pad);
    } else {
        out.fill((d.flags & kFlagZero) ? '0' : ' ', pad);
        emit();
    }
}

uint64_t takeUnsigned(va_list& args, Size size) {
    switch (size) {
        case Size::Char: return static_cast<unsigned char>(va_arg(args, unsigned int));
        case Size::Short: return static_cast<unsigned short>(va_arg(args, unsigned int));
        case Size::Long: return va_arg(args, unsigned long);
        case Size::Wide64:
        case Size::LongDouble: return va_arg(args, unsigned long long);
        case Size::IntMax: return va_arg(args, uintmax_t);
        case Size::SizeT: return va_arg(args, size_t);
        case Size::PtrDiff: return static_cast<uint64_t>(va_arg(args, ptrdiff_t));
        case Size::Default: break;
    }
    return va_arg(args, unsigned int);
}

int64_t takeSigned(va_list& args, Size size) {
    switch (size) {
        case Size::Char: return static_cast<signed char>(va_arg(args, int));
        case Size::Short: return static_cast<short>(va_arg(args, int));
        case Size::Long: return va_arg(args, long);
        case Size::Wide64:
        case Size::LongDouble: return va_arg(args, long long);
        case Size::IntMax: return va_arg(args, intmax_t);
        case Size::SizeT: return static_cast<int64_t>(va_arg(args, size_t));
        case Size::PtrDiff: return va_arg(args, ptrdiff_t);
        case Size::Default: break;
    }
    return va_arg(args, int);
}

// Whether a sign may be written, and which: the unsigned conversions and
// pointers have none.
enum class Sign : uint8_t { kNone, kPlus, kMinus };

// Integer conversions. Precision (cut to 256) is the minimum digit count and
// turns zero padding off; precision 0 with value 0 gives no digits. The
// alternate form puts "0x" before a non-zero hexadecimal value and makes an
// octal value start with '0'. Pointers always carry "0x".
void emitInteger(Output& out, Directive d, const ConversionRow& row, uint64_t magnitude, Sign sign) {
    char digits[kMaxIntegerPrecision + 72];
    char* end = digits + sizeof digits;
    char* p = end;
    const char* alphabet = row.upper ? "0123456789ABCDEF" : "0123456789abcdef";
    uint32_t precision = d.hasPrecision ? d.precision : 1;
    precision = std::min<uint32_t>(precision, kMaxIntegerPrecision);
    if (d.hasPrecision) d.flags &= ~kFlagZero;
    for (uint64_t v = magnitude; v != 0; v /= row.base) *--p = alphabet[v % row.base];
    while (static_cast<uint32_t>(end - p) < precision) *--p = '0';
    if (row.base == 8 && (d.flags & kFlagAlternate) && (p == end || *p != '0')) *--p = '0';

    char prefix[3];
    size_t prefixLength = 0;
    if (sign == Sign::kMinus)
        prefix[prefixLength++] = '-';
    else if (sign == Sign::kPlus && (d.flags & kFlagPlus))
        prefix[prefixLength++] = '+';
    else if (sign == Sign::kPlus && (d.flags & kFlagSpace))
        prefix[prefixLength++] = ' ';
    if (row.kind == Kind::Pointer || (row.base == 16 && (d.flags & kFlagAlternate) && magnitude != 0)) {
        prefix[prefixLength++] = '0';
        prefix[prefixLength++] = row.upper ? 'X' : 'x';
    }
    size_t digitCount = static_cast<size_t>(end - p);
    size_t length = prefixLength + digitCount;
    uint32_t pad = d.width > length ? static_cast<uint32_t>(d.width - length) : 0;
    if (d.flags & kFlagLeft) {
        out.text(prefix, prefixLength);
        out.text(p, digitCount);
        out.fill(' ', pad);
    } else if (d.flags & kFlagZero) {
        out.text(prefix, prefixLength);
        out.fill('0', pad);
        out.text(p, digitCount);
    } else {
        out.fill(' ', pad);
        out.text(prefix, prefixLength);
        out.text(p, digitCount);
    }
}

template <class Value>
int formatFloat(char* buffer, size_t size, const char* spec, const Directive& d, Value value) {
    return d.hasPrecision ? snprintf(buffer, size, spec, static_cast<int>(d.precision), value)
                          : snprintf(buffer, size, spec, value);
}

// Floating point: the host's C library produces sign, digits and exponent;
// the width is applied here so padding travels through the sink's fill. Zero
// padding goes after the sign (and "0x" of the hexadecimal form) and never
// pads an infinity or NaN. Output that does not fit the stack buffer is made
// once more on the heap; a value the library cannot produce is "#err".
// A double is handed over as a double so that "%a" shows its own mantissa.
template <class Value>
void emitFloat(Output& out, const Directive& d, const ConversionRow& row, Value value) {
    char spec[16];
    size_t n = 0;
    spec[n++] = '%';
    if (d.flags & kFlagPlus) spec[n++] = '+';
    if (d.flags & kFlagSpace) spec[n++] = ' ';
    if (d.flags & kFlagAlternate) spec[n++] = '#';
    if (d.hasPrecision) {
        spec[n++] = '.';
        spec[n++] = '*';
    }
    if constexpr (sizeof(Value) > sizeof(double)) spec[n++] = 'L';
    spec[n++] = row.letter;
    spec[n] = '\0';

    char stackBuffer[512];
    char* text = stackBuffer;
    char* heap = nullptr;
    int produced = formatFloat(stackBuffer, sizeof stackBuffer, spec, d, value);
    if (produced >= static_cast<int>(sizeof stackBuffer)) {
        heap = static_cast<char*>(malloc(static_cast<size_t>(produced) + 1));
        if (heap) {
            produced = formatFloat(heap, static_cast<size_t>(produced) + 1, spec, d, value);
            text = heap;
        } else {
            produced = -1;
        }
    }
    if (produced < 0) {
        text = const_cast<char*>("#err");
        produced = 4;
    }
    size_t length = static_cast<size_t>(produced);
    size_t head = 0;
    if (head < length && (text[0] == '-' || text[0] == '+' || text[0] == ' ')) ++head;
    bool finite = head < length && text[head] >= '0' && text[head] <= '9';
    if (row.kind == Kind::HexFloat && finite && head + 1 < length) head += 2;
    uint32_t pad = d.width > length ? static_cast<uint32_t>(d.width - length) : 0;
    if (d.flags & kFlagLeft) {
        out.text(text, length);
        out.fill(' ', pad);
    } else if ((d.flags & kFlagZero) && finite) {
        out.text(text, head);
        out.fill('0', pad);
        out.text(text + head, length - head);
    } else {
        out.fill(' ', pad);
        out.text(text, length);
    }
    free(heap);
}

void storeCount(va_list& args, Size size, uint64_t count) {
    switch (size) {
        case Size::Char: *va_arg(args, signed char*) = static_cast<signed char>(count); return;
        case Size::Short: *va_arg(args, short*) = static_cast<short>(count); return;
        case Size::Long: *va_arg(args, long*) = static_cast<long>(count); return;
        case Size::Wide64:
        case Size::LongDouble: *va_arg(args, long long*) = static_cast<long long>(count); return;
        case Size::IntMax: *va_arg(args, intmax_t*) = static_cast<intmax_t>(count); return;
        case Size::SizeT: *va_arg(args, size_t*) = static_cast<size_t>(count); return;
        case Size::PtrDiff: *va_arg(args, ptrdiff_t*) = static_cast<ptrdiff_t>(count); return;
        case Size::Default: break;
    }
    *va_arg(args, int*) = static_cast<int>(count);
}

// The host's error text, through the GNU or the POSIX form of strerror_r.
[[maybe_unused]] const char* errorText(char* result, const char*) { return result; }
[[maybe_unused]] const char* errorText(int result, const char* buffer) { return result == 0 ? buffer : "Unknown error"; }

size_t length16(const char16_t* s, size_t limit) {
    size_t n = 0;
    while (n < limit && s[n] != 0) ++n;
    return n;
}

template <class Unit>
uint32_t parseNumber(const Unit*& f) {
    uint64_t value = 0;
    while (*f >= '0' && *f <= '9') {
        value = value * 10 + static_cast<uint32_t>(*f - '0');
        value = std::min<uint64_t>(value, kMaxWidth);
        ++f;
    }
    return static_cast<uint32_t>(value);
}

// Reads the size modifier at f (advancing past it).
template <class Unit>
void parseSize(const Unit*& f, Directive& d) {
    switch (*f) {
        case 'h':
            ++f;
            if (*f == 'h') {
                ++f;
                d.size = Size::Char;
            } else {
                d.size = Size::Short;
            }
            d.sizeH = true;
            return;
        case 'l':
            ++f;
            if (*f == 'l') {
                ++f;
                d.size = Size::Wide64;
            } else {
                d.size = Size::Long;
            }
            return;
        case 'q':
        case 'O':
        case 'T': ++f; d.size = Size::Wide64; return;
        case 'j': ++f; d.size = Size::IntMax; return;
        case 'z': ++f; d.size = Size::SizeT; return;
        case 't': ++f; d.size = Size::PtrDiff; return;
        case 'L': ++f; d.size = Size::LongDouble; return;
        case 'I':
            ++f;
            if (f[0] == '6' && f[1] == '4') {
                f += 2;
                d.size = Size::Wide64;
            } else if (f[0] == '3' && f[1] == '2') {
                f += 2;
                d.size = Size::Default;
            } else if (f[0] == '1' && f[1] == '6') {
                f += 2;
                d.size = Size::Short;
            } else {
                d.size = Size::SizeT;
            }
            return;
        default: return;
    }
}

template <class Unit>
ResultCode runFormat(tsr_writer* sink, const Unit* format, va_list incoming) {
    if (!sink || !format) return kErrInvalidArgument;
    const int errnoAtStart = errno;
    va_list args;
    va_copy(args, incoming);
    Output out(sink);
    const Unit* f = format;
    while (*f) {  // a failed output ends the loop below, before the next directive
        const Unit* run = f;
        while (*f && *f != '%') ++f;
        if (f > run) out.literal(run, static_cast<size_t>(f - run));
        if (!*f || !out.ok()) break;

        const Unit* start = f++;
        Directive d;
        for (;; ++f) {
            if (*f == '-') d.flags |= kFlagLeft;
            else if (*f == '0') d.flags |= kFlagZero;
            else if (*f == '#') d.flags |= kFlagAlternate;
            else if (*f == '\'') d.flags |= kFlagGrouping;
            else if (*f == '+') d.flags |= kFlagPlus;
            else if (*f == ' ') d.flags |= kFlagSpace;
            else break;
        }
        if (*f == '*') {
            ++f;
            int w = va_arg(args, int);
            if (w < 0) {
                d.flags |= kFlagLeft;
                d.width = w == INT32_MIN ? kMaxWidth : static_cast<uint32_t>(-w);
            } else {
                d.width = static_cast<uint32_t>(w);
            }
        } else {
            d.width = parseNumber(f);
        }
        if (*f == '.') {
            ++f;
            d.hasPrecision = true;
            if (*f == '*') {
                ++f;
                int p = va_arg(args, int);
                if (p < 0)
                    d.hasPrecision = false;  // a negative precision counts as none
                else
                    d.precision = static_cast<uint32_t>(p);
            } else {
                d.precision = parseNumber(f);
            }
        }
        parseSize(f, d);

        Unit letter = *f;
        uint8_t index = (letter > 0 && letter < 128) ? kConversionIndex[static_cast<size_t>(letter)] : 0;
        if (index == 0) {
            // Not a conversion: the directive is written back as it stood.
            if (*f) ++f;
            out.literal(start, static_cast<size_t>(f - start));
            continue;
        }
        ++f;
        const ConversionRow& row = kConversions[index - 1];
        if (d.flags & kFlagLeft) d.flags &= ~kFlagZero;

        switch (row.kind) {
            case Kind::Percent: out.text("%", 1); break;
            case Kind::Signed: {
                int64_t v = takeSigned(args, d.size);
                uint64_t magnitude = v < 0 ? uint64_t(0) - static_cast<uint64_t>(v) : static_cast<uint64_t>(v);
                emitInteger(out, d, row, magnitude, v < 0 ? Sign::kMinus : Sign::kPlus);
                break;
            }
            case Kind::Unsigned: emitInteger(out, d, row, takeUnsigned(args, d.size), Sign::kNone); break;
            case Kind::Pointer:
                emitInteger(out, d, row, reinterpret_cast<uintptr_t>(va_arg(args, void*)), Sign::kNone);
                break;
            case Kind::Char:
            case Kind::WideChar: {
                bool wide = row.kind == Kind::WideChar ? !d.sizeH : (d.size == Size::Long || d.size == Size::PtrDiff);
                unsigned int c = va_arg(args, unsigned int);
                if (wide) {
                    char16_t unit = static_cast<char16_t>(c);
                    padded(out, d, 1, [&] { out.text16(&unit, 1); });
                } else {
                    padded(out, d, 1, [&] { out.fill(static_cast<char>(c), 1); });
                }
                break;
            }
            case Kind::String:
            case Kind::WideString: {
                size_t limit = d.hasPrecision ? d.precision : SIZE_MAX;
                if (row.kind == Kind::String && d.size == Size::SizeT) {
                    (void)va_arg(args, void*);
                    static const char kName[] = "CFStringRef";
                    size_t n = std::min(limit, sizeof kName - 1);
                    padded(out, d, n, [&] { out.text(kName, n); });
                    break;
                }
                bool wide = row.kind == Kind::WideString ? !d.sizeH : (d.size == Size::Long || d.size == Size::PtrDiff);
                if (wide) {
                    const char16_t* s = va_arg(args, const char16_t*);
                    size_t n = s ? length16(s, limit) : 0;
                    padded(out, d, n, [&] { out.text16(s, n); });
                } else {
                    const char* s = va_arg(args, const char*);
                    // A null string reads "(null)", which a precision below
                    // its length removes entirely rather than cutting.
                    if (!s) s = (d.hasPrecision && d.precision < 6) ? "" : "(null)";
                    size_t n = strnlen(s, limit);
                    padded(out, d, n, [&] { out.text(s, n); });
                }
                break;
            }
            case Kind::Float:
            case Kind::HexFloat: {
                if (d.size == Size::LongDouble)
                    emitFloat(out, d, row, va_arg(args, long double));
                else
                    emitFloat(out, d, row, va_arg(args, double));
                break;
            }
            case Kind::Count: storeCount(args, d.size, out.count()); break;
            case Kind::ErrnoText: {
                char buffer[256];
                const char* s = errorText(strerror_r(errnoAtStart, buffer, sizeof buffer), buffer);
                size_t n = strnlen(s, d.hasPrecision ? d.precision : SIZE_MAX);
                padded(out, d, n, [&] { out.text(s, n); });
                break;
            }
        }
    }
    va_end(args);
    return out.result();
}

}  // namespace

ResultCode formatToSink(tsr_writer* sink, const char* format, va_list args) noexcept {
    return runFormat(sink, format, args);
}

size_t formatToBuffer(char* buffer, size_t size, const char* format, va_list args) noexcept {
    if (!buffer || size == 0) return 0;
    buffer[0] = '\0';
    str_writer sink(buffer, buffer + size - 1);
    (void)runFormat(&sink, format, args);
    return sink.written();
}

size_t bufferPrintf(char* buffer, size_t size, const char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    size_t n = formatToBuffer(buffer, size, format, args);
    va_end(args);
    return n;
}
