// Import driver: the one entry into publication import.
//
// Contract: importPublications opens the named input (absent, empty or "-"
// means standard input) as text, adopts the encoding named by a byte-order
// mark (code page 1252 without one), reads the first line and offers it to
// the probe table, whose nine entries are asked in their fixed order; the
// first importer that accepts the line reads the rest of the input and
// appends one publication per record to the list, in input order.
// - Outputs: *formatCodeOut and *fieldMaskOut (each optional) are set to 0
//   and filterNameOut is emptied on entry; after an importer ran they hold its
//   four-character code (first character in the lowest byte), its display
//   name and the OR of the field-presence bits of every imported record, also
//   when the importer failed (records read before a failure stay in the list).
// - Result: 0, the open's code ("%s: Cannot open file" logged), the first
//   line's read failure ("%s: Cannot read first line" logged), 774 "Invalid
//   file type" when no probe accepts the first line (nothing logged), or the
//   importer's code ("%s: Cannot import data with filter %s" logged). A failed
//   encoding check is logged ("%s: Cannot check encoding") and never returned.
//   Log lines are at level error and name the input as given (an absent name
//   prints as "(null)").
// - The first eight probes match when one of their signatures is a prefix of
//   the first line, compared without regard to letter case; the line may go
//   on past it. The ninth takes a Scopus CSV header by its columns: split as
//   the CSV importer splits (comma, quotes removed, 64 fields, no trimming),
//   the first title is "Authors" and "Title", "Year" and "Source title" are
//   among the others (whole titles, ASCII case ignored).
// - The first line is read with readFirstLine, so an input with carriage
//   returns but no line feed in its first 65,536 characters is read as old
//   Mac text.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/result_codes.h"

class VroImporter;
class VroPublicationList;
class XpString;
class XpString16;

// A probe creates its importer into *out when firstLine carries one of the
// importer's signatures, and leaves *out null otherwise. It returns 0, or 12
// when the line matched but the importer could not be made. The caller
// deletes the importer.
using VroImporterProbe = ResultCode (*)(const XpString16& firstLine, VroImporter** out);

struct VroProbeEntry {
    const char* importerName;  // the class the probe creates, for diagnostics
    VroImporterProbe probe;
};

// The probes in the order they are asked: the eight exact signatures, then
// the Scopus column probe.
inline constexpr size_t kImportProbeCount = 9;
extern const VroProbeEntry kImportProbes[kImportProbeCount];

// True when signature (ASCII) is a prefix of line, letters compared without
// case: each line unit lower-cased by the locale's mapping, each signature
// byte by ASCII lower-casing.
bool lineStartsWithSignature(const XpString16& line, const char* signature) noexcept;

// Walks the probe table from its first entry and stops at the first probe that
// creates an importer (0, *out set) or fails (12); 774 when none accepts the
// line. *out is null unless the result is 0.
[[nodiscard]] ResultCode findImporterFor(const XpString16& firstLine, VroImporter** out) noexcept;

[[nodiscard]] ResultCode importPublications(const char* inputName, VroPublicationList& list,
                                            uint32_t* formatCodeOut, XpString& filterNameOut,
                                            uint32_t* fieldMaskOut) noexcept;
