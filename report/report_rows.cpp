// Report rows: the csv, json, papers and html writers of varoreport.
#include "report/report_rows.h"

#include <cstddef>
#include <cstring>

#include "foundation/strings.h"
#include "foundation/text_writer.h"
#include "report/field_notes.h"
#include "report/html_page.h"
#include "model/metrics_record.h"
#include "model/publication.h"

namespace {

// Digits of 32-bit values, written forward into a caller's buffer; each
// returns the position after the last character.
char* putUnsigned(char* p, uint32_t value) noexcept { return putDecimal(p, value, 0); }

char* putText(char* p, const char* text, size_t length) noexcept {
    std::memcpy(p, text, length);
    return p + length;
}

char* putText(char* p, const char* text) noexcept { return putText(p, text, std::strlen(text)); }

char* putSigned(char* p, int32_t value) noexcept {
    if (value >= 0) return putUnsigned(p, uint32_t(value));
    *p++ = '-';
    return putUnsigned(p, 0u - uint32_t(value));
}

// A named field's value as its schema types it, a scaled one as a decimal
// unless the stored integers are wanted; false for a mode of "none".
bool putField(char*& p, const VroMetrics& m, const VroMetricsSchemaRow& row, const VroSchemaColumn& column,
              bool stored) noexcept {
    const uint32_t word = metricsWord(m, row.position);
    if (isNoneMode(row, word)) return false;
    const uint32_t decimals = stored ? 0 : column.decimals;
    p = row.type() == kSchemaTypeInt32 ? putSigned(p, int32_t(word))
        : decimals != 0                ? putDecimal(p, word, decimals)
                                       : putUnsigned(p, word);
    return true;
}

// A field's column name: the schema name, or without its scale suffix when
// the values are decimals.
uint32_t columnNameLength(const VroSchemaColumn& column, bool stored) noexcept {
    return stored ? column.storedLength : column.readableLength;
}

// Room for every number of one input: 96 words, the count and i10, each at most
// 11 characters plus a separator, with the keys of the json form, and the
// pool counts of a merged row with theirs.
constexpr size_t kNumbersRoom = 98 * 12 + 46 * 40 + 64 + 3 * 40;

bool needsCsvQuotes(const char16_t* text) noexcept {
    for (; *text; ++text)
        if (*text == u',' || *text == u'"' || *text == u'\r' || *text == u'\n') return true;
    return false;
}

// One CSV text column: quoted with inner quotes doubled when it holds a
// comma, a quote or a line end (or always, for titles).
void writeCsvText(XpTextWriter* out, const char16_t* text, bool alwaysQuote) noexcept {
    if (!text) text = u"";
    if (!alwaysQuote && !needsCsvQuotes(text)) {
        out->writeText16(text);
        return;
    }
    out->writeText("\"", 1);
    const char16_t* run = text;
    const char16_t* p = text;
    for (; *p; ++p) {
        if (*p != u'"') continue;
        // The quote ends this run and starts the next: written twice.
        out->writeText16(run, uint32_t(p - run + 1));
        run = p;
    }
    out->writeText16(run, uint32_t(p - run));
    out->writeText("\"", 1);
}

void writeCsvNarrow(XpTextWriter* out, const char* text) noexcept {
    // ASCII that needs no quotes is written as it is (a format's name, on
    // every row of a grouped report).
    size_t n = 0;
    if (text != nullptr) {
        for (; text[n] != 0; ++n) {
            const unsigned char c = static_cast<unsigned char>(text[n]);
            if (c >= 0x80 || c == ',' || c == '"' || c == '\r' || c == '\n') break;
        }
        if (text[n] == 0) {
            out->writeText(text, uint32_t(n));
            return;
        }
    }
    XpString16 wide;
    (void)wide.assign(text ? text : "");  // invalid bytes become U+FFFD
    writeCsvText(out, wide.data(), false);
}

void writeJsonNarrow(XpTextWriter* out, const char* text) noexcept {
    XpString16 wide;
    (void)wide.assign(text ? text : "");
    out->writeQuoted(wide.data());
}

// --- csv ---

ResultCode csvHead(const VroRowFrame& frame, XpTextWriter* out) noexcept {
    if (frame.grouped) out->writeText("group_key,group_name,");
    out->writeText("file,format,publications");
    const VroSchemaColumn* const columns = schemaColumns();
    for (uint32_t i = 0; i < kMetricsSchemaRows; ++i) {
        out->writeText(",", 1);
        out->writeText(kMetricsSchema[i].snakeName, columnNameLength(columns[i], frame.storedValues));
    }
    out->writeText(",", 1);
    out->writeText(kI10Name);
    for (uint32_t b = 0; b < kAuthorHistogramSize; ++b) writerPrintf(out, ",authors_%u", b);
    out->writeText(frame.merged ? ",error,exports,publications_read,duplicates_merged\n" : ",error\n");
    return kResultOk;
}

// The columns a frame puts before a row.
void csvGroupColumns(const VroRowFrame& frame, XpTextWriter* out) noexcept {
    if (!frame.grouped) return;
    writeCsvText(out, frame.groupKey, false);
    out->writeText(",", 1);
    writeCsvText(out, frame.groupName, false);
    out->writeText(",", 1);
}

// The pool counts a merged row ends with, each after a comma.
char* putPoolCounts(char* p, const VroRowFrame& frame) noexcept {
    *p++ = ',';
    p = putUnsigned(p, frame.exports);
    *p++ = ',';
    p = putUnsigned(p, frame.publicationsRead);
    *p++ = ',';
    return putUnsigned(p, frame.duplicatesMerged);
}

uint32_t publicationsOf(const VroRowFrame& frame, const VroPublicationList& list) noexcept {
    return frame.publications != kPublicationsFromList ? frame.publications : list.count();
}

uint32_t i10Of(const VroRowFrame& frame, const VroPublicationList& list) noexcept {
    return frame.i10 != kPublicationsFromList ? frame.i10 : countWithCitations(list, 10);
}

ResultCode csvInput(const VroRowFrame& frame, const char16_t* label, const char* formatName,
                    const VroPublicationList& list, const VroMetrics& m, const char*, XpTextWriter* out) noexcept {
    csvGroupColumns(frame, out);
    writeCsvText(out, label, false);
    out->writeText(",", 1);
    writeCsvNarrow(out, formatName);
    char numbers[kNumbersRoom];
    char* p = numbers;
    *p++ = ',';
    p = putUnsigned(p, publicationsOf(frame, list));
    const VroSchemaColumn* const columns = schemaColumns();
    for (uint32_t i = 0; i < kMetricsSchemaRows; ++i) {
        *p++ = ',';
        (void)putField(p, m, kMetricsSchema[i], columns[i], frame.storedValues);
    }
    *p++ = ',';
    p = putUnsigned(p, i10Of(frame, list));
    for (uint32_t b = 0; b < kAuthorHistogramSize; ++b) {
        *p++ = ',';
        p = putUnsigned(p, m.authorHistogram[b]);
    }
    *p++ = ',';  // no error
    if (frame.merged) p = putPoolCounts(p, frame);
    *p++ = '\n';
    out->writeText(numbers, uint32_t(p - numbers));
    return kResultOk;
}

ResultCode csvFailure(const VroRowFrame& frame, const char16_t* label, const char* message,
                      XpTextWriter* out) noexcept {
    csvGroupColumns(frame, out);
    writeCsvText(out, label, false);
    // format, publications, the named fields and the histogram stay empty.
    char commas[2 + kMetricsSchemaRows + 1 + kAuthorHistogramSize + 1];
    std::memset(commas, ',', sizeof commas);
    out->writeText(commas, sizeof commas);
    writeCsvNarrow(out, message);
    out->writeText(frame.merged ? ",,,\n" : "\n");
    return kResultOk;
}

// --- json ---

void jsonGroupKeys(const VroRowFrame& frame, XpTextWriter* out) noexcept {
    if (!frame.grouped) return;
    out->writeText("\"group_key\":");
    out->writeQuoted(frame.groupKey ? frame.groupKey : u"");
    out->writeText(",\"group_name\":");
    out->writeQuoted(frame.groupName ? frame.groupName : u"");
    out->writeText(",", 1);
}

ResultCode jsonInput(const VroRowFrame& frame, const char16_t* label, const char* formatName,
                     const VroPublicationList& list, const VroMetrics& m, const char*, XpTextWriter* out) noexcept {
    out->writeText("{", 1);
    jsonGroupKeys(frame, out);
    out->writeText("\"file\":");
    out->writeQuoted(label ? label : u"");
    out->writeText(",\"format\":");
    writeJsonNarrow(out, formatName);
    char numbers[kNumbersRoom];
    char* p = putUnsigned(putText(numbers, ",\"publications\":"), publicationsOf(frame, list));
    const VroSchemaColumn* const columns = schemaColumns();
    for (uint32_t i = 0; i < kMetricsSchemaRows; ++i) {
        // Schema names are plain ASCII identifiers: no escaping needed.
        const VroMetricsSchemaRow& row = kMetricsSchema[i];
        *p++ = ',';
        *p++ = '"';
        p = putText(p, row.snakeName, columnNameLength(columns[i], frame.storedValues));
        *p++ = '"';
        *p++ = ':';
        if (!putField(p, m, row, columns[i], frame.storedValues)) p = putText(p, "null");
    }
    p = putUnsigned(putText(p, ",\"i10\":"), i10Of(frame, list));
    p = putText(p, ",\"authors\":[");
    for (uint32_t b = 0; b < kAuthorHistogramSize; ++b) {
        if (b != 0) *p++ = ',';
        p = putUnsigned(p, m.authorHistogram[b]);
    }
    *p++ = ']';
    if (frame.merged) {
        p = putUnsigned(putText(p, ",\"exports\":"), frame.exports);
        p = putUnsigned(putText(p, ",\"publications_read\":"), frame.publicationsRead);
        p = putUnsigned(putText(p, ",\"duplicates_merged\":"), frame.duplicatesMerged);
    }
    *p++ = '}';
    *p++ = '\n';
    out->writeText(numbers, uint32_t(p - numbers));
    return kResultOk;
}

ResultCode jsonFailure(const VroRowFrame& frame, const char16_t* label, const char* message,
                       XpTextWriter* out) noexcept {
    out->writeText("{", 1);
    jsonGroupKeys(frame, out);
    out->writeText("\"file\":");
    out->writeQuoted(label ? label : u"");
    out->writeText(",\"error\":");
    writeJsonNarrow(out, message);
    out->writeText("}\n");
    return kResultOk;
}

// --- papers ---

ResultCode papersHead(const VroRowFrame& frame, XpTextWriter* out) noexcept {
    if (frame.grouped) out->writeText("group_key,group_name,");
    out->writeText("file,rank,year,cites,authors,age,cites_per_year_100,cites_per_author,in_h_core,use,title");
    out->writeText(frame.merged ? ",found_in\n" : "\n");
    return kResultOk;
}

ResultCode papersInput(const VroRowFrame& frame, const char16_t* label, const char*, const VroPublicationList& list,
                       const VroMetrics&, const char*, XpTextWriter* out) noexcept {
    for (uint32_t i = 0; i < list.count() && out->failure() == kResultOk; ++i) {
        const VroPublication* pub = list.at(i);
        if (!pub) continue;
        csvGroupColumns(frame, out);
        writeCsvText(out, label, false);
        char numbers[9 * 12 + 4];
        char* p = numbers;
        *p++ = ',';
        p = putSigned(p, pub->Rank);
        *p++ = ',';
        p = putSigned(p, pub->Year);
        *p++ = ',';
        p = putUnsigned(p, pub->Cites);
        *p++ = ',';
        p = putUnsigned(p, pub->authorCount);
        *p++ = ',';
        p = putSigned(p, pub->age);
        *p++ = ',';
        p = putUnsigned(p, pub->citesPerYear100);
        *p++ = ',';
        p = putUnsigned(p, pub->citesPerAuthor);
        *p++ = ',';
        *p++ = (pub->status & kStatusInHCore) ? '1' : '0';
        *p++ = ',';
        p = putSigned(p, pub->Use);
        *p++ = ',';
        out->writeText(numbers, uint32_t(p - numbers));
        writeCsvText(out, pub->Title.data(), true);
        if (frame.merged) {
            out->writeText(",", 1);
            const uint32_t rank = uint32_t(pub->Rank);
            const bool known = rank >= 1 && rank <= frame.foundInCount && frame.foundIn != nullptr;
            writeCsvText(out, known ? frame.foundIn[rank - 1] : u"", false);
        }
        out->writeText("\n", 1);
    }
    return kResultOk;
}

ResultCode papersFailure(const VroRowFrame& frame, const char16_t* label, const char*, XpTextWriter* out) noexcept {
    csvGroupColumns(frame, out);
    writeCsvText(out, label, false);
    out->writeText(frame.merged ? ",,,,,,,,,,,\n" : ",,,,,,,,,,\n");
    return kResultOk;
}

// --- html ---

ResultCode htmlHead(const VroRowFrame&, XpTextWriter* out) noexcept { return writeHtmlHead(out, "Citation metrics"); }

ResultCode htmlInput(const VroRowFrame&, const char16_t* label, const char* formatName, const VroPublicationList& list,
                     const VroMetrics& metrics, const char* noCountsHint, XpTextWriter* out) noexcept {
    return writeHtmlSection(out, VroHtmlSection{label, formatName, &list, &metrics, noCountsHint});
}

ResultCode htmlFailure(const VroRowFrame&, const char16_t* label, const char* message, XpTextWriter* out) noexcept {
    return writeHtmlFailedSection(out, label, message);
}

ResultCode htmlTail(XpTextWriter* out) noexcept { return writeHtmlFoot(out); }

}  // namespace

const VroReportFormat kReportFormats[kReportFormatCount] = {
    {"csv", csvHead, csvInput, csvFailure, nullptr, false, false},
    {"json", nullptr, jsonInput, jsonFailure, nullptr, false, false},
    {"papers", papersHead, papersInput, papersFailure, nullptr, true, false},
    {"html", htmlHead, htmlInput, htmlFailure, htmlTail, true, true},
};

const VroReportFormat* findReportFormat(const char* name) noexcept {
    if (!name) return nullptr;
    for (const VroReportFormat& format : kReportFormats)
        if (std::strcmp(format.name, name) == 0) return &format;
    return nullptr;
}
