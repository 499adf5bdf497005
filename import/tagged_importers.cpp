// Tagged importing: tag splitting and the line walks.
#include "import/tagged_importers.h"

#include "import/field_handlers.h"
#include "model/publication.h"

namespace {

char16_t* skipTagWhiteSpace(char16_t* p) noexcept {
    while (isAsciiWhiteSpace(*p)) ++p;
    return p;
}

char16_t* endOf(char16_t* p) noexcept {
    while (*p) ++p;
    return p;
}

}  // namespace

char16_t* splitTagAtColon(char16_t* line) noexcept {
    for (char16_t* p = line; *p; ++p)
        if (*p == u':') {
            *p = 0;
            return skipTagWhiteSpace(p + 1);
        }
    return endOf(line);
}

char16_t* splitTagAtWhiteSpace(char16_t* line) noexcept {
    for (char16_t* p = line; *p; ++p)
        if (isAsciiWhiteSpace(*p)) {
            *p = 0;
            return skipTagWhiteSpace(p + 1);
        }
    return endOf(line);
}

char16_t* splitTagAtDash(char16_t* line) noexcept {
    for (char16_t* p = line; *p; ++p)
        if (p[0] == u' ' && p[1] == u' ' && p[2] == u'-') {
            *p = 0;
            return skipTagWhiteSpace(p + 3);
        }
    return endOf(line);
}

bool tagIs(const char16_t* tag, const char* ascii) noexcept {
    for (; *ascii; ++tag, ++ascii)
        if (*tag != char16_t(uint8_t(*ascii))) return false;
    return *tag == 0;
}

namespace {

// The handler of a tag, remembered: a file repeats a few short tags on every
// record, so tags of up to four units are looked up once each. A tag is
// known by its units packed into one word (zeros after its end), so a hit
// gives exactly what the table search would.
class TagHandlers {
public:
    explicit TagHandlers(const VroImportFormat& format) noexcept : format_(format) {}

    VroFieldHandler lookUp(const char16_t* tag) noexcept {
        uint64_t key = 0;
        uint32_t n = 0;
        for (; n < 4 && tag[n] != 0; ++n) key |= uint64_t(tag[n]) << (16 * n);
        if (n == 4 && tag[4] != 0) return search(tag);
        // Open addressing over a few neighbouring slots; a tag that finds
        // them all taken is simply searched each time.
        const uint32_t home = uint32_t((key * 0x9E3779B97F4A7C15ull) >> 58);
        for (uint32_t probe = 0; probe < kProbes; ++probe) {
            Slot& slot = slots_[(home + probe) % kSlots];
            if (slot.filled && slot.key == key) return slot.handler;
            if (!slot.filled) {
                slot = {key, search(tag), true};
                return slot.handler;
            }
        }
        return search(tag);
    }

private:
    struct Slot {
        uint64_t key = 0;
        VroFieldHandler handler = nullptr;
        bool filled = false;
    };
    static constexpr uint32_t kSlots = 64;
    static constexpr uint32_t kProbes = 8;

    VroFieldHandler search(const char16_t* tag) const noexcept {
        return findFieldHandler(uint32_t(format_.fields.size()), tag, format_.fields.data());
    }

    const VroImportFormat& format_;
    Slot slots_[kSlots];
};

// The record being filled and the bookkeeping every tagged walk shares.
class TaggedRecords {
public:
    // authorsAsText: the format appends its authors to the Authors text (split
    // into the list at close); otherwise it adds one name per line to the list
    // (joined into the text at close).
    TaggedRecords(VroPublicationList& list, uint32_t* fieldMaskOut, bool authorsAsText) noexcept
        : list_(list), fieldMaskOut_(fieldMaskOut), authorsAsText_(authorsAsText) {}

    VroPublication* current() const noexcept { return open_; }
    uint32_t& mask() noexcept { return mask_; }

    // At a start tag: the previous record's bits go out, the previous record
    // closes, and a new one starts with the next rank and the start tag's
    // value as its type. 12 when the list cannot take it.
    [[nodiscard]] ResultCode open(char16_t* typeValue) noexcept {
        collectMask();
        close();
        open_ = list_.add();
        if (open_ == nullptr) return kErrNoMemory;
        open_->Rank = int32_t(++records_);
        open_->Use = 1;
        mask_ = 0x20;
        setType(*open_, typeValue, mask_);
        return kResultOk;
    }

    // At an end tag, a start tag or the end: both author forms, then the age.
    void close() noexcept {
        if (open_ == nullptr) return;
        if (authorsAsText_)
            open_->splitAuthors();
        else
            open_->joinAuthors();
        open_->deriveAge(list_);
        open_ = nullptr;
    }

    // At the end of the input or an end-of-file tag.
    void finish() noexcept {
        collectMask();
        close();
    }

    // Lets a looked-up handler fill the open record.
    void handle(VroFieldHandler handler, char16_t* value) noexcept {
        if (handler != nullptr && open_ != nullptr) handler(*open_, value, mask_);
    }

private:
    void collectMask() noexcept {
        if (fieldMaskOut_ != nullptr) *fieldMaskOut_ |= mask_;
    }

    VroPublicationList& list_;
    uint32_t* fieldMaskOut_;
    bool authorsAsText_;
    VroPublication* open_ = nullptr;
    uint32_t records_ = 0;
    uint32_t mask_ = 0;
};

using TagSplitter = char16_t* (*)(char16_t* line) noexcept;

// A layout of tagged lines without continuation lines.
struct TagLines {
    TagSplitter split;
    const char* startTag;
    const char* endTag;        // null: a record ends only at the next start
    const char* endOfFileTag;  // null: only the end of the input ends it
    bool authorsAsText;        // see TaggedRecords
};

// The walk of the layouts without continuation lines, one copy per layout,
// so that its splitter and tags are constants where it runs:
// - every line from the first one on; an empty line is skipped;
// - the start tag opens a record, the end tag closes it, the end-of-file tag
//   ends the input (lines after it are never read); any other tag inside a
//   record goes to its handler; tags outside a record are ignored;
// - a wrapped value's next line is split like any other and lost unless its
//   first word is a known tag.
template <const TagLines& layout>
ResultCode importTaggedLines(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                             VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty()) return kErrInvalidArgument;
    TaggedRecords records(list, fieldMaskOut, layout.authorsAsText);
    TagHandlers handlers(format);
    ResultCode rc = kResultOk;
    do {
        if (line.empty()) continue;
        char16_t* tag = line.data();
        char16_t* value = layout.split(tag);
        if (tagIs(tag, layout.startTag)) {
            rc = records.open(value);
            if (rc != kResultOk) break;
        } else if (layout.endTag != nullptr && tagIs(tag, layout.endTag)) {
            records.close();
        } else if (layout.endOfFileTag != nullptr && tagIs(tag, layout.endOfFileTag)) {
            break;
        } else if (records.current() != nullptr) {
            records.handle(handlers.lookUp(tag), value);
        }
    } while (readTrimmedLine(reader, line) == kResultOk);
    records.finish();
    return rc;
}

constexpr TagLines kEndNoteFieldsLines{splitTagAtColon, "Reference Type", nullptr, nullptr, true};
constexpr TagLines kEndNoteTaggedLines{splitTagAtWhiteSpace, "%0", nullptr, nullptr, false};
constexpr TagLines kRisLines{splitTagAtDash, "TY", "ER", "EF", false};

}  // namespace

// ---------------------------------------------------------------------------

ResultCode readEndNoteShowAllFields(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                                    VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    return importTaggedLines<kEndNoteFieldsLines>(format, reader, line, list, fieldMaskOut);
}

ResultCode readEndNoteTagged(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                             VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    return importTaggedLines<kEndNoteTaggedLines>(format, reader, line, list, fieldMaskOut);
}

// Tags compare whole: a line "\rTY  - JOUR" (a stray carriage return before
// the tag) has the tag "\rTY", which starts nothing, so that record's lines
// fall outside any record.
ResultCode readRisTagged(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                         VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    return importTaggedLines<kRisLines>(format, reader, line, list, fieldMaskOut);
}

// ---------------------------------------------------------------------------

// - The first two lines must carry the tags "FN" and "VR"; the second line is
//   taken as it is read, so an empty second line has an empty tag (774).
// - Empty lines are skipped.
// - A line starting with white space continues the last tag: its value (the
//   line without that white space) goes to the last tag's handler, if the
//   tag had one, unless it is empty. Each further AU line adds one author;
//   further TI, SO or AB lines are appended with one blank.
// - "PT" opens a record (the type handler becomes the last handler), "ER"
//   closes it and forgets the last handler, "EF" ends the input: lines after
//   it are never read.
// - Any other tag outside a record is ignored; inside one its handler (or
//   none, for an unknown tag) becomes the last handler and takes the value.
ResultCode readIsiTagged(const VroImportFormat& format, XpTextReader* reader, XpString16& line,
                         VroPublicationList& list, uint32_t* fieldMaskOut) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    if (reader == nullptr || line.empty()) return kErrInvalidArgument;
    (void)splitTagAtWhiteSpace(line.data());
    if (!tagIs(line.data(), "FN")) return kErrInvalidFileType;
    ResultCode rc = readTrimmedLine(reader, line);
    if (rc != kResultOk) return rc;
    (void)splitTagAtWhiteSpace(line.data());
    if (!tagIs(line.data(), "VR")) return kErrInvalidFileType;

    TaggedRecords records(list, fieldMaskOut, false);
    TagHandlers handlers(format);
    VroFieldHandler lastHandler = nullptr;
    while (readTrimmedLine(reader, line) == kResultOk) {
        if (line.empty()) continue;
        char16_t* tag = line.data();
        if (isAsciiWhiteSpace(tag[0])) {
            char16_t* value = skipTagWhiteSpace(tag);
            if (*value != 0) records.handle(lastHandler, value);
            continue;
        }
        char16_t* value = splitTagAtWhiteSpace(tag);
        if (tagIs(tag, "PT")) {
            rc = records.open(value);
            if (rc != kResultOk) break;
            lastHandler = setType;
        } else if (tagIs(tag, "ER")) {
            records.close();
            lastHandler = nullptr;
        } else if (tagIs(tag, "EF")) {
            break;
        } else if (records.current() != nullptr) {
            lastHandler = handlers.lookUp(tag);
            records.handle(lastHandler, value);
        }
    }
    records.finish();
    return rc;
}
