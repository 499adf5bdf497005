// Field notes: names, units and meanings of the values of varoreport's rows.
#include "report/field_notes.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>

#include "model/publication.h"

const char* const kFieldGroupNames[kFieldGroupCount] = {"Counts",     "Hirsch family", "Egghe",       "Contemporary",
                                                        "Individual", "Age-weighted",  "Rates"};

constexpr VroFieldNote kFieldNotes[kFieldNoteCount] = {
    {1, kGroupCounts, "Papers", "papers", "Publications taking part in the metrics."},
    {2, kGroupCounts, "Citations", "citations", "Sum of the citation counts."},
    {kI10Position, kGroupCounts, "i10-index", "papers", "Papers with at least 10 citations."},
    {3, kGroupCounts, "Estimated citations", "citations",
     "Sum of the source's own estimates where it gives one, else of the counts."},
    {21, kGroupCounts, "First year", "year", "Earliest publication year (0: no dated paper)."},
    {22, kGroupCounts, "Last year", "year", "Latest publication year (0: no dated paper)."},
    {23, kGroupCounts, "Reference year", "year", "Year of the calculation; ages count up to it."},
    {24, kGroupCounts, "Citing years", "years", "Age in years of the oldest dated paper."},
    {6, kGroupCounts, "Citations per paper", "citations/paper", "Mean citations per paper."},
    {7, kGroupCounts, "Median citations per paper", "citations/paper", "Middle value of the papers' citation counts."},
    {8, kGroupCounts, "Most frequent citation count", "citations",
     "The count most papers have; none when several tie."},
    {13, kGroupCounts, "Authors per paper", "authors/paper", "Mean number of authors per paper (counted up to 50)."},
    {14, kGroupCounts, "Median authors per paper", "authors/paper", "Middle value of the papers' author counts."},
    {15, kGroupCounts, "Most frequent author count", "authors",
     "The author count most papers have; none when several tie."},
    {9, kGroupCounts, "Papers per author", "papers", "Each paper counted as one over its number of authors, summed."},
    {10, kGroupCounts, "Citations per author", "citations",
     "Each paper's citations over its number of authors, summed."},
    {25, kGroupHirsch, "h-index", "papers", "The largest h such that h papers have at least h citations each."},
    {26, kGroupHirsch, "Hirsch a", "ratio", "All citations over h squared."},
    {27, kGroupHirsch, "Hirsch m", "per year", "h over the citing years."},
    {4, kGroupHirsch, "Citations in the h-core", "citations", "Citations of the h most cited papers."},
    {28, kGroupHirsch, "h coverage", "share", "Share of all citations that the h-core holds (1 = all)."},
    {35, kGroupHirsch, "Normalised h", "ratio", "h over the number of papers."},
    {44, kGroupHirsch, "e-index", "index", "Square root of the h-core's citations beyond h squared."},
    {29, kGroupEgghe, "g-index", "papers",
     "The largest g such that the top g papers together have at least g squared citations."},
    {30, kGroupEgghe, "g/h", "ratio", "g over h."},
    {5, kGroupEgghe, "Citations in the g-core", "citations", "Citations of the g most cited papers."},
    {31, kGroupEgghe, "g coverage", "share", "Share of all citations that the g-core holds (1 = all)."},
    {32, kGroupContemporary, "hc-index", "papers",
     "h-index over the scores 4 × citations / age, so recent work weighs more."},
    {33, kGroupContemporary, "ac", "ratio", "Sum of the scores over hc squared."},
    {34, kGroupContemporary, "Score total", "score", "Sum of the dated papers' contemporary scores."},
    {40, kGroupIndividual, "hI (Batista)", "index", "h squared over the authors of the h-core papers."},
    {41, kGroupIndividual, "hI, normalised", "papers", "h-index over each paper's citations divided by its authors."},
    {42, kGroupIndividual, "hI, annual", "per year", "Normalised hI over the citing years."},
    {43, kGroupIndividual, "hm-index", "papers", "h-index with each paper counted as one over its number of authors."},
    {37, kGroupAgeWeighted, "AWCR", "citations/year",
     "Age-weighted citation rate: each paper's citations over its age, summed."},
    {38, kGroupAgeWeighted, "AW-index", "index", "Square root of the AWCR."},
    {39, kGroupAgeWeighted, "AWCR per author", "citations/year",
     "The AWCR with each paper's citations divided by its authors."},
    {36, kGroupAgeWeighted, "hA-index", "papers", "h-index over each paper's citations per year."},
    {12, kGroupRates, "Citations per year", "citations/year", "All citations over the citing years."},
    {11, kGroupRates, "Citations per author per year", "citations/year",
     "Citations per author over the citing years."},
    {16, kGroupRates, "Papers cited 1+ times a year", "papers", "Papers with at least 1 citation per year of age."},
    {17, kGroupRates, "Papers cited 2+ times a year", "papers", "Papers with at least 2 citations per year of age."},
    {18, kGroupRates, "Papers cited 5+ times a year", "papers", "Papers with at least 5 citations per year of age."},
    {19, kGroupRates, "Papers cited 10+ times a year", "papers", "Papers with at least 10 citations per year of age."},
    {20, kGroupRates, "Papers cited 20+ times a year", "papers", "Papers with at least 20 citations per year of age."},
};

namespace {

// Every named field but the version (position 0) has exactly one note.
constexpr bool notesCoverRecord() {
    for (uint32_t position = 1; position < kMetricsSchemaRows; ++position) {
        int found = 0;
        for (const VroFieldNote& note : kFieldNotes) found += note.position == position ? 1 : 0;
        if (found != 1) return false;
    }
    return true;
}
static_assert(notesCoverRecord(), "one note per named field of the record");

constexpr const char* kScaleSuffixes[] = {"_1000", "_100", "_10"};

uint32_t suffixLength(const char* name) noexcept {
    const size_t length = std::strlen(name);
    for (const char* suffix : kScaleSuffixes) {
        const size_t n = std::strlen(suffix);
        if (length > n && std::strcmp(name + length - n, suffix) == 0) return uint32_t(n);
    }
    return 0;
}

uint32_t decimalsOf(uint32_t suffix) noexcept {
    return suffix == 0 ? 0 : suffix - 2;  // "_10" one place, "_100" two, "_1000" three
}

}  // namespace

const VroSchemaColumn* schemaColumns() noexcept {
    static const auto columns = [] {
        std::array<VroSchemaColumn, kMetricsSchemaRows> c{};
        for (uint32_t i = 0; i < kMetricsSchemaRows; ++i) {
            const VroMetricsSchemaRow& row = kMetricsSchema[i];
            c[i].decimals = uint8_t(decimalsOf(suffixLength(row.snakeName)));
            c[i].readableLength = uint8_t(readableNameLength(row));
            c[i].storedLength = uint8_t(std::strlen(row.snakeName));
        }
        return c;
    }();
    return columns.data();
}

bool isNoneMode(const VroMetricsSchemaRow& row, uint32_t word) noexcept {
    constexpr uint32_t kCitesModePosition = offsetof(VroMetrics, citesPerPaperMode) / 4;
    constexpr uint32_t kAuthorsModePosition = offsetof(VroMetrics, authorsPerPaperMode) / 4;
    return (row.position == kCitesModePosition || row.position == kAuthorsModePosition) && word == kNoMode;
}

uint32_t fieldDecimals(const VroMetricsSchemaRow& row) noexcept { return decimalsOf(suffixLength(row.snakeName)); }

uint32_t readableNameLength(const VroMetricsSchemaRow& row) noexcept {
    return uint32_t(std::strlen(row.snakeName)) - suffixLength(row.snakeName);
}

char* putDecimal(char* p, uint32_t value, uint32_t decimals) noexcept {
    // Most values of a report of many groups are single digits.
    if (value < 10 && decimals == 0) {
        *p = char('0' + value);
        return p + 1;
    }
    // The length is known first, so that the digits go straight to their
    // places from the right: the places, the point, then the whole part two
    // digits at a time. At least one digit stands before the point: 5 with
    // two places is "0.05".
    uint32_t digits = 1;
    for (uint64_t power = 10; power <= value; power *= 10) ++digits;
    const uint32_t whole = digits > decimals ? digits - decimals : 1;
    char* const end = p + whole + (decimals != 0 ? decimals + 1 : 0);
    char* q = end;
    for (uint32_t i = 0; i < decimals; ++i, value /= 10) *--q = char('0' + value % 10);
    if (decimals != 0) *--q = '.';
    static constexpr char kPairs[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";
    for (; value >= 100; value /= 100) {
        q -= 2;
        std::memcpy(q, kPairs + 2 * (value % 100), 2);
    }
    if (value >= 10)
        std::memcpy(q - 2, kPairs + 2 * value, 2);
    else
        q[-1] = char('0' + value);
    return end;
}

namespace {

// The columns around the record's fields, which the page shows in its own way.
struct ColumnNote {
    const char* column;
    const char* unit;
    const char* meaning;
    bool afterFields;
};

constexpr ColumnNote kOuterColumns[] = {
    {"file", "text", "The export as named on the command line; \"-\" is standard input.", false},
    {"format", "text", "The import format that read it.", false},
    {"publications", "records", "Publications imported, those not taking part in the metrics included.", false},
    {"metrics_version", "number", "Version of the metrics record.", false},
    {"authors_0 .. authors_50", "papers",
     "Papers by number of authors, authors_50 also counting more (json: the array authors).", true},
    {"error", "text", "Why the export could not be read; empty when it was.", true},
};

const VroFieldNote& noteOf(uint32_t position) noexcept {
    for (const VroFieldNote& note : kFieldNotes)
        if (note.position == position) return note;
    return kFieldNotes[0];  // not reached: every position has its note
}

// A line of the field list: a column, as many of its characters as are
// shown, and what the list says of it.
struct ListedColumn {
    const char* column;
    int length;
    const char* unit;
    const char* scale;  // a stored scaled field's factor ("100"), else ""
    const char* name;   // for people: null for the columns around the fields
    const char* meaning;
};

}  // namespace

void writeFieldList(FILE* out, bool storedValues) noexcept {
    ListedColumn columns[std::size(kOuterColumns) + kFieldNoteCount];
    uint32_t count = 0;
    const auto outer = [&](bool afterFields) {
        for (const ColumnNote& c : kOuterColumns)
            if (c.afterFields == afterFields)
                columns[count++] = {c.column, int(std::strlen(c.column)), c.unit, "", nullptr, c.meaning};
    };
    outer(false);
    for (uint32_t position = 1; position < kMetricsSchemaRows; ++position) {
        const VroMetricsSchemaRow& row = kMetricsSchema[position];
        const VroFieldNote& note = noteOf(position);
        const uint32_t shown = readableNameLength(row);
        const char* factor = row.snakeName[shown] == '_' ? row.snakeName + shown + 1 : "";  // "_100": "100"
        columns[count++] = {row.snakeName, int(storedValues ? std::strlen(row.snakeName) : shown), note.unit,
                            storedValues ? factor : "", note.name, note.explanation};
    }
    const VroFieldNote& i10 = noteOf(kI10Position);
    columns[count++] = {kI10Name, int(std::strlen(kI10Name)), i10.unit, "", i10.name, i10.explanation};
    outer(true);

    int nameWidth = 6, unitWidth = 4;
    for (const ListedColumn& c : columns) {
        nameWidth = c.length > nameWidth ? c.length : nameWidth;
        unitWidth = int(std::strlen(c.unit)) > unitWidth ? int(std::strlen(c.unit)) : unitWidth;
    }
    if (storedValues) unitWidth += 6;  // " x1000"
    std::fprintf(out, "%-*s  %-*s  meaning\n", nameWidth, "column", unitWidth, "unit");
    for (const ListedColumn& c : columns) {
        char unit[48];
        std::snprintf(unit, sizeof unit, "%s%s%s", c.unit, *c.scale ? " x" : "", c.scale);
        std::fprintf(out, "%-*.*s  %-*s  %s%s%s\n", nameWidth, c.length, c.column, unitWidth, unit,
                     c.name ? c.name : "", c.name ? ": " : "", c.meaning);
    }
}

uint32_t countWithCitations(const VroPublicationList& list, uint32_t minimum) noexcept {
    uint32_t count = 0;
    if (list.keepsNumbersOnly()) {
        const VroPublicationNumbers* numbers = list.numbers();
        for (uint32_t i = 0; numbers && i < list.numbersCount(); ++i)
            count += numbers[i].Use >= 1 && numbers[i].Cites >= minimum ? 1 : 0;
        return count;
    }
    for (uint32_t i = 0; i < list.count(); ++i) {
        const VroPublication* p = list.at(i);
        if (p && p->Use >= 1 && p->Cites >= minimum) ++count;
    }
    return count;
}
