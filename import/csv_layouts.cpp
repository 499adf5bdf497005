#include "import/csv_layouts.h"

#include <new>
#include <string_view>

#include "foundation/ascii.h"
#include "foundation/text_reader.h"
#include "import/csv_importer.h"
#include "import/field_handlers.h"
#include "model/publication.h"

namespace {

constexpr char16_t kSeparators[] = {u',', u';'};
// More than any binding table holds.
constexpr uint32_t kMaxBoundColumns = 64;

// Whether title equals the ASCII text [begin, end), ASCII letters compared
// without case.
bool titleIs(const char16_t* title, const char* begin, const char* end) noexcept {
    for (; begin != end; ++begin, ++title) {
        if (*title == 0) return false;
        if (asciiLower(*title) != asciiLower(char16_t(static_cast<unsigned char>(*begin)))) return false;
    }
    return *title == 0;
}

// The most preferred alternative present among the titles, or -1.
int bestPresent(const VroCsvTitles& titles, const char* alternatives) noexcept {
    int best = -1;
    for (uint32_t i = 0; i < titles.count(); ++i) {
        const int k = alternativeIndex(titles[i], alternatives);
        if (k >= 0 && (best < 0 || k < best)) best = k;
    }
    return best;
}

bool sameTitle(const char16_t* a, const char16_t* b) noexcept {
    for (; asciiLower(*a) == asciiLower(*b); ++a, ++b)
        if (*a == 0) return true;
    return false;
}

}  // namespace

int alternativeIndex(const char16_t* title, const char* alternatives) noexcept {
    if (title == nullptr || alternatives == nullptr) return -1;
    int index = 0;
    for (const char* begin = alternatives;; ++index) {
        const char* end = begin;
        while (*end != 0 && *end != '|') ++end;
        if (titleIs(title, begin, end)) return index;
        if (*end == 0) return -1;
        begin = end + 1;
    }
}

// Every title is trimmed where it lies, so that a title padded by a
// spreadsheet ("Times Cited, CSCD ") compares as written.
ResultCode VroCsvTitles::split(const char16_t* text, uint32_t length, char16_t separator) noexcept {
    count_ = 0;
    const ResultCode rc = copy_.assign(text, length);
    if (rc != kResultOk) return rc;
    uint32_t most = 1;
    for (uint32_t i = 0; i < length; ++i) most += text[i] == separator;
    if (most > capacity_) {
        delete[] titles_;
        titles_ = new (std::nothrow) char16_t*[most];
        capacity_ = titles_ != nullptr ? most : 0;
        if (titles_ == nullptr) return kErrNoMemory;
    }
    count_ = splitCsvLine(copy_.data(), separator, titles_, most);
    for (uint32_t i = 0; i < count_; ++i) titles_[i] = trimValue(titles_[i]);
    return kResultOk;
}

uint32_t missingColumns(const VroCsvTitles& titles, const VroCsvHeader& header) noexcept {
    uint32_t missing = 0;
    if (header.firstColumn != nullptr && (titles.count() == 0 || alternativeIndex(titles[0], header.firstColumn) < 0))
        missing |= kMissingFirstColumn;
    if (header.counts != nullptr && bestPresent(titles, header.counts) < 0) missing |= kMissingCounts;
    for (uint32_t r = 0; r < header.required.size() && r < kMaxRequiredColumns; ++r)
        if (bestPresent(titles, header.required[r]) < 0) missing |= kMissingRequired << r;
    return missing;
}

char16_t findCsvSeparator(const char16_t* text, uint32_t length, const VroCsvHeader& header, ResultCode* rc) noexcept {
    *rc = kResultOk;
    VroCsvTitles titles;
    for (const char16_t separator : kSeparators) {
        *rc = titles.split(text, length, separator);
        if (*rc != kResultOk) return 0;
        if (missingColumns(titles, header) == 0) return separator;
    }
    return 0;
}

bool isNoticeLine(const char16_t* line, const VroCsvHeader& header) noexcept {
    if (header.notice == nullptr) return false;
    if (*line == u'"') ++line;
    for (const char* n = header.notice; *n != 0; ++n, ++line)
        if (asciiLower(*line) != asciiLower(char16_t(static_cast<unsigned char>(*n)))) return false;
    return true;
}

ResultCode probeCsvHeader(const XpString16& line, const VroCsvHeader& header, bool* accepted) noexcept {
    if (isNoticeLine(line.data(), header)) {
        *accepted = true;
        return kResultOk;
    }
    ResultCode rc = kResultOk;
    *accepted = findCsvSeparator(line.data(), line.length(), header, &rc) != 0;
    return rc;
}

uint32_t chooseBoundColumns(const VroCsvTitles& titles, const VroCsvHeader& header,
                            std::span<const VroFieldBinding> table, VroFieldHandler* handlers) noexcept {
    // The entries of which one title binds, and the title each keeps.
    const char* groups[kMaxRequiredColumns + 1];
    int chosen[kMaxRequiredColumns + 1];
    uint32_t groupCount = 0;
    if (header.counts != nullptr) groups[groupCount++] = header.counts;
    for (const char* entry : header.preferred)
        if (groupCount < kMaxRequiredColumns + 1) groups[groupCount++] = entry;
    for (uint32_t g = 0; g < groupCount; ++g) chosen[g] = bestPresent(titles, groups[g]);

    // A title binds once, so no more columns bind than the table has entries;
    // a repeated title is looked for among those alone.
    uint32_t bound[kMaxBoundColumns];
    uint32_t boundCount = 0;
    uint32_t written = 0;
    for (uint32_t i = 0; i < titles.count(); ++i) {
        handlers[i] = nullptr;
        VroFieldHandler handler = findFieldHandler(uint32_t(table.size()), titles[i], table.data());
        for (uint32_t g = 0; g < groupCount && handler != nullptr; ++g) {
            const int k = alternativeIndex(titles[i], groups[g]);
            if (k >= 0 && k != chosen[g]) handler = nullptr;
        }
        for (uint32_t b = 0; b < boundCount && handler != nullptr; ++b)
            if (sameTitle(titles[bound[b]], titles[i])) handler = nullptr;
        if (handler == nullptr || boundCount == kMaxBoundColumns) continue;
        handlers[i] = handler;
        bound[boundCount++] = i;
        written = i + 1;
    }
    return written;
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

    VroCsvRows rows(reader, true);
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
        rc = addCsvRecord(list, records, columns.fields, columns.handlers, count, fieldMaskOut);
        if (rc != kResultOk) return rc;
    }
    return rows.failure();
}
