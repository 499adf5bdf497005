// Tagged importing: the record readers of the exports that write one field
// per line behind a tag, and the tag splitting they share.
//
// Contract: each record reader walks the lines from the first one
// (already read by the driver) to the end of the input or its end-of-file tag,
// opens a publication at the format's start tag and closes it at the next
// start tag, at an end tag or at the end. Callers may rely on:
// - A null reader or an empty first line gives 22 and imports nothing; the
//   field-mask output (optional) is cleared first and receives the OR of the
//   field-presence bits of every record.
// - Opening a publication appends it to the list with the next 1-based rank,
//   Use 1 and the running mask 0x20, then sets its type from the start tag's
//   value. Closing one turns its authors into both forms (text and list) and
//   derives its age.
// - Start, end and end-of-file tags match exactly, with letter case. Every
//   other tag inside an open publication is looked up in the format row's table
//   without regard to case (so a lower-case start tag such as "ty" reaches the
//   type handler); unknown tags, tags outside a publication and values that do
//   not parse are ignored without a message.
// - ISI tagged needs "FN" then "VR" as the tags of its first two lines (774
//   otherwise; a failed read of the second line is returned as it is).
// - The end of the input is the normal end (0); records read before a failure
//   stay in the list. 12 when the list cannot take another publication.
#pragma once

#include <cstdint>

#include "import/importer.h"

// Tag and value splits, in place on a zero-terminated line: the tag is the
// line's start, cut by a zero written over the separator; the returned value
// starts after the separator with leading white space skipped. Without a
// separator the whole line is the tag and the value is empty (the returned
// pointer is the line's terminator).
// Split at the first colon; the tag keeps inner blanks ("Reference Type").
char16_t* splitTagAtColon(char16_t* line) noexcept;
// Split at the first white-space character.
char16_t* splitTagAtWhiteSpace(char16_t* line) noexcept;
// Split at the first "  -" (two blanks and a hyphen); the three go.
char16_t* splitTagAtDash(char16_t* line) noexcept;

// Exact, case-sensitive comparison of a zero-terminated tag with ASCII text.
bool tagIs(const char16_t* tag, const char* ascii) noexcept;

// The walks, one per layout of lines; the format row gives the binding table.
// "Tag: value" lines, start tag "Reference Type"; authors arrive as text and
// are split at every comma.
[[nodiscard]] ResultCode readEndNoteShowAllFields(const VroImportFormat& format, XpTextReader* reader,
                                                  XpString16& line, VroPublicationList& list,
                                                  uint32_t* fieldMaskOut) noexcept;
// "%X value" lines, start tag "%0", one "%A" author per line.
[[nodiscard]] ResultCode readEndNoteTagged(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                           VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
// "XX value" lines after the "FN" and "VR" header, records "PT" to "ER", "EF"
// ends the input. A line starting with white space continues the last tag:
// its value goes to that tag's handler again (one more author, or text
// appended with one blank).
[[nodiscard]] ResultCode readIsiTagged(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                       VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
// "XX  - value" lines, records "TY" to "ER", "EF" ends the input; no
// continuation lines.
[[nodiscard]] ResultCode readRisTagged(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                       VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
