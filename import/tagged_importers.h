// Tagged importers: the four exports that write one field per line behind a tag.
//
// Contract: each importer's importData walks the lines from the first one
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
//   other tag inside an open publication is looked up in the format's table
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

// Binding tables in their stored order.
extern const VroFieldBinding kEndNoteSafTags[14];
extern const VroFieldBinding kEndNoteTaggedTags[15];
extern const VroFieldBinding kIsiTaggedTags[16];
extern const VroFieldBinding kRisTaggedTags[23];

// "EndNote (Show All Fields)", "EndS": "Tag: value" lines, start tag
// "Reference Type"; authors arrive as text and are split at every comma.
class VroImportEndNoteSaf final : public VroImporter {
public:
    uint32_t formatCode() const noexcept override;
    const char* name() const noexcept override;
    [[nodiscard]] ResultCode importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                        uint32_t* fieldMaskOut) noexcept override;
};

// "EndNote (tagged)", "EndT": "%X value" lines, start tag "%0", one "%A"
// author per line. Its table is kept unsorted, so "%@" (ISSN) and "%V"
// (volume) are never found.
class VroImportEndNoteTagged final : public VroImporter {
public:
    uint32_t formatCode() const noexcept override;
    const char* name() const noexcept override;
    [[nodiscard]] ResultCode importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                        uint32_t* fieldMaskOut) noexcept override;
};

// "ISI/WoS (tagged)", "IsiT": "XX value" lines after the "FN" and "VR"
// header, records "PT" to "ER", "EF" ends the input. A line starting with
// white space continues the last tag: its value goes to that tag's handler
// again (one more author, or text appended with one blank).
class VroImportIsiTagged final : public VroImporter {
public:
    VroImportIsiTagged() noexcept;
    uint32_t formatCode() const noexcept override;
    const char* name() const noexcept override;
    [[nodiscard]] ResultCode importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                        uint32_t* fieldMaskOut) noexcept override;

private:
    XpString name_;
};

// "RIS/RefManager", "RisT": "XX  - value" lines, records "TY" to "ER", "EF"
// ends the input; no continuation lines.
class VroImportRisTagged final : public VroImporter {
public:
    uint32_t formatCode() const noexcept override;
    const char* name() const noexcept override;
    [[nodiscard]] ResultCode importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                        uint32_t* fieldMaskOut) noexcept override;
};
