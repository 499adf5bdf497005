// The explanation of an input that no import format accepts, from its first
// line: what the line looks like and, when a layout known by its header's
// columns is close, what that layout needs and the header lacks.
//
// Contract: explainUnrecognisedLine replaces out with UTF-8 text saying
// - what the line looks like, the first that applies:
//   - "binary data", named more closely by its first bytes when they are
//     those of a ZIP archive (such as an .xlsx workbook), an older Excel
//     workbook, gzip data, or UTF-16 text without a byte-order mark, when
//     the line holds a control character other than tab;
//   - "an empty first line";
//   - "JSON holding no works of OpenAlex (...)" for a line beginning with
//     '{' or '[' (after white space), which the JSON reader found no
//     source's works in;
//   - "tagged text starting "..."" for a line that begins with a tag: one
//     to four capitals and digits before "-" ("TY  -", "PMID-"), two before
//     a blank or the end ("PT J", "FN"), or '%' and one character ("%0 ");
//     MEDLINE's "PMID-" adds that those records carry no citation counts;
//   - "CSV with N columns: a, b, c, ..." when the line holds commas,
//     semicolons or tabs (the most frequent one separates; "semicolon-" or
//     "tab-separated text" then), the first four titles shown;
//   - otherwise "text starting "..."";
// - then, after "; ", for the first layout of the format table (in its
//   order, and the Scopus column probe's) whose requirements the header
//   meets all but one of, what it lacks: "a Lens CSV without a count
//   column: export it with 'Citing Works Count'", "a Lens CSV needs Lens ID
//   as its first column; this header starts with Title", or "a Scopus CSV
//   needs Authors first, Title, Year and Source title; this header lacks
//   Source title". A layout with a single requirement is never close.
// Texts quoted from the line are cut at 40 characters. Returns 0, or 12
// when memory runs out (out then holds what was written).
#pragma once

#include "foundation/result_codes.h"
#include "foundation/strings.h"

[[nodiscard]] ResultCode explainUnrecognisedLine(const XpString16& line, XpString& out) noexcept;
