// HTML page of metrics records: one self-contained HTML5 file for a person.
//
// Contract: a page is writeHtmlHead, then one section per export
// (writeHtmlSection, or writeHtmlFailedSection for an export that could not
// be read), then writeHtmlFoot, all through one text writer that encodes
// UTF-8. The page has no script and no external style sheet, font or image:
// its style sheet and its charts (report/svg_charts.h) are inline, grey
// only, and it prints one export per page.
//
// A section (<section class="export">) holds:
// - a header with the label, the import format and the publication count,
//   and, for an export that carries no citation counts (noCountsHint), a
//   note saying so and where its source keeps them, above the charts;
// - the chart of citations by rank and the chart by publication year;
// - every named field of the metrics record but metricsVersion in a table,
//   grouped (counts, Hirsch family, Egghe, contemporary, individual,
//   age-weighted, rates), each row with a name, a one-line explanation, the
//   field's snake_case schema name and its value as a decimal by the scale
//   in that name ("a_100" 531 is "5.31", "_1000" three places, "_10" one);
//   a mode of all ones is "none". Each value cell carries data-key (the
//   schema name) and data-raw (the stored integer);
// - the author-count histogram (non-empty buckets; 50 means 50 or more);
// - the h-core papers, most cited first: rank, citations, year, authors and
//   title.
// Text from the export (label, format name, titles) is escaped by
// writeMarkupText (report/markup_text.h). Sections carry no element id, so
// they may be written apart (on several threads) and joined in any number;
// the hatching the charts share is defined once, by the head. The
// publication list is the one computeMetrics left (only
// used papers are shown; it is read, not changed). A failed write is kept by
// the text writer for its owner to check at the end; each function returns
// 0, 12 when working room for the ranked papers cannot be allocated, or 22
// for a null writer or record.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"

class XpTextWriter;
class VroPublicationList;
struct VroMetrics;

struct VroHtmlSection {
    const char16_t* label;                  // e.g. the export's file name
    const char* formatName;                 // the import filter's display name
    const VroPublicationList* publications; // after computeMetrics; may be null
    const VroMetrics* metrics;
    // Where the source keeps the citation counts this export lacks (the
    // import format's countHint), or null when it carries counts.
    const char* noCountsHint = nullptr;
};

[[nodiscard]] ResultCode writeHtmlHead(XpTextWriter* writer, const char* title) noexcept;
[[nodiscard]] ResultCode writeHtmlSection(XpTextWriter* writer, const VroHtmlSection& section) noexcept;
// A section saying that the export named label could not be read, and why.
[[nodiscard]] ResultCode writeHtmlFailedSection(XpTextWriter* writer, const char16_t* label,
                                                const char* message) noexcept;
[[nodiscard]] ResultCode writeHtmlFoot(XpTextWriter* writer) noexcept;
