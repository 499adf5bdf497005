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

#include "import/importer.h"

// Columns an importer considers; the rest of a line is dropped.
inline constexpr uint32_t kMaxCsvFields = 64;

uint32_t splitCsvLine(char16_t* text, char16_t separator, char16_t** fields, uint32_t maxFields) noexcept;

// The record reader of the layouts known by their header's columns (the
// format row's header, import/csv_header.h). As readCsvRecords, but:
// - a notice line before the header is skipped; a header that then does not
//   hold the layout's columns, or no header at all, gives 774;
// - the separator is the header's (comma, else semicolon);
// - every column binds as chooseBoundColumns says, beyond the 64th too;
// - quoted values always span lines as a joining row's do;
// - rows holding only separators, quotes and white space are no records;
// - a layout whose source writes UTF-8 reads the rows after the header as
//   UTF-8 when the input has no byte-order mark.
[[nodiscard]] ResultCode readCsvLayoutRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                              VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;

[[nodiscard]] ResultCode readCsvRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                        VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
