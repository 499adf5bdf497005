// Delimited-text layouts known by their header's columns rather than by an
// exact first line: the description of such a layout, the header split into
// its titles, the test of a header against a description, the choice of
// which columns bind, and the record reader of these layouts.
//
// Contract:
// - A VroCsvHeader names the column titles a layout's header must hold. An
//   entry "a|b" stands for a title a or b, in that order of preference.
//   Titles are compared whole and without regard to ASCII letter case,
//   after the header is split as the CSV reader splits a line (quotes
//   dropped, doubled quotes made single) and each title is trimmed.
// - VroCsvTitles splits a copy of a header with one separator; it holds at
//   most as many titles as the header has (no limit of 64).
// - missingColumns gives 0 when the titles satisfy the description: the
//   first title is firstColumn (when one is given), one of the count
//   columns is present, and one title of each required entry. Otherwise it
//   gives a set of kMissing* bits, kMissingRequired << i for required[i].
// - findCsvSeparator tries comma, then semicolon, and gives the first under
//   which the header satisfies the description (0 when neither does): the
//   separator is the header's.
// - isNoticeLine is true for a line that begins with the description's
//   notice, after an optional double quote, letter case ignored; a layout
//   with a notice may have that one line before its header.
// - probeCsvHeader accepts a notice line or a header that satisfies the
//   description; it gives 12 when it cannot copy the line.
// - chooseBoundColumns decides which columns of a satisfying header bind:
//   those whose title the binding table holds, each title at its first
//   place only (64 columns at most, more than any table holds); of the
//   titles of the count entry and of each preferred entry only the most
//   preferred one present. It writes the handler of
//   each column (null: not bound) and returns how many columns it wrote,
//   which is one past the last bound column.
#pragma once

#include <cstdint>
#include <span>

#include "foundation/result_codes.h"
#include "foundation/strings.h"
#include "import/importer.h"

class XpTextReader;
class VroPublicationList;

struct VroCsvHeader {
    // First words of a line that may stand before the header; null: none.
    const char* notice = nullptr;
    // The title the header must begin with; null: any.
    const char* firstColumn = nullptr;
    // Titles the header must hold, each entry "a" or "a|b".
    std::span<const char* const> required = {};
    // The citation count columns in order of preference ("a|b|c"); one is
    // required and only the first present binds.
    const char* counts = nullptr;
    // Entries "a|b" of which only the first present binds (a layout that
    // writes one text under two titles).
    std::span<const char* const> preferred = {};
    // The source writes UTF-8: without a byte-order mark the records after
    // the header are read as UTF-8 rather than in the fallback code page.
    bool utf8WithoutMark = false;
};

inline constexpr uint32_t kMissingFirstColumn = 1u;
inline constexpr uint32_t kMissingCounts = 2u;
inline constexpr uint32_t kMissingRequired = 4u;
// Required entries a description may hold.
inline constexpr uint32_t kMaxRequiredColumns = 28;

// Index of title among the alternatives "a|b|c" (compared as above), or -1
// (also when either is null).
int alternativeIndex(const char16_t* title, const char* alternatives) noexcept;

class VroCsvTitles {
public:
    VroCsvTitles() noexcept = default;
    ~VroCsvTitles() { delete[] titles_; }
    VroCsvTitles(const VroCsvTitles&) = delete;
    VroCsvTitles& operator=(const VroCsvTitles&) = delete;

    // Splits a copy of text[0, length) at separator; 12 without memory.
    [[nodiscard]] ResultCode split(const char16_t* text, uint32_t length, char16_t separator) noexcept;
    uint32_t count() const noexcept { return count_; }
    const char16_t* operator[](uint32_t i) const noexcept { return titles_[i]; }

private:
    XpString16 copy_;
    char16_t** titles_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t count_ = 0;
};

[[nodiscard]] uint32_t missingColumns(const VroCsvTitles& titles, const VroCsvHeader& header) noexcept;
// 0 (neither separator), or the separator; 12 in *rc when memory ran out.
char16_t findCsvSeparator(const char16_t* text, uint32_t length, const VroCsvHeader& header,
                          ResultCode* rc) noexcept;
bool isNoticeLine(const char16_t* line, const VroCsvHeader& header) noexcept;
[[nodiscard]] ResultCode probeCsvHeader(const XpString16& line, const VroCsvHeader& header, bool* accepted) noexcept;
uint32_t chooseBoundColumns(const VroCsvTitles& titles, const VroCsvHeader& header,
                            std::span<const VroFieldBinding> table, VroFieldHandler* handlers) noexcept;

// The record reader of the layouts known by their header's columns (the
// format row's header). As readCsvRecords (import/csv_importer.h), but:
// - a notice line before the header is skipped; a header that then does not
//   satisfy the description, or no header at all, gives 774;
// - the separator is the header's (findCsvSeparator);
// - columns bind as chooseBoundColumns says, beyond the 64th too, and the
//   fields after the last bound column are not split;
// - quoted values always span lines, as a joining row's do;
// - rows holding only separators, quotes and white space are no records;
// - for a source that writes UTF-8, the rows after the header of an input
//   without a byte-order mark are read as UTF-8 (not old Mac text, whose
//   first lines are already decoded).
[[nodiscard]] ResultCode readCsvLayoutRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                              VroPublicationList& list, uint32_t* fieldMaskOut) noexcept;
