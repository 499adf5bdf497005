// Import driver: the one entry into publication import.
//
// Contract: importPublications opens the named input (absent, empty or "-"
// means standard input) as text, adopts the encoding named by a byte-order
// mark (code page 1252 without one), reads the first line and offers it to
// the rows of the format table (import/import_formats.h) in their fixed
// order; the importer of the first row that accepts the line reads the rest
// of the input and appends one publication per record to the list, in input
// order.
// - Outputs: *formatCodeOut and *fieldMaskOut (each optional) are set to 0
//   and filterNameOut is emptied on entry; after an importer ran they hold its
//   four-character code (first character in the lowest byte), its display
//   name and the OR of the field-presence bits of every imported record, also
//   when the importer failed (records read before a failure stay in the list).
// - Result: 0, the open's code ("%s: Cannot open file" logged), the first
//   line's read failure ("%s: Cannot read first line" logged), 774 "Invalid
//   file type" when no row accepts the first line (nothing logged), or the
//   importer's code ("%s: Cannot import data with filter %s" logged). A failed
//   encoding check is logged ("%s: Cannot check encoding") and never returned.
//   Log lines are at level error and name the input as given (an absent name
//   prints as "(null)").
// - A row accepts the first line when one of its signatures is a prefix of
//   it, compared without regard to letter case (the line may go on past
//   it), or, for a row with a probe of its own, when that probe accepts it.
// - When no row accepts the first line and it is blank or a TeX comment line
//   (its first character after white space is '%'), the blank and comment
//   lines after it are skipped and the next line is offered to the rows whose
//   lead-in (VroImportFormat::leadIn) allows every line skipped: blank lines
//   alone to BibTeX, whose importer starts at that line, and JSON, whose
//   reader starts over from the first byte; comment lines to BibTeX alone.
//   When none accepts it, the result is 774 for the first line, which is
//   explained as an empty line when it was blank.
// - An input beginning with the gzip magic bytes is inflated as it is read
//   (import/input_stream.h), whatever its layout inside. When such a stream
//   is cut short or cannot be inflated, the import fails with the stream's
//   code (537 or 522; "%s: Compressed stream cut short" or "... cannot be
//   inflated" logged) whatever the importer made of what came before.
// - A row with a reader of its own (VroImportFormat::readInput) reads the
//   input from its first byte and names the row it turned out to be; the
//   outputs and details then hold that row's code and name.
// - The first line is read with readFirstLine, so an input with carriage
//   returns but no line feed in its first 65,536 characters is read as old
//   Mac text.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/result_codes.h"
#include "foundation/strings.h"
#include "import/importer.h"

class VroPublicationList;

// True when signature (ASCII) is a prefix of line, letters compared without
// case: each line unit lower-cased by the locale's mapping, each signature
// byte by ASCII lower-casing.
bool lineStartsWithSignature(const XpString16& line, const char* signature) noexcept;

// Walks the format table from its first row and stops at the first row that
// accepts the line, creating its importer into *out (0; 12 when it cannot be
// made), or at a probe that fails (12); 774 when none accepts the line. *out
// is null unless the result is 0; the caller deletes the importer.
// Only rows whose lead-in allows the lines skipped before firstLine are asked.
[[nodiscard]] ResultCode findImporterFor(const XpString16& firstLine, VroImporter** out,
                                         VroLeadIn skipped = VroLeadIn::kNothing) noexcept;

[[nodiscard]] ResultCode importPublications(const char* inputName, VroPublicationList& list,
                                            uint32_t* formatCodeOut, XpString& filterNameOut,
                                            uint32_t* fieldMaskOut) noexcept;

// What an import tells beyond the outputs above, for a report that explains
// itself: the format row whose importer ran (null when none did), and, when
// no row accepted the first line (774), that line as it was read.
struct VroImportDetails {
    const VroImportFormat* format = nullptr;
    XpString16 unrecognisedLine;
    bool lineUnrecognised = false;
};

// importPublications, filling *details (optional) as well; the same steps,
// results and log lines.
[[nodiscard]] ResultCode importPublications(const char* inputName, VroPublicationList& list,
                                            uint32_t* formatCodeOut, XpString& filterNameOut,
                                            uint32_t* fieldMaskOut, VroImportDetails* details) noexcept;
