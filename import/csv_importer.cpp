#include "import/csv_importer.h"

#include <cstring>
#include <string>

#include "foundation/text_reader.h"
#include "foundation/unit_scan.h"
#include "import/field_handlers.h"
#include "model/publication.h"

namespace {

// Quotes among the first length units of text, whose zero terminator stands
// at end (at or past text + length).
uint32_t countQuotes(const char16_t* text, uint32_t length, const char16_t* end) noexcept {
    uint32_t quotes = 0;
    const char16_t* const stop = text + length;
    for (const char16_t* p = findUnitOrZero(text, end, u'"', u'"'); p < stop; p = findUnitOrZero(p + 1, end, u'"', u'"'))
        quotes += *p == u'"';
    return quotes;
}

}  // namespace

ResultCode VroCsvRows::next(XpString16& row) noexcept {
    const ResultCode rc = take(row);
    if (rc != kResultOk || !joinQuoted_) return rc;
    continueRow(row);
    return failure_;
}

// The splitter opens a quoted stretch at any quote, so an odd count of
// quotes is exactly an open one.
void VroCsvRows::continueRow(XpString16& row) noexcept {
    uint32_t quotes = countQuotes(row.data(), row.length(), row.end());
    while (quotes % 2 == 1 && row.length() < kImportLineLimit) {
        if (take(more_) != kResultOk) break;
        const uint32_t room = kImportLineLimit - row.length() - 1;  // after the line feed
        uint32_t n = more_.length();
        if (n > room) {
            noteFailure(rest_.assign(more_.data() + room, n - room));
            hasRest_ = true;
            n = room;
        }
        noteFailure(row.appendUnit(u'\n'));
        noteFailure(row.append(more_.data(), n));
        if (failure_ != kResultOk) return;
        quotes += countQuotes(more_.data(), n, more_.end());
    }
}

ResultCode VroCsvRows::take(XpString16& line) noexcept {
    if (failure_ != kResultOk) return failure_;
    if (!hasRest_) return readTrimmedLine(reader_, line);
    hasRest_ = false;
    noteFailure(line.assign(rest_.data(), rest_.length()));
    return failure_;
}

void VroCsvRows::noteFailure(ResultCode rc) noexcept {
    if (rc != kResultOk && failure_ == kResultOk) failure_ = rc;
}

namespace {

// Moves the stretch [read, stop) to write (they may be the same place).
void shift(char16_t*& write, char16_t*& read, char16_t* stop) noexcept {
    const size_t n = size_t(stop - read);
    if (write != read) std::memmove(write, read, n * sizeof(char16_t));
    write += n;
    read = stop;
}

}  // namespace

// Each field is cut where it lies: a field without quotes ends at its
// separator, one wholly in quotes without doubled quotes loses its quotes by
// pointing past the first and ending at the last; only other fields are
// rewritten, within their own stretch of the line.
uint32_t splitCsvText(char16_t* text, const char16_t* end, char16_t separator, char16_t** fields,
                      uint32_t maxFields) noexcept {
    char16_t* read = text;
    uint32_t count = 0;
    while (count < maxFields) {
        char16_t* stop = findUnitOrZero(read, end, separator, u'"');
        if (*stop != u'"') {
            fields[count++] = read;
            if (*stop == 0) return count;
            *stop = 0;
            read = stop + 1;
            continue;
        }
        if (stop == read) {
            char16_t* close = findUnitOrZero(read + 1, end, u'"', u'"');
            if (*close == u'"' && (close[1] == separator || close[1] == 0)) {
                fields[count++] = read + 1;
                const char16_t after = close[1];
                *close = 0;
                if (after == 0) return count;
                read = close + 2;
                continue;
            }
        }
        fields[count++] = read;
        char16_t* write = read;
        for (;;) {
            shift(write, read, findUnitOrZero(read, end, separator, u'"'));
            const char16_t c = *read;
            if (c == 0) {
                *write = 0;
                return count;
            }
            if (c == separator) break;
            ++read;
            // Quoted stretch: separators are text, "" is one quote.
            for (;;) {
                shift(write, read, findUnitOrZero(read, end, u'"', u'"'));
                const char16_t q = *read;
                if (q == 0) break;  // unclosed: runs to the end of the text
                ++read;
                if (*read != u'"') break;
                ++read;
                *write++ = q;
            }
        }
        *write = 0;  // ends the field over (or before) its separator
        ++read;
    }
    return count;
}

uint32_t splitCsvLine(char16_t* text, char16_t separator, char16_t** fields, uint32_t maxFields) noexcept {
    if (fields == nullptr || maxFields == 0) return 0;
    for (uint32_t i = 0; i < maxFields; ++i) fields[i] = nullptr;
    if (text == nullptr) return 0;
    return splitCsvText(text, text + std::char_traits<char16_t>::length(text), separator, fields, maxFields);
}

ResultCode addCsvRecord(VroPublicationList& list, uint32_t& records, char16_t* const* fields,
                        const VroFieldHandler* handlers, uint32_t count, uint32_t* fieldMaskOut) noexcept {
    VroPublication* pub = list.add();
    if (pub == nullptr) return kErrNoMemory;
    pub->Rank = int32_t(++records);
    pub->Use = 1;
    uint32_t mask = 0x20;
    for (uint32_t i = 0; i < count; ++i) {
        if (handlers[i] != nullptr) handlers[i](*pub, fields[i], mask);
    }
    if (fieldMaskOut != nullptr) *fieldMaskOut |= mask;
    pub->splitAuthors();
    pub->deriveAge(list);
    return kResultOk;
}

ResultCode readCsvRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                          VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty()) return kErrInvalidArgument;

    VroCsvRows rows(reader, format.joinsQuotedLines);
    if (format.joinsQuotedLines) {
        rows.continueRow(line);
        if (rows.failure() != kResultOk) return rows.failure();
    }

    // Columns are bound once, at the header; lines only index this array.
    char16_t* fields[kMaxCsvFields] = {};
    VroFieldHandler handlers[kMaxCsvFields] = {};
    const uint32_t columns = splitCsvLine(line.data(), format.separator, fields, kMaxCsvFields);
    for (uint32_t i = 0; i < columns; ++i) {
        const VroFieldHandler handler =
            findFieldHandler(uint32_t(format.fields.size()), fields[i], format.fields.data());
        handlers[i] = handler != nullptr ? handler : ignoreField;
    }

    // Counted unsigned so that an absurdly long input wraps instead of
    // overflowing; the rank is the count as the signed field holds it.
    uint32_t records = 0;
    while (rows.next(line) == kResultOk) {
        const uint32_t count = splitCsvText(line.data(), line.end(), format.separator, fields, kMaxCsvFields);
        const ResultCode rc = addCsvRecord(list, records, fields, handlers, count, fieldMaskOut);
        if (rc != kResultOk) return rc;
    }
    return rows.failure();
}

