// Report rows: how varoreport writes each input, one table row per format.
//
// Contract: kReportFormats lists every output format by its -f name. A format
// writes, to an open text writer and each in the frame of its row (below),
// an optional head before the first input,
// one block per input that imported (given the input's label, the import
// filter's display name, the publication list as the calculation left it,
// the metrics record, and, for an export that carries no citation counts,
// where its source keeps them), one block per input that failed (label and
// message),
// and an optional tail after the last input. A failed write is kept by the
// text writer, which the caller checks once at the end; a writer returns only
// a failure of its own (12 when it cannot get memory), else 0. Adding a
// format means adding a row here and its writers.
//
// - csv: a header line, then one line per input: file, format, publications
//   (imported, Use 0 included), the 45 record fields in record order, i10
//   (publications taking part with at least 10 citations), authors_0..
//   authors_50, error. A scaled field is a decimal with the places
//   its scale gives, named by its schema name without the scale suffix
//   ("a" 5.31 for a_100 531; report/field_notes.h); a mode of "none" is
//   empty. A frame's storedValues gives every field as the integer stored,
//   named by its schema name. A failed input has its file and error, all
//   else empty.
// - json: one object per input and line, keys as in csv, the histogram as the
//   array "authors", "none" modes as null; a failed input has only "file" and
//   "error".
// - papers: a header line, then one line per publication, in the list's
//   order: file, rank, year, cites, authors, age, cites_per_year_100,
//   cites_per_author, in_h_core, use, title (always quoted). A failed input
//   gives one line with its file and every other column empty.
// - html: one self-contained page for a person (report/html_page.h): a head
//   with the style sheet, one section per input with its charts, metric
//   table and h-core list (and, above the charts, the note that the export
//   carries no citation counts), a section naming a failed input and its
//   message, and the closing tail. The other formats leave the note out.
// Text columns are quoted (RFC 4180) only when they hold a comma, a quote, CR
// or LF; the title always. Labels are UTF-16: a file name's invalid bytes
// arrive here already replaced.
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"

class VroPublicationList;
class XpTextWriter;
struct VroMetrics;

// Where a report's row stands: a plain run's in an empty frame (but for
// storedValues); a collated run's (varoreport --merge, --by): grouped rows
// begin with the columns group_key and group_name; merged rows end with
// exports, publications_read and duplicates_merged (after error), and the
// papers of a merged body with found_in, the exports each work was found in
// and each one's count ("a.csv:12;b.ris:10").
inline constexpr uint32_t kPublicationsFromList = 0xFFFFFFFFu;

struct VroRowFrame {
    bool grouped = false;
    bool merged = false;
    // csv and json: every field the integer stored, under its schema name
    // (varoreport --values stored).
    bool storedValues = false;
    const char16_t* groupKey = nullptr;
    const char16_t* groupName = nullptr;
    uint32_t exports = 0;
    uint32_t publicationsRead = 0;
    uint32_t duplicatesMerged = 0;
    // csv and json of a group whose metrics were kept rather than its
    // publications: how many it has, and how many of them have 10 citations
    // or more (the list given is then not read).
    uint32_t publications = kPublicationsFromList;
    uint32_t i10 = kPublicationsFromList;
    // papers of a merged body: found_in of the publication whose Rank is
    // r at foundIn[r - 1] (foundInCount of them).
    const char16_t* const* foundIn = nullptr;
    uint32_t foundInCount = 0;
};

struct VroReportFormat {
    const char* name;  // as given to -f
    ResultCode (*writeHead)(const VroRowFrame& frame, XpTextWriter* out) noexcept;  // may be null
    // noCountsHint: null, or where the source keeps the counts this export
    // lacks (the format row's countHint).
    ResultCode (*writeInput)(const VroRowFrame& frame, const char16_t* label, const char* formatName,
                             const VroPublicationList& list, const VroMetrics& metrics, const char* noCountsHint,
                             XpTextWriter* out) noexcept;
    ResultCode (*writeFailure)(const VroRowFrame& frame, const char16_t* label, const char* message,
                               XpTextWriter* out) noexcept;
    ResultCode (*writeTail)(XpTextWriter* out) noexcept;  // may be null
    // Whether the rows read the publications themselves (then of their texts
    // just the title is kept); otherwise they read only how many there are,
    // and the import keeps numbers only.
    bool readsPapers;
    // Whether a collated run's groups and merged works are pages of the
    // format's own (html: report/html_page.h) rather than framed rows.
    bool collatedPages;
};

inline constexpr uint32_t kReportFormatCount = 4;
extern const VroReportFormat kReportFormats[kReportFormatCount];

// The format named exactly name, or null.
const VroReportFormat* findReportFormat(const char* name) noexcept;
