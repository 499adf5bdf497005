#include "import/csv_importer.h"

#include "foundation/text_reader.h"
#include "import/field_handlers.h"
#include "metrics/publication.h"

namespace {
// Every record starts with its rank known: the line number, or a rank column.
constexpr uint32_t kInitialRowMask = 0x20;
}  // namespace

uint32_t splitCsvLine(char16_t* text, char16_t separator, char16_t** fields, uint32_t maxFields) noexcept {
    if (fields == nullptr || maxFields == 0) return 0;
    for (uint32_t i = 0; i < maxFields; ++i) fields[i] = nullptr;
    if (text == nullptr) return 0;
    const char16_t* read = text;
    char16_t* write = text;
    uint32_t count = 0;
    while (count < maxFields) {
        fields[count++] = write;
        for (;;) {
            const char16_t c = *read;
            if (c == 0) {
                *write = 0;
                return count;
            }
            if (c == separator) break;
            ++read;
            if (c != u'"') {
                *write++ = c;
                continue;
            }
            // Quoted stretch: separators are text, "" is one quote.
            for (;;) {
                const char16_t q = *read;
                if (q == 0) break;  // unclosed: runs to the end of the text
                ++read;
                if (q == u'"') {
                    if (*read != u'"') break;
                    ++read;
                }
                *write++ = q;
            }
        }
        *write++ = 0;  // ends the field over (or before) its separator
        ++read;
    }
    return count;
}

VroImportCsv::~VroImportCsv() = default;

void VroImportCsv::configure(const char* name, uint32_t formatCode, const VroFieldBinding* table, uint32_t count,
                             char16_t separator) noexcept {
    if (name_.assign(name) != kResultOk) name_.clear();
    formatCode_ = formatCode;
    bindings_ = table;
    bindingCount_ = count;
    separator_ = separator;
}

ResultCode VroImportCsv::importData(XpTextReader* reader, XpString16& line, VroPublicationList& list,
                                    uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty()) return kErrInvalidArgument;

    // Columns are bound once, at the header; lines only index this array.
    char16_t* fields[kMaxCsvFields];
    VroFieldHandler handlers[kMaxCsvFields] = {};
    const uint32_t columns = splitCsvLine(line.data(), separator_, fields, kMaxCsvFields);
    for (uint32_t i = 0; i < columns; ++i) {
        const VroFieldHandler handler = findFieldHandler(bindingCount_, fields[i], bindings_);
        handlers[i] = handler != nullptr ? handler : ignoreField;
    }

    // Counted unsigned so that an absurdly long input wraps instead of
    // overflowing; the rank is the count as the signed field holds it.
    uint32_t records = 0;
    while (readTrimmedLine(reader, line) == kResultOk) {
        const uint32_t count = splitCsvLine(line.data(), separator_, fields, kMaxCsvFields);
        if (count == 0) continue;
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
    return kResultOk;
}
