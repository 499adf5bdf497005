// BibTeX importing: the probe of its first line and the record reader.
//
// Contract:
// - isBibTeXEntryLine tells a line that starts an entry: optional white
//   space, '@', one or more ASCII letters, optional white space, then '{' or
//   '('. probeBibTeX accepts such a line, or a line that is "Scopus" alone
//   (with white space around it), the first line of Scopus' export.
// - readBibTeXRecords reads the whole input from the first line on as BibTeX:
//   text outside entries is a comment; an entry starts at any '@' there,
//   also right after the previous entry's closing brace. "@comment",
//   "@preamble" (their braced body skipped) and "@string" (its definitions
//   kept for later values) are no records; every other entry is one, appended
//   with the next rank, Use 1, running mask 0x20 and its entry type, lower-
//   cased, as its type. The key is skipped. Each field "name = value" goes to
//   the handler its name has in the format row's table (names compared
//   without regard to case); a value is made of parts joined by '#': braced
//   text (nested braces balanced), quoted text, a number, or the name of an
//   "@string" (its text; an unknown name stands for itself). The joined
//   value is turned into plain text (import/tex_text.h): as names for the
//   name-list handler, verbatim for DOIs and links, as prose otherwise; a
//   page range's dashes become hyphens. A value reaches its handler when
//   its field ends (',' or the entry's end), also when it is empty.
// - An entry left open ends where a line starts another entry, or at the end
//   of the input; the fields read of it count, the one being read as far as
//   it got. A value keeps at most its first 1,048,576 units, an "@string"
//   at most 65,536, and at most 256 "@string" names are kept.
// - Closing a record turns its authors into the author list and derives its
//   age; the field-mask output (optional) is cleared first and receives the
//   OR of every record's mask. 0 at the end of the input; 12 when the list
//   cannot take another record (the records before it stay).
#pragma once

#include <cstdint>

#include "import/importer.h"

bool isBibTeXEntryLine(const char16_t* text, uint32_t length) noexcept;

[[nodiscard]] ResultCode probeBibTeX(const XpString16& line, bool* accepted) noexcept;

[[nodiscard]] ResultCode readBibTeXRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                           VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
