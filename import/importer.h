// Importer base: the import format row, the importer that reads one format,
// the field-handler signature, the binding-table entry and the lookup that
// turns a column title or tag into a handler, plus the line-reading step
// every importer uses.
//
// Contract:
// - VroImportFormat is everything known about one export format, declared
//   together as one row of the format table (import/import_formats.h):
//   display name, four-character code (first character in the lowest byte),
//   first-line signatures or a probe of its own, the reader of its records,
//   its binding table and, for delimited text, separator and whether quoted
//   values may span lines.
// - VroImporter reads one format: created by the import driver for the row
//   whose probe accepted the first line, used for one importData call, asked
//   for formatCode and name (the row's), and destroyed. importData runs the
//   row's record reader with the row.
// - VroFieldHandler fills one publication from one value. The value is a
//   modifiable zero-terminated UTF-16 text that the handler may trim or cut
//   in place; the mask is the publication's running field mask, read and
//   updated.
// - VroFieldBinding tables are constant and sorted by key without regard to
//   ASCII letter case (one tagged table is deliberately not; see the format
//   table).
// - findFieldHandler is a plain binary search over count entries: a null or
//   empty key, a null table or a count of 0 gives null; otherwise the whole
//   key is compared with the whole entry key, both sides lower-cased for
//   ASCII letters only, and the handler of an equal entry is returned. An
//   unsorted table therefore misses entries, which callers rely on.
// - readTrimmedLine reads the next line (at most 65,536 characters, ended by a
//   line feed; an unterminated last line is still a line) and removes all
//   trailing white space (codes 9-13 and 32), leading white space kept. It
//   returns 0 when a line was delivered, else the reader's code (end of input
//   included).
// - readFirstLine reads the first line as readTrimmedLine does, but first
//   tells old Mac text: when the first 65,536 characters (or all the input
//   that can be read, if shorter: a character that cannot be decoded ends
//   it) hold no line feed but a carriage return, the reader is switched to
//   carriage-return line ends, the line ends at its first carriage return
//   and the rest of what was read is read again as the following lines.
//   Input with a line feed there is read exactly as before.
#pragma once

#include <cstdint>
#include <span>

#include "foundation/ascii.h"
#include "foundation/result_codes.h"
#include "foundation/strings.h"

class XpTextReader;
class VroPublication;
class VroPublicationList;

using VroFieldHandler = void (*)(VroPublication&, char16_t*, uint32_t&);

struct VroFieldBinding {
    const char* key;
    VroFieldHandler handler;
};

// Longest line readTrimmedLine asks the reader for, in characters.
inline constexpr uint32_t kImportLineLimit = 65536;

// Case-blind (ASCII) comparison of a UTF-16 key with a table key: negative,
// 0 or positive as the key sorts before, equal to or after the entry.
int compareFieldKey(const char16_t* key, const char* entry) noexcept;

// The order findFieldHandler needs of a binding table, for
// isStrictlyAscending (foundation/sorted_tables.h): keys ascend without
// regard to ASCII letter case, with no two equal.
constexpr bool fieldKeyBefore(const VroFieldBinding& a, const VroFieldBinding& b) noexcept {
    return compareAsciiNoCase(a.key, b.key) < 0;
}

[[nodiscard]] VroFieldHandler findFieldHandler(uint32_t count, const char16_t* key,
                                               const VroFieldBinding* table) noexcept;

[[nodiscard]] ResultCode readTrimmedLine(XpTextReader* reader, XpString16& line) noexcept;
[[nodiscard]] ResultCode readFirstLine(XpTextReader* reader, XpString16& line) noexcept;

struct VroImportFormat;
struct VroCsvHeader;
class VroInputStream;

// Reads the records after the first line (already read into line) of one
// format into list; fieldMaskOut (optional) receives the OR of their field
// masks. The format row supplies the binding table and options.
using VroRecordReader = ResultCode (*)(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                       VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
// Reads the records of a format whose readers need the input's bytes from
// the first one (the stream hands out again what the first line took) into
// list; fieldMaskOut (optional) as for VroRecordReader. *readAs receives the
// name of the format table's row whose source the input turned out to be
// (null: format itself), also when the import fails after deciding it.
using VroInputReader = ResultCode (*)(const VroImportFormat& format, VroInputStream& input,
                                      VroPublicationList& list, uint32_t* fieldMaskOut,
                                      const char** readAs) noexcept;
// A format's own test of the first line: *accepted set when the line is a
// header of the format. 0, or 12 when the test itself ran out of memory.
using VroFormatProbe = ResultCode (*)(const XpString16& firstLine, bool* accepted) noexcept;

// Lines an export may carry before its first line: the more a row allows,
// the later in this order.
enum class VroLeadIn : uint8_t {
    kNothing,
    kBlankLines,
    kBlankOrCommentLines,  // also TeX comment lines (first character '%')
};

struct VroImportFormat {
    const char* name;  // display name
    uint32_t code;     // fourCharacterCode of four ASCII characters
    // Prefixes of the first line, compared without regard to case; a format
    // with a probe of its own leaves them empty.
    std::span<const char* const> signatures = {};
    VroFormatProbe probe = nullptr;  // null: the signatures decide
    VroRecordReader read = nullptr;  // null: readInput reads the input
    std::span<const VroFieldBinding> fields = {};  // column titles or tags
    char16_t separator = u',';                // delimited text: between fields
    bool joinsQuotedLines = false;            // delimited text: quoted values span lines
    // Delimited text known by its header's columns (import/csv_layouts.h).
    const VroCsvHeader* header = nullptr;
    // What may come before the line the row knows as its first; such lines
    // are skipped when no row accepts the input's first line.
    VroLeadIn leadIn = VroLeadIn::kNothing;
    // Where the source keeps citation counts, for a report of an export that
    // holds none ("the TC field of the full record").
    const char* countHint = nullptr;
    // Reads the input from its first byte instead of read; a row without
    // probe or signatures is reached only as what such a reader decided.
    VroInputReader readInput = nullptr;
};

class VroImporter {
public:
    explicit VroImporter(const VroImportFormat& format) noexcept : format_(format) {}
    const VroImportFormat& format() const noexcept { return format_; }
    uint32_t formatCode() const noexcept { return format_.code; }
    const char* name() const noexcept { return format_.name; }
    // Reads the rest of the input after line (already read) and appends
    // publications to list; fieldMaskOut (optional) receives the OR of their
    // field masks.
    [[nodiscard]] ResultCode importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                        uint32_t* fieldMaskOut) noexcept {
        // A row that reads the input's bytes has no line reader.
        if (format_.read == nullptr) {
            if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
            return kErrInvalidArgument;
        }
        return format_.read(format_, reader, line, list, fieldMaskOut);
    }

private:
    const VroImportFormat& format_;
};
