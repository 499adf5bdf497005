#include "import/csv_importer.h"

#include <cstring>
#include <new>
#include <string>
#include <string_view>

#include "foundation/text_reader.h"
#include "foundation/unit_scan.h"
#include "import/csv_header.h"
#include "import/field_handlers.h"
#include "model/publication.h"

namespace {
// Every record starts with its rank known: the line number, or a rank column.
constexpr uint32_t kInitialRowMask = 0x20;

uint32_t countQuotes(const char16_t* text, uint32_t length) noexcept {
    uint32_t quotes = 0;
    for (uint32_t i = 0; i < length; ++i) quotes += text[i] == u'"';
    return quotes;
}

// The rows of one import: trimmed lines, or with joining, lines continued
// while a quote is open. The splitter opens a quoted stretch at any quote, so
// an odd count of quotes is exactly an open one. A read failure ends a row
// as it stands; running out of memory while joining ends the import.
class CsvRows {
public:
    CsvRows(XpTextReader* reader, bool joinQuoted) noexcept : reader_(reader), joinQuoted_(joinQuoted) {}

    // 0 when a row was delivered; otherwise the import ends.
    ResultCode next(XpString16& row) noexcept {
        const ResultCode rc = take(row);
        if (rc != kResultOk || !joinQuoted_) return rc;
        continueRow(row);
        return failure_;
    }

    void continueRow(XpString16& row) noexcept {
        uint32_t quotes = countQuotes(row.data(), row.length());
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
            quotes += countQuotes(more_.data(), n);
        }
    }

    // 12 when joining ran out of memory, else 0.
    ResultCode failure() const noexcept { return failure_; }

private:
    ResultCode take(XpString16& line) noexcept {
        if (failure_ != kResultOk) return failure_;
        if (!hasRest_) return readTrimmedLine(reader_, line);
        hasRest_ = false;
        noteFailure(line.assign(rest_.data(), rest_.length()));
        return failure_;
    }
    void noteFailure(ResultCode rc) noexcept {
        if (rc != kResultOk && failure_ == kResultOk) failure_ = rc;
    }

    XpTextReader* reader_;
    bool joinQuoted_;
    bool hasRest_ = false;
    ResultCode failure_ = kResultOk;
    XpString16 rest_;  // what a cut row left over: the next line
    XpString16 more_;
};

}  // namespace

namespace {

// Moves the stretch [read, stop) to write (they may be the same place).
void shift(char16_t*& write, char16_t*& read, char16_t* stop) noexcept {
    const size_t n = size_t(stop - read);
    if (write != read) std::memmove(write, read, n * sizeof(char16_t));
    write += n;
    read = stop;
}

// The splitter over text whose zero terminator stands at end. Each field is
// cut where it lies: a field without quotes ends at its separator, one
// wholly in quotes without doubled quotes loses its quotes by pointing past
// the first and ending at the last; only other fields are rewritten, within
// their own stretch of the line.
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

}  // namespace

uint32_t splitCsvLine(char16_t* text, char16_t separator, char16_t** fields, uint32_t maxFields) noexcept {
    if (fields == nullptr || maxFields == 0) return 0;
    for (uint32_t i = 0; i < maxFields; ++i) fields[i] = nullptr;
    if (text == nullptr) return 0;
    return splitCsvText(text, text + std::char_traits<char16_t>::length(text), separator, fields, maxFields);
}

ResultCode readCsvRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                          VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty()) return kErrInvalidArgument;

    CsvRows rows(reader, format.joinsQuotedLines);
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
        VroPublication* pub = list.add();
        if (pub == nullptr) return kErrNoMemory;
        pub->Rank = int32_t(++records);
        pub->Use = 1;
        uint32_t mask = kInitialRowMask;
        for (uint32_t i = 0; i < count; ++i) {
            if (handlers[i] != nullptr) handlers[i](*pub, fields[i], mask);
        }
        if (fieldMaskOut != nullptr) *fieldMaskOut |= mask;
        pub->splitAuthors();
        pub->deriveAge(list);
    }
    return rows.failure();
}

namespace {

constexpr uint32_t kFallbackCodePage = 1252;
constexpr uint32_t kUtf8CodePage = 65001;

// A row of nothing but separators, quotes and white space (what a
// spreadsheet writes for an empty row) holds no record.
bool isEmptyRow(const XpString16& row, char16_t separator) noexcept {
    for (const char16_t c : std::u16string_view(row.data(), row.length()))
        if (c != separator && c != u'"' && !isAsciiWhiteSpace(c)) return false;
    return true;
}

// Room for one handler and one field start per column the rows use.
struct ColumnArrays {
    explicit ColumnArrays(uint32_t n) noexcept
        : handlers(new (std::nothrow) VroFieldHandler[n ? n : 1]), fields(new (std::nothrow) char16_t*[n ? n : 1]) {}
    ~ColumnArrays() {
        delete[] handlers;
        delete[] fields;
    }
    ColumnArrays(const ColumnArrays&) = delete;
    ColumnArrays& operator=(const ColumnArrays&) = delete;
    VroFieldHandler* handlers;
    char16_t** fields;
};

}  // namespace

ResultCode readCsvLayoutRecords(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty() || format.header == nullptr) return kErrInvalidArgument;
    const VroCsvHeader& header = *format.header;

    // The header was read in the fallback code page; its titles are ASCII.
    // Old Mac text is left as it is: its first lines are already decoded.
    if (header.utf8WithoutMark && reader->encoding() != nullptr &&
        reader->encoding()->codePage() == kFallbackCodePage && !reader->carriageReturnLines())
        (void)reader->setEncoding(kUtf8CodePage);

    CsvRows rows(reader, true);
    rows.continueRow(line);
    if (rows.failure() != kResultOk) return rows.failure();
    if (isNoticeLine(line.data(), header)) {
        const ResultCode rc = rows.next(line);
        if (rc != kResultOk) return rows.failure() != kResultOk ? rc : kErrInvalidFileType;
    }

    // A header that does not hold the layout's columns (after a notice line,
    // or once a quote joined lines to it) is not this layout.
    ResultCode rc = kResultOk;
    const char16_t separator = findCsvSeparator(line.data(), line.length(), header, &rc);
    if (rc != kResultOk) return rc;
    if (separator == 0) return kErrInvalidFileType;
    VroCsvTitles titles;
    rc = titles.split(line.data(), line.length(), separator);
    if (rc != kResultOk) return rc;
    ColumnArrays columns(titles.count());
    if (columns.handlers == nullptr || columns.fields == nullptr) return kErrNoMemory;
    // Fields after the last bound column are never split.
    const uint32_t used = chooseBoundColumns(titles, header, format.fields, columns.handlers);

    uint32_t records = 0;
    while (rows.next(line) == kResultOk) {
        if (isEmptyRow(line, separator)) continue;
        const uint32_t count = used == 0 ? 0 : splitCsvText(line.data(), line.end(), separator, columns.fields, used);
        VroPublication* pub = list.add();
        if (pub == nullptr) return kErrNoMemory;
        pub->Rank = int32_t(++records);
        pub->Use = 1;
        uint32_t mask = kInitialRowMask;
        for (uint32_t i = 0; i < count; ++i) {
            if (columns.handlers[i] != nullptr) columns.handlers[i](*pub, columns.fields[i], mask);
        }
        if (fieldMaskOut != nullptr) *fieldMaskOut |= mask;
        pub->splitAuthors();
        pub->deriveAge(list);
    }
    return rows.failure();
}
