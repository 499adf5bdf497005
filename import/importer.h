// Importer base: the abstract importer, the field-handler signature, the
// binding-table entry and the lookup that turns a column title or tag into a
// handler, plus the line-reading step every importer uses.
//
// Contract:
// - VroImporter is abstract; an importer is created by its probe, used for
//   one importData call, asked for formatCode and name, and destroyed.
//   formatCode packs four ASCII characters, the first in the lowest byte.
// - VroFieldHandler fills one publication from one value. The value is a
//   modifiable zero-terminated UTF-16 text that the handler may trim or cut
//   in place; the mask is the publication's running field mask, read and
//   updated. The returned flag carries no meaning for callers.
// - VroFieldBinding tables are constant and sorted by key without regard to
//   ASCII letter case (one tagged table is deliberately not; see the tagged
//   importers).
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
#pragma once

#include <cstdint>

#include "foundation/result_codes.h"
#include "foundation/strings.h"

class XpTextReader;
class VroPublication;
class VroPublicationList;

using VroFieldHandler = bool (*)(VroPublication&, char16_t*, uint32_t&);

struct VroFieldBinding {
    const char* key;
    VroFieldHandler handler;
};

// Longest line readTrimmedLine asks the reader for, in characters.
inline constexpr uint32_t kImportLineLimit = 65536;

// White space of import: tab, line feed, vertical tab, form feed, carriage
// return and blank; nothing above 127, whatever the locale.
constexpr bool isImportWhiteSpace(char16_t c) noexcept { return c == 32 || (c >= 9 && c <= 13); }

// Lower-casing of lookups and case-blind matches: ASCII letters only.
constexpr char16_t importLower(char16_t c) noexcept { return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c; }

// Packs four ASCII characters into a format code, first character lowest.
constexpr uint32_t makeFormatCode(const char (&code)[5]) noexcept {
    return uint32_t(uint8_t(code[0])) | (uint32_t(uint8_t(code[1])) << 8) | (uint32_t(uint8_t(code[2])) << 16) |
           (uint32_t(uint8_t(code[3])) << 24);
}

// Case-blind (ASCII) comparison of a UTF-16 key with a table key: negative,
// 0 or positive as the key sorts before, equal to or after the entry.
int compareFieldKey(const char16_t* key, const char* entry) noexcept;

// True when entries [0, count) are in strictly ascending case-blind order.
// Usable in static_assert over constexpr tables.
constexpr bool fieldTableIsSorted(const VroFieldBinding* table, uint32_t count) noexcept {
    for (uint32_t i = 1; i < count; ++i) {
        const char* a = table[i - 1].key;
        const char* b = table[i].key;
        for (;;) {
            const char ca = (*a >= 'A' && *a <= 'Z') ? char(*a + 32) : *a;
            const char cb = (*b >= 'A' && *b <= 'Z') ? char(*b + 32) : *b;
            if (ca != cb) {
                if (static_cast<unsigned char>(ca) > static_cast<unsigned char>(cb)) return false;
                break;
            }
            if (ca == 0) return false;  // duplicates break the search too
            ++a;
            ++b;
        }
    }
    return true;
}

[[nodiscard]] VroFieldHandler findFieldHandler(uint32_t count, const char16_t* key,
                                               const VroFieldBinding* table) noexcept;

[[nodiscard]] ResultCode readTrimmedLine(XpTextReader* reader, XpString16& line) noexcept;

class VroImporter {
public:
    virtual ~VroImporter();
    virtual uint32_t formatCode() const noexcept = 0;
    virtual const char* name() const noexcept = 0;
    // Reads the rest of the input after line (already read) and appends
    // publications to list; fieldMaskOut (optional) receives the OR of their
    // field masks.
    [[nodiscard]] virtual ResultCode importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                                uint32_t* fieldMaskOut) noexcept = 0;
};
