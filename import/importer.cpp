#include "import/importer.h"

#include "foundation/text_reader.h"

int compareFieldKey(const char16_t* key, const char* entry) noexcept {
    for (;; ++key, ++entry) {
        const int a = asciiLower(*key);
        const int b = asciiLower(char16_t(static_cast<unsigned char>(*entry)));
        if (a != b) return a - b;
        if (a == 0) return 0;
    }
}

// The search is kept exactly as a halving walk over the stored order, so a
// table that is not sorted loses the entries the walk cannot reach.
VroFieldHandler findFieldHandler(uint32_t count, const char16_t* key, const VroFieldBinding* table) noexcept {
    if (key == nullptr || key[0] == 0 || table == nullptr || count == 0) return nullptr;
    uint32_t low = 0;
    uint32_t high = count;
    while (low < high) {
        const uint32_t middle = (low + high) / 2;
        const int order = compareFieldKey(key, table[middle].key);
        if (order == 0) return table[middle].handler;
        if (order > 0) low = middle + 1;
        else high = middle;
    }
    return nullptr;
}

namespace {

void trimLineEnd(XpString16& line) noexcept {
    uint32_t length = line.length();
    const char16_t* text = line.data();
    if (length == 0 || !isAsciiWhiteSpace(text[length - 1])) return;
    do --length;
    while (length > 0 && isAsciiWhiteSpace(text[length - 1]));
    line.setLength(length);
}

}  // namespace

ResultCode readTrimmedLine(XpTextReader* reader, XpString16& line) noexcept {
    if (reader == nullptr) return kErrInvalidArgument;
    const ResultCode rc = reader->readLine(line, kImportLineLimit, u'\n');
    if (rc != kResultOk) return rc;
    trimLineEnd(line);
    return kResultOk;
}

// A first line without its line feed is either the limit's worth of text or
// all that can be read: the end of the input, or a character that cannot be
// decoded, past which no read ever goes. Either way it is old Mac text when
// it holds a carriage return. A line cut short by a character that cannot be
// stored has input after it and is never taken for old Mac text.
ResultCode readFirstLine(XpTextReader* reader, XpString16& line) noexcept {
    if (reader == nullptr) return kErrInvalidArgument;
    ResultCode rc = reader->readLine(line, kImportLineLimit, u'\n');
    if (rc != kResultOk) return rc;
    const uint32_t length = line.length();
    const char16_t* text = line.data();
    if (text[length - 1] != u'\n' && (length == kImportLineLimit || !reader->hasMoreInput())) {
        uint32_t end = 0;
        while (end < length && text[end] != u'\r') ++end;
        if (end < length) {
            rc = reader->useCarriageReturnLines(text + end + 1, length - end - 1);
            if (rc != kResultOk) return rc;
            line.setLength(end + 1);
        }
    }
    trimLineEnd(line);
    return kResultOk;
}
