#include "import/csv_header.h"

#include <new>

#include "foundation/ascii.h"
#include "import/csv_importer.h"
#include "import/field_handlers.h"

namespace {

constexpr char16_t kSeparators[] = {u',', u';'};

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

    uint32_t written = 0;
    for (uint32_t i = 0; i < titles.count(); ++i) {
        handlers[i] = nullptr;
        VroFieldHandler handler = findFieldHandler(uint32_t(table.size()), titles[i], table.data());
        for (uint32_t g = 0; g < groupCount && handler != nullptr; ++g) {
            const int k = alternativeIndex(titles[i], groups[g]);
            if (k >= 0 && k != chosen[g]) handler = nullptr;
        }
        for (uint32_t j = 0; j < i && handler != nullptr; ++j)
            if (handlers[j] != nullptr && sameTitle(titles[j], titles[i])) handler = nullptr;
        handlers[i] = handler;
        if (handler != nullptr) written = i + 1;
    }
    return written;
}
