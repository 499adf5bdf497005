// Delimited-text importing: the in-place line splitter and readCsvRecords, the
// record reader of every delimited-text format (its dialect is the format
// row: binding table of column titles and separator).
//
// Contract:
// - splitCsvLine rewrites a zero-terminated line in place into at most
//   maxFields zero-terminated fields and returns how many it produced (0 only
//   for a null array, a null text or maxFields 0). A double quote opens a
//   quoted stretch in which separators are plain text and two quotes stand
//   for one; the enclosing quotes are dropped and text after a closing quote
//   joins the same field; an unclosed stretch runs to the end. An empty line
//   is one empty field; nothing is trimmed. Once maxFields fields exist, the
//   last one ends at its separator and the rest of the line is dropped.
// - readCsvRecords binds the header's first 64 columns once
//   (unknown titles to ignoreField, titles compared without regard to ASCII
//   case), then makes one publication per following line, blank lines
//   included: Rank = its 1-based line number after the header, Use = 1,
//   running mask 0x20, each field given to its column's handler from left to
//   right, the mask OR'd into *fieldMaskOut, then splitAuthors and deriveAge.
//   A null reader or an empty header gives 22; the end of the input (or any
//   read failure after the header) ends the import with 0.
// - A format row that joins quoted lines reads values with line feeds in them: a
//   line (the header too) that ends inside an open quote, i.e. holds an odd
//   number of double quotes, goes on with the next line, joined by one line
//   feed, until the quote closes, the input ends or the row would pass
//   65,536 characters; there the row is cut and the rest is read as the next
//   line. Running out of memory while joining ends the import with 12.
#pragma once

#include <cstdint>

#include "foundation/strings.h"
#include "import/importer.h"

// Columns an importer considers; the rest of a line is dropped.
inline constexpr uint32_t kMaxCsvFields = 64;

uint32_t splitCsvLine(char16_t* text, char16_t separator, char16_t** fields, uint32_t maxFields) noexcept;
// splitCsvLine over text whose zero terminator stands at end, fields not
// cleared first.
uint32_t splitCsvText(char16_t* text, const char16_t* end, char16_t separator, char16_t** fields,
                      uint32_t maxFields) noexcept;

// The rows of one import after its first line: trimmed lines, or, with
// joining, lines continued while a quote is open as a joining format row's
// are (see above). A read failure ends a row as it stands.
class VroCsvRows {
public:
    VroCsvRows(XpTextReader* reader, bool joinQuoted) noexcept : reader_(reader), joinQuoted_(joinQuoted) {}
    // 0 when a row was delivered; otherwise the import ends.
    [[nodiscard]] ResultCode next(XpString16& row) noexcept;
    // Joins the following lines to row while it holds an open quote.
    void continueRow(XpString16& row) noexcept;
    // 12 when joining ran out of memory, else 0.
    ResultCode failure() const noexcept { return failure_; }

private:
    ResultCode take(XpString16& line) noexcept;
    void noteFailure(ResultCode rc) noexcept;

    XpTextReader* reader_;
    bool joinQuoted_;
    bool hasRest_ = false;
    ResultCode failure_ = kResultOk;
    XpString16 rest_;  // what a cut row left over: the next line
    XpString16 more_;
};

// The record of one row of split fields: appended to list with the next
// rank (records counts the rows) and Use 1, its running mask starting at
// 0x20 (the rank is known: the line number or a rank column); each field
// goes to its column's handler, when it has one, from left to right; the
// mask is OR'd into *fieldMaskOut (optional); then splitAuthors and
// deriveAge. 12 when the list cannot take it.
[[nodiscard]] ResultCode addCsvRecord(VroPublicationList& list, uint32_t& records, char16_t* const* fields,
                                      const VroFieldHandler* handlers, uint32_t count,
                                      uint32_t* fieldMaskOut) noexcept;

[[nodiscard]] ResultCode readCsvRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                        VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
