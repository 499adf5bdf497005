// JSON exports: the document stream, the shapes of the three sources'
// responses, and the fields of one work.
#include "import/json_importer.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "foundation/logging.h"
#include "foundation/strings.h"
#include "import/field_handlers.h"
#include "import/input_stream.h"
#include "model/publication.h"

namespace sj = simdjson::ondemand;
using simdjson::error_code;

namespace {

// Bytes read at a time while documents fit.
constexpr size_t kReadBlock = 1 << 20;
// While no whole document has been read, the next read brings this many times
// what is held: every attempt indexes the document from its start again, so
// growing steeply keeps that repeated work to a fraction of the document.
// A step never asks for more than kLargestStep at once, so that a long
// document does not reserve far more memory than it needs.
constexpr size_t kGrowth = 15;
constexpr size_t kLargestStep = size_t{256} << 20;

enum class Source { kNone, kOpenAlex, kCrossref, kSemanticScholar };

const char* const kSourceNames[] = {"", "OpenAlex (JSON)", "Crossref (JSON)", "Semantic Scholar (JSON)"};

// The values of one work, as views into the parser's strings or the input;
// a view with no data is a value the work does not give.
struct Work {
    Source source = Source::kNone;
    std::string_view title, displayName, year, issuedYear, publishedYear, cites, container, venue, journal,
        doi, externalDoi, type, volume, issue, firstPage, lastPage, pages, publisher;
};

bool present(std::string_view v) noexcept { return v.data() != nullptr; }

// Text of a scalar: a string unescaped, a number as written; null, true,
// false, objects and arrays give none.
error_code textOf(sj::value value, std::string_view& out) noexcept {
    sj::json_type type;
    if (auto e = value.type().get(type)) return e;
    if (type == sj::json_type::string) return value.get_string().get(out);
    // Read so that a misspelt literal is found.
    if (type == sj::json_type::boolean) return value.get_bool().error();
    if (type == sj::json_type::null) return value.is_null().error();
    if (type == sj::json_type::number) {
        std::string_view token = value.raw_json_token();
        while (!token.empty() && (token.back() == ' ' || token.back() == '\t' || token.back() == '\n' ||
                                  token.back() == '\r'))
            token.remove_suffix(1);
        out = token;
    }
    return simdjson::SUCCESS;
}

// The first element of an array, or the value itself when it is no array.
error_code firstTextOf(sj::value value, std::string_view& out) noexcept {
    sj::json_type type;
    if (auto e = value.type().get(type)) return e;
    if (type != sj::json_type::array) return textOf(value, out);
    sj::array array;
    if (auto e = value.get_array().get(array)) return e;
    for (auto element : array) {
        sj::value v;
        if (auto e = element.get(v)) return e;
        if (!present(out)) {
            if (auto e = textOf(v, out)) return e;
        }
    }
    return simdjson::SUCCESS;
}

// The object under value, or none (*isObject false) for anything else.
error_code objectOf(sj::value value, sj::object& out, bool& isObject) noexcept {
    sj::json_type type;
    if (auto e = value.type().get(type)) return e;
    isObject = type == sj::json_type::object;
    return isObject ? value.get_object().get(out) : simdjson::SUCCESS;
}

// Calls visit(key, value, stop) for each member of an object value in
// document order, until it fails or sets stop; anything but an object has
// no members.
template <class Visit>
error_code forEachMember(sj::value value, Visit&& visit) noexcept {
    sj::object object;
    bool isObject = false;
    if (auto e = objectOf(value, object, isObject); e || !isObject) return e;
    for (auto field : object) {
        std::string_view key;
        if (auto e = field.unescaped_key().get(key)) return e;
        sj::value v;
        if (auto e = field.value().get(v)) return e;
        bool stop = false;
        if (auto e = visit(key, v, stop)) return e;
        if (stop) break;
    }
    return simdjson::SUCCESS;
}

// The text of the member key of an object value (one level).
error_code memberText(sj::value value, std::string_view key, std::string_view& out) noexcept {
    sj::object object;
    bool isObject = false;
    if (auto e = objectOf(value, object, isObject); e || !isObject) return e;
    for (auto field : object) {
        std::string_view name;
        if (auto e = field.unescaped_key().get(name)) return e;
        if (name == key) {
            if (auto e = textOf(field.value(), out)) return e;
        }
    }
    return simdjson::SUCCESS;
}

// The year of a Crossref date: its first date part, [[2014, 3, 5]].
error_code dateYear(sj::value value, std::string_view& out) noexcept {
    sj::object object;
    bool isObject = false;
    if (auto e = objectOf(value, object, isObject); e || !isObject) return e;
    for (auto field : object) {
        std::string_view name;
        if (auto e = field.unescaped_key().get(name)) return e;
        if (name != "date-parts") continue;
        sj::array parts;
        if (field.value().get_array().get(parts)) continue;
        for (auto part : parts) {
            sj::value first;
            if (auto e = part.get(first)) return e;
            sj::json_type type;
            if (auto e = first.type().get(type)) return e;
            if (type == sj::json_type::array && !present(out)) {
                if (auto e = firstTextOf(first, out)) return e;
            }
        }
    }
    return simdjson::SUCCESS;
}

class JsonReader {
public:
    JsonReader(VroPublicationList& list, uint32_t* fieldMaskOut) noexcept : list_(list), fieldMaskOut_(fieldMaskOut) {}

    Source decided() const noexcept { return decided_; }
    bool recordFailed() const noexcept { return failure_ != kResultOk; }
    ResultCode failure() const noexcept { return failure_; }

    // The records of one document of the stream.
    error_code readDocument(sj::document_reference document) noexcept {
        sj::value root;
        if (auto e = document.get_value().get(root)) return e;
        sj::json_type type;
        if (auto e = root.type().get(type)) return e;
        if (type == sj::json_type::array) return readElements(root, Source::kNone, false, 1);
        if (type == sj::json_type::object) return readObject(root, Source::kNone, true, false, 0);
        return simdjson::SUCCESS;
    }

private:
    // Each object element of an array: a record whatever it holds when the
    // array is a response's list of works, else only a work.
    error_code readElements(sj::value value, Source source, bool allRecords, uint32_t depth) noexcept {
        sj::array array;
        if (auto e = value.get_array().get(array)) return e;
        for (auto element : array) {
            sj::value v;
            if (auto e = element.get(v)) return e;
            sj::json_type type;
            if (auto e = v.type().get(type)) return e;
            if (type != sj::json_type::object) continue;
            if (auto e = readObject(v, source, false, allRecords, depth)) return e;
            if (failure_ != kResultOk) return simdjson::SUCCESS;
        }
        return simdjson::SUCCESS;
    }

    // One object: a response (its works in a list member), a Crossref
    // message, or a work. depth 0 is a document, 1 what it holds; only documents and
    // Crossref messages hold lists of works.
    error_code readObject(sj::value value, Source source, bool wrappers, bool isRecord, uint32_t depth) noexcept {
        sj::object object;
        if (auto e = value.get_object().get(object)) return e;
        Work work;
        work.source = source;
        XpString& authors = authors_[depth];
        authors.clear();
        bool wrapped = false;
        for (auto field : object) {
            std::string_view key;
            if (auto e = field.unescaped_key().get(key)) return e;
            sj::value v;
            if (auto e = field.value().get(v)) return e;
            if (wrappers) {
                Source list = Source::kNone;
                if (depth > 0)
                    list = key == "items" ? Source::kCrossref : Source::kNone;
                else if (key == "results")
                    list = Source::kOpenAlex;
                else if (key == "data" || key == "papers")
                    list = Source::kSemanticScholar;
                sj::json_type type;
                if (auto e = v.type().get(type)) return e;
                if (list != Source::kNone && type == sj::json_type::array) {
                    wrapped = true;
                    decide(list);
                    if (auto e = readElements(v, list, true, depth + 1)) return e;
                    continue;
                }
                if (key == "message" && depth == 0 && type == sj::json_type::object) {
                    wrapped = true;
                    decide(Source::kCrossref);
                    if (auto e = readObject(v, Source::kCrossref, true, true, 1)) return e;
                    continue;
                }
            }
            if (auto e = readWorkField(key, v, work, authors)) return e;
        }
        if (wrapped || failure_ != kResultOk) return simdjson::SUCCESS;
        // Outside a list of works only an object that is a work is a record.
        if (!isRecord && work.source == Source::kNone) return simdjson::SUCCESS;
        decide(work.source);
        addRecord(work, authors);
        return simdjson::SUCCESS;
    }

    void decide(Source source) noexcept {
        if (decided_ == Source::kNone) decided_ = source;
    }

    void mark(Work& work, Source source) noexcept {
        if (work.source == Source::kNone) work.source = source;
    }

    // Appends a name to the '|' list the open sources' name handler splits.
    void addName(XpString& authors, std::string_view first, std::string_view second) noexcept {
        if (!present(first) && !present(second)) return;
        const bool both = present(first) && present(second) && !first.empty() && !second.empty();
        if (!authors.empty() && authors.appendUnit('|') != kResultOk) return;
        if (present(first)) (void)authors.append(first.data(), uint32_t(first.size()));
        if (both) (void)authors.appendUnit(' ');
        if (present(second)) (void)authors.append(second.data(), uint32_t(second.size()));
    }

    error_code readAuthors(sj::value value, std::string_view key, XpString& authors) noexcept {
        sj::array array;
        if (value.get_array().get(array)) return simdjson::SUCCESS;
        for (auto element : array) {
            sj::object person;
            bool isObject = false;
            sj::value v;
            if (auto e = element.get(v)) return e;
            if (auto e = objectOf(v, person, isObject)) return e;
            if (!isObject) continue;
            std::string_view given, family, name;
            for (auto field : person) {
                std::string_view k;
                if (auto e = field.unescaped_key().get(k)) return e;
                if (key == "authorships") {
                    if (k == "author") {
                        if (auto e = memberText(field.value(), "display_name", name)) return e;
                    }
                } else if (k == "given") {
                    if (auto e = textOf(field.value(), given)) return e;
                } else if (k == "family") {
                    if (auto e = textOf(field.value(), family)) return e;
                } else if (k == "name") {
                    if (auto e = textOf(field.value(), name)) return e;
                }
            }
            if (present(given) || present(family))
                addName(authors, given, family);
            else
                addName(authors, name, {});
        }
        return simdjson::SUCCESS;
    }

    error_code readWorkField(std::string_view key, sj::value v, Work& work, XpString& authors) noexcept {
        if (key == "title") return firstTextOf(v, work.title);
        if (key == "display_name") return textOf(v, work.displayName);
        if (key == "publication_year" || key == "year") return textOf(v, work.year);
        if (key == "cited_by_count") {
            mark(work, Source::kOpenAlex);
            return textOf(v, work.cites);
        }
        if (key == "is-referenced-by-count") {
            mark(work, Source::kCrossref);
            return textOf(v, work.cites);
        }
        if (key == "citationCount") {
            mark(work, Source::kSemanticScholar);
            return textOf(v, work.cites);
        }
        if (key == "paperId") {
            mark(work, Source::kSemanticScholar);
            return simdjson::SUCCESS;
        }
        if (key == "authorships" || key == "author" || key == "authors") return readAuthors(v, key, authors);
        if (key == "primary_location") {
            // Its first source only.
            return forEachMember(v, [&](std::string_view k, sj::value location, bool& stop) {
                if (k != "source") return simdjson::SUCCESS;
                stop = true;
                return memberText(location, "display_name", work.container);
            });
        }
        if (key == "container-title") return firstTextOf(v, work.container);
        if (key == "venue") return textOf(v, work.venue);
        if (key == "journal") return memberText(v, "name", work.journal);
        if (key == "doi" || key == "DOI") return textOf(v, work.doi);
        if (key == "externalIds") return memberText(v, "DOI", work.externalDoi);
        if (key == "type") return textOf(v, work.type);
        if (key == "volume") return textOf(v, work.volume);
        if (key == "issue") return textOf(v, work.issue);
        if (key == "page") return textOf(v, work.pages);
        if (key == "publisher") return textOf(v, work.publisher);
        if (key == "issued") return dateYear(v, work.issuedYear);
        if (key == "published") return dateYear(v, work.publishedYear);
        if (key == "biblio") {
            return forEachMember(v, [&](std::string_view k, sj::value part, bool&) {
                std::string_view* slot = k == "volume"       ? &work.volume
                                         : k == "issue"      ? &work.issue
                                         : k == "first_page" ? &work.firstPage
                                         : k == "last_page"  ? &work.lastPage
                                                             : nullptr;
                return slot != nullptr ? textOf(part, *slot) : simdjson::SUCCESS;
            });
        }
        return simdjson::SUCCESS;
    }

    void apply(VroFieldHandler handler, VroPublication& pub, std::string_view value, uint32_t& mask) noexcept {
        if (!present(value)) return;
        // A value that cannot be converted whole is still given as far as it
        // went; one that cannot be held is dropped, as handlers drop values.
        if (!widenAscii(value)) {
            const ResultCode rc = value16_.assign(value.data(), uint32_t(value.size()));
            if (rc == kErrNoMemory || rc == kErrNoBufferSpace) return;
        }
        handler(pub, value16_.data(), mask);
    }

    // Nearly every value is plain ASCII: its units are its bytes, written
    // straight into the handlers' text without measuring and decoding it as
    // UTF-8 first. false leaves anything else to the general conversion.
    bool widenAscii(std::string_view value) noexcept {
        if (value.empty() || value.size() > kWidenLimit) return false;
        const auto* bytes = reinterpret_cast<const unsigned char*>(value.data());
        const size_t n = value.size();
        unsigned char any = 0;
        for (size_t i = 0; i < n; ++i) any |= bytes[i];
        if ((any & 0x80) != 0 || value16_.reserve(uint32_t(n)) != kResultOk) return false;
        char16_t* units = value16_.data();
        for (size_t i = 0; i < n; ++i) units[i] = char16_t(bytes[i]);
        value16_.setLength(uint32_t(n));
        return true;
    }
    static constexpr size_t kWidenLimit = 1 << 16;

    static std::string_view firstGiven(std::string_view a, std::string_view b) noexcept {
        return present(a) && !a.empty() ? a : b;
    }

    void addRecord(const Work& work, XpString& authors) noexcept {
        VroPublication* pub = list_.add();
        if (pub == nullptr) {
            failure_ = kErrNoMemory;
            return;
        }
        pub->Rank = int32_t(++records_);
        pub->Use = 1;
        uint32_t mask = 0x20;
        apply(setTitle, *pub, firstGiven(work.title, work.displayName), mask);
        const std::string_view year = present(work.year) ? work.year
                                      : present(work.issuedYear) ? work.issuedYear
                                                                 : work.publishedYear;
        apply(setYear, *pub, year, mask);
        apply(setCites, *pub, work.cites, mask);
        if (!authors.empty()) apply(setBarListAuthors, *pub, {authors.data(), authors.length()}, mask);
        apply(setSource, *pub, firstGiven(work.container, firstGiven(work.venue, work.journal)), mask);
        apply(setDoi, *pub, firstGiven(work.doi, work.externalDoi), mask);
        apply(setType, *pub, work.type, mask);
        apply(setVolume, *pub, work.volume, mask);
        apply(setIssue, *pub, work.issue, mask);
        apply(setStartPage, *pub, work.firstPage, mask);
        apply(setEndPage, *pub, work.lastPage, mask);
        apply(setPages, *pub, work.pages, mask);
        apply(setPublisher, *pub, work.publisher, mask);
        if (fieldMaskOut_ != nullptr) *fieldMaskOut_ |= mask;
        pub->splitAuthors();
        pub->deriveAge(list_);
    }

    VroPublicationList& list_;
    uint32_t* fieldMaskOut_;
    uint32_t records_ = 0;
    Source decided_ = Source::kNone;
    ResultCode failure_ = kResultOk;
    XpString authors_[3];
    XpString16 value16_;
};

bool isJsonWhiteSpace(unsigned char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool onlyWhiteSpace(const unsigned char* begin, const unsigned char* end) noexcept {
    return std::all_of(begin, end, isJsonWhiteSpace);
}

size_t countLines(const unsigned char* begin, const unsigned char* end) noexcept {
    size_t lines = 0;
    while (begin < end) {
        const void* nl = std::memchr(begin, '\n', size_t(end - begin));
        if (nl == nullptr) break;
        ++lines;
        begin = static_cast<const unsigned char*>(nl) + 1;
    }
    return lines;
}

// The input held for parsing: whole lines read so far and not yet parsed,
// with the padding the parser may read past the end.
class JsonBuffer {
public:
    ~JsonBuffer() { std::free(bytes_); }
    unsigned char* bytes_ = nullptr;
    size_t length_ = 0;
    size_t capacity_ = 0;  // padding excluded

    bool reserve(size_t capacity) noexcept {
        if (capacity <= capacity_) return true;
        auto* grown = static_cast<unsigned char*>(std::realloc(bytes_, capacity + simdjson::SIMDJSON_PADDING));
        if (grown == nullptr) return false;
        bytes_ = grown;
        capacity_ = capacity;
        return true;
    }
    void drop(size_t count) noexcept {
        std::memmove(bytes_, bytes_ + count, length_ - count);
        length_ -= count;
    }
};

// Where a document that failed starts: for JSON Lines the first line from
// there that is not a JSON value by itself, else the document's first line.
size_t failedLine(const unsigned char* bytes, size_t from, size_t end, size_t lineOfFrom) noexcept {
    simdjson::dom::parser parser;
    size_t line = lineOfFrom;
    for (size_t at = from; at < end; ++line) {
        const void* nl = std::memchr(bytes + at, '\n', end - at);
        const size_t stop = nl != nullptr ? size_t(static_cast<const unsigned char*>(nl) - bytes) : end;
        if (!onlyWhiteSpace(bytes + at, bytes + stop)) {
            simdjson::dom::element element;
            if (parser.parse(bytes + at, stop - at, false).get(element) != simdjson::SUCCESS)
                return at == from ? lineOfFrom : line;
        }
        at = stop + 1;
    }
    return lineOfFrom;
}

}  // namespace

ResultCode probeJson(const XpString16& firstLine, bool* accepted) noexcept {
    const char16_t* unit = firstLine.data();
    const char16_t* const end = firstLine.end();
    while (unit != end && (*unit == u' ' || *unit == u'\t')) ++unit;
    *accepted = unit != end && (*unit == u'{' || *unit == u'[');
    return kResultOk;
}

ResultCode readJsonExport(const VroImportFormat& format, VroInputStream& input, VroPublicationList& list,
                          uint32_t* fieldMaskOut, const char** readAs) noexcept {
    if (fieldMaskOut != nullptr) *fieldMaskOut = 0;
    (void)format;
    *readAs = nullptr;
    if (input.recordingLost()) return kErrNoMemory;

    JsonBuffer buffer;
    {
        unsigned char* recorded = nullptr;
        size_t count = 0;
        input.takeRecording(&recorded, &count);
        buffer.bytes_ = recorded;
        buffer.length_ = buffer.capacity_ = count;
        if (recorded != nullptr && !buffer.reserve(count)) {
            // realloc keeps the block on failure; the buffer frees it.
            return kErrNoMemory;
        }
    }
    const unsigned char* b = buffer.bytes_;
    if (buffer.length_ >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF) {
        buffer.drop(3);
    } else if (buffer.length_ >= 2 && ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == 0xFE && b[1] == 0xFF))) {
        logMessage(kLogError, kErrIllegalSequence, "%s: JSON text must be UTF-8", input.name());
        return kErrIllegalSequence;
    }

    JsonReader reader(list, fieldMaskOut);
    sj::parser parser;
    size_t linesBefore = 1;  // the line the buffer starts on
    size_t readSize = kReadBlock;
    // The parser's capacity only grows, in whole blocks: sized anew for each
    // window it would give its index arrays back and fault them in again.
    size_t batch = 0;
    bool ended = false;
    ResultCode result = kResultOk;
    for (;;) {
        if (!ended) {
            if (!buffer.reserve(buffer.length_ + readSize)) return kErrNoMemory;
            size_t got = 0;
            const ResultCode rc = input.read(buffer.bytes_ + buffer.length_, readSize, readSize, &got);
            buffer.length_ += got;
            if (rc == kErrEndOfFile) {
                ended = true;
            } else if (rc != kResultOk) {
                result = rc;
                break;
            }
        }
        // Whole lines only, so that a document never ends at a block's edge.
        size_t window = buffer.length_;
        if (!ended) {
            while (window > 0 && buffer.bytes_[window - 1] != '\n') --window;
            if (window == 0) {
                readSize *= 2;
                continue;
            }
        }
        unsigned char* const bytes = buffer.bytes_;
        size_t consumed = window;
        if (!onlyWhiteSpace(bytes, bytes + window)) {
            sj::document_stream stream;
            batch = std::max(batch, (window + kReadBlock - 1) / kReadBlock * kReadBlock);
            error_code error = parser.iterate_many(bytes, window, batch).get(stream);
            size_t failedAt = 0;
            if (error == simdjson::SUCCESS) {
                for (auto it = stream.begin(); it != stream.end(); ++it) {
                    failedAt = it.current_index();
                    sj::document_reference document;
                    error = (*it).get(document);
                    if (error == simdjson::SUCCESS) error = reader.readDocument(document);
                    if (error != simdjson::SUCCESS || reader.recordFailed()) break;
                }
            }
            if (reader.recordFailed()) return reader.failure();
            if (error == simdjson::SUCCESS) {
                consumed = window - stream.truncated_bytes();
                // A document the input ends inside.
                if (ended && consumed < window) {
                    error = simdjson::INCOMPLETE_ARRAY_OR_OBJECT;
                    failedAt = consumed;
                }
            }
            if (error != simdjson::SUCCESS) {
                const size_t lineOfStart = linesBefore + countLines(bytes, bytes + failedAt);
                const size_t line = failedLine(bytes, failedAt, window, lineOfStart);
                logMessage(kLogError, kErrInvalidData, "%s: line %zu is not valid JSON: %s", input.name(), line,
                           simdjson::error_message(error));
                result = kErrInvalidData;
                break;
            }
        }
        linesBefore += countLines(bytes, bytes + consumed);
        buffer.drop(consumed);
        if (ended) break;
        // Nothing whole yet: the document is longer than what was read.
        if (consumed == 0)
            readSize = std::max(readSize, std::min(kGrowth * buffer.length_, std::max(kLargestStep, buffer.length_)));
    }
    if (reader.decided() != Source::kNone) *readAs = kSourceNames[int(reader.decided())];
    if (result != kResultOk) return result;
    if (reader.decided() == Source::kNone) return kErrInvalidFileType;
    return kResultOk;
}
