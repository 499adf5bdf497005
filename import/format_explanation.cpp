#include "import/format_explanation.h"

#include <bit>
#include <cstring>
#include <string_view>

#include "foundation/ascii.h"
#include "import/csv_layouts.h"
#include "import/import_formats.h"

namespace {

constexpr uint32_t kQuotedUnits = 40;
constexpr uint32_t kTitlesShown = 4;

// Text built into a string; the first failure sticks and later writes do
// nothing. Conversions that replaced a character are no failure.
class Explanation {
public:
    explicit Explanation(XpString& out) noexcept : out_(out) { out_.clear(); }
    void put(const char* text) noexcept { keep(out_.append(text)); }
    void put(const char16_t* text, uint32_t n) noexcept { keep(out_.append(text, n)); }
    // At most kQuotedUnits units of text, "..." marking a cut.
    void quoted(const char16_t* text, uint32_t n) noexcept {
        put(text, n > kQuotedUnits ? kQuotedUnits : n);
        if (n > kQuotedUnits) put("...");
    }
    void number(uint32_t n) noexcept {
        char digits[12];
        uint32_t at = sizeof digits;
        digits[--at] = 0;
        do digits[--at] = char('0' + n % 10);
        while ((n /= 10) != 0);
        put(digits + at);
    }
    ResultCode result() const noexcept { return failure_; }

private:
    void keep(ResultCode rc) noexcept {
        if (rc != kResultOk && rc != kErrIllegalSequence && rc != kErrIncompleteInput && failure_ == kResultOk)
            failure_ = rc;
    }
    XpString& out_;
    ResultCode failure_ = kResultOk;
};

uint32_t length16(const char16_t* text) noexcept {
    uint32_t n = 0;
    while (text[n] != 0) ++n;
    return n;
}

bool startsWith(const char16_t* text, uint32_t length, std::u16string_view prefix) noexcept {
    return length >= prefix.size() && std::u16string_view(text, prefix.size()) == prefix;
}

bool isCapitalOrDigit(char16_t c) noexcept { return (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9'); }

// What the first units of a line with control characters say it is.
const char* binaryKind(const char16_t* text, uint32_t length) noexcept {
    // Bytes as the fallback code page decodes them: 50 4B 03 04, D0 CF 11 E0,
    // 1F 8B.
    if (startsWith(text, length, u"PK\u0003\u0004")) return "a ZIP archive (an .xlsx workbook? save it as CSV)";
    if (startsWith(text, length, u"\u00D0\u00CF\u0011\u00E0"))
        return "an Excel workbook of the older kind (.xls): save it as CSV";
    if (startsWith(text, length, u"\u001F\u2039")) return "gzip-compressed data";
    uint32_t zeros = 0;
    for (uint32_t i = 1; i < length; i += 2) zeros += text[i] == 0;
    if (length >= 4 && zeros * 2 + 2 >= length) return "UTF-16 text without a byte-order mark";
    return "binary data";
}

bool isBinary(const char16_t* text, uint32_t length) noexcept {
    for (uint32_t i = 0; i < length; ++i) {
        const char16_t c = text[i];
        if ((c < 0x20 && c != u'\t' && c != u'\r' && c != u'\n') || c == 0x7F) return true;
    }
    return false;
}

// The tag a tagged line begins with, in units (0: none).
uint32_t tagLength(const char16_t* text, uint32_t length) noexcept {
    if (length >= 2 && text[0] == u'%' && text[1] > u' ') return 2;
    uint32_t n = 0;
    while (n < length && n < 5 && isCapitalOrDigit(text[n])) ++n;
    if (n == 0 || n > 4 || !(text[0] >= u'A' && text[0] <= u'Z')) return 0;
    uint32_t after = n;
    while (after < length && text[after] == u' ') ++after;
    if (after < length && text[after] == u'-') return after + 1;
    if (n == 2 && (n == length || text[n] == u' ')) return n;
    return 0;
}

char16_t likelySeparator(const char16_t* text, uint32_t length) noexcept {
    uint32_t counts[3] = {0, 0, 0};
    constexpr char16_t kCandidates[3] = {u',', u';', u'\t'};
    for (uint32_t i = 0; i < length; ++i)
        for (int k = 0; k < 3; ++k) counts[k] += text[i] == kCandidates[k];
    int best = 0;
    for (int k = 1; k < 3; ++k)
        if (counts[k] > counts[best]) best = k;
    return counts[best] != 0 ? kCandidates[best] : 0;
}

[[nodiscard]] ResultCode describeCsv(Explanation& e, const char16_t* text, uint32_t length,
                                     char16_t separator) noexcept {
    VroCsvTitles titles;
    const ResultCode rc = titles.split(text, length, separator);
    if (rc != kResultOk) return rc;
    e.put(separator == u',' ? "CSV" : separator == u';' ? "semicolon-separated text" : "tab-separated text");
    e.put(" with ");
    e.number(titles.count());
    e.put(" columns: ");
    for (uint32_t i = 0; i < titles.count() && i < kTitlesShown; ++i) {
        if (i > 0) e.put(", ");
        e.quoted(titles[i], length16(titles[i]));
    }
    if (titles.count() > kTitlesShown) e.put(", ...");
    return kResultOk;
}

// "A|B" as "A or B".
void putEntry(Explanation& e, const char* entry) noexcept {
    for (const char* p = entry; *p != 0;) {
        const char* bar = std::strchr(p, '|');
        const size_t n = bar != nullptr ? size_t(bar - p) : std::strlen(p);
        char piece[64];
        const size_t kept = n < sizeof piece ? n : sizeof piece - 1;
        std::memcpy(piece, p, kept);
        piece[kept] = 0;
        e.put(piece);
        if (bar == nullptr) break;
        e.put(" or ");
        p = bar + 1;
    }
}

// The first alternative of an entry.
void putFirst(Explanation& e, const char* entry) noexcept {
    char piece[64];
    size_t n = 0;
    while (entry[n] != 0 && entry[n] != '|' && n + 1 < sizeof piece) ++n;
    std::memcpy(piece, entry, n);
    piece[n] = 0;
    e.put(piece);
}

// "a Lens CSV" from the display name "Lens (CSV)".
void putLayout(Explanation& e, const char* name) noexcept {
    char noun[48];
    size_t n = 0;
    while (name[n] != 0 && name[n] != ' ' && n + 1 < sizeof noun) ++n;
    if (name[n] == ' ' && std::strncmp(name + n, " (CSV)", 6) != 0) {
        // a name of several words: up to its parenthesis
        while (name[n] != 0 && name[n] != '(' && n + 1 < sizeof noun) ++n;
        while (n > 0 && name[n - 1] == ' ') --n;
    }
    std::memcpy(noun, name, n);
    noun[n] = 0;
    e.put(std::strchr("AEIOU", noun[0]) != nullptr && noun[0] != 0 ? "an " : "a ");
    e.put(noun);
    e.put(" CSV");
}

struct Layout {
    const char* name;
    const VroCsvHeader* header;
};

uint32_t requirementCount(const VroCsvHeader& h) noexcept {
    return (h.firstColumn != nullptr) + uint32_t(h.required.size()) + (h.counts != nullptr);
}

void putRequirements(Explanation& e, const VroCsvHeader& h) noexcept {
    const uint32_t total = requirementCount(h);
    uint32_t said = 0;
    auto next = [&] {
        ++said;
        if (said > 1) e.put(said == total ? " and " : ", ");
    };
    if (h.firstColumn != nullptr) {
        next();
        putEntry(e, h.firstColumn);
        e.put(" first");
    }
    for (const char* entry : h.required) {
        next();
        putEntry(e, entry);
    }
    if (h.counts != nullptr) {
        next();
        e.put("a count column (");
        putEntry(e, h.counts);
        e.put(")");
    }
}

void putLack(Explanation& e, const Layout& layout, const VroCsvTitles& titles, uint32_t missing) noexcept {
    const VroCsvHeader& h = *layout.header;
    putLayout(e, layout.name);
    if (missing == kMissingCounts) {
        e.put(" without a count column: export it with '");
        putFirst(e, h.counts);
        e.put("'");
        return;
    }
    if (missing == kMissingFirstColumn) {
        e.put(" needs ");
        putEntry(e, h.firstColumn);
        e.put(" as its first column; this header starts with ");
        e.quoted(titles[0], length16(titles[0]));
        return;
    }
    e.put(" needs ");
    putRequirements(e, h);
    e.put("; this header lacks ");
    const uint32_t r = uint32_t(std::countr_zero(missing / kMissingRequired));
    if (r < h.required.size()) putEntry(e, h.required[r]);
}

// Of the layouts whose requirements the line meets all but one of, the one
// that meets the most, a first column counting three times (it names its
// source, where "Title" or "Publication Year" could be anyone's); the first
// in table order among equals.
[[nodiscard]] ResultCode describeCloseLayout(Explanation& e, const char16_t* text, uint32_t length) noexcept {
    Layout layouts[16];
    uint32_t count = 0;
    layouts[count++] = {"Scopus (CSV)", &kScopusColumnsHeader};
    for (const VroImportFormat& format : kImportFormats)
        if (format.header != nullptr && count < 16) layouts[count++] = {format.name, format.header};
    VroCsvTitles titles[2];
    constexpr char16_t kSeparators[2] = {u',', u';'};
    for (int s = 0; s < 2; ++s) {
        const ResultCode rc = titles[s].split(text, length, kSeparators[s]);
        if (rc != kResultOk) return rc;
    }
    uint32_t bestScore = 0, bestLayout = 0, bestMissing = 0;
    int bestSplit = 0;
    for (uint32_t k = 0; k < count; ++k) {
        const VroCsvHeader& h = *layouts[k].header;
        const uint32_t needed = requirementCount(h);
        for (int s = 0; s < 2; ++s) {
            const uint32_t missing = missingColumns(titles[s], h);
            if (needed < 2 || std::popcount(missing) != 1) continue;
            const bool first = h.firstColumn != nullptr && (missing & kMissingFirstColumn) == 0;
            const uint32_t score = needed - 1 + (first ? 2 : 0);
            if (score <= bestScore) continue;
            bestScore = score;
            bestLayout = k;
            bestMissing = missing;
            bestSplit = s;
        }
    }
    if (bestScore != 0) {
        e.put("; ");
        putLack(e, layouts[bestLayout], titles[bestSplit], bestMissing);
    }
    return kResultOk;
}

// Whether the line starts with the signature once white space is left out
// of both (letters compared without case): "TY -" for "TY  -".
bool startsLoosely(const char16_t* text, uint32_t length, const char* signature) noexcept {
    uint32_t i = 0;
    for (const char* s = signature; *s != 0; ++s) {
        if (isAsciiWhiteSpace(char16_t(*s))) continue;
        while (i < length && isAsciiWhiteSpace(text[i])) ++i;
        if (i == length) return false;  // the line ends before the signature does
        if (asciiLower(text[i]) != asciiLower(char16_t(static_cast<unsigned char>(*s)))) return false;
        ++i;
    }
    return true;
}

// The first format whose signature the line misses only by white space.
void describeCloseSignature(Explanation& e, const char16_t* text, uint32_t length) noexcept {
    for (const VroImportFormat& format : kImportFormats) {
        for (const char* signature : format.signatures) {
            if (!startsLoosely(text, length, signature)) continue;
            e.put("; close to ");
            e.put(format.name);
            e.put(", whose first line starts \"");
            e.put(signature);
            e.put("\"");
            return;
        }
    }
}

}  // namespace

ResultCode explainUnrecognisedLine(const XpString16& line, XpString& out) noexcept {
    Explanation e(out);
    const char16_t* text = line.data();
    const uint32_t length = line.length();
    uint32_t start = 0;
    while (start < length && isAsciiWhiteSpace(text[start])) ++start;

    if (isBinary(text, length)) {
        e.put(binaryKind(text, length));
        return e.result();
    }
    if (start == length) {
        e.put("an empty first line");
        return e.result();
    }
    if (text[start] == u'{' || text[start] == u'[') {
        e.put("JSON holding no works of OpenAlex (cited_by_count), Crossref (is-referenced-by-count) "
              "or Semantic Scholar (citationCount)");
        return e.result();
    }
    if (const uint32_t tag = tagLength(text, length); tag != 0) {
        e.put("tagged text starting \"");
        e.quoted(text, tag);
        e.put("\"");
        if (startsWith(text, length, u"PMID-")) e.put("; MEDLINE records carry no citation counts");
        describeCloseSignature(e, text, length);
        return e.result();
    }
    if (const char16_t separator = likelySeparator(text, length); separator != 0) {
        ResultCode rc = describeCsv(e, text, length, separator);
        const uint32_t described = out.length();
        if (rc == kResultOk) rc = describeCloseLayout(e, text, length);
        if (rc == kResultOk && out.length() == described) describeCloseSignature(e, text, length);
        return rc != kResultOk ? rc : e.result();
    }
    e.put("text starting \"");
    e.quoted(text, length);
    e.put("\"");
    describeCloseSignature(e, text, length);
    return e.result();
}
