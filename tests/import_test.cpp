// Import of every format, from the bytes of a file to the records: the cases
// under tests/data/formats, the in-place line splitters and the table lookup.
//
// Each tests/data/formats/<format>/<quirk>.<ext> with a <quirk>.pubs beside it
// is imported through the driver (which recognises the format from the first
// line); one in a folder importer-only/ of a format is read by that format's
// importer alone after the driver's first steps. The .pubs file holds the
// result: the result code, importer name and code, the field mask by bit
// names, what was logged, then one line per record with every field that is
// not zero or empty. Every input there has a .pubs or a .report (the plain
// report, checked by the program tests) beside it.
#include <gtest/gtest.h>

#include <dirent.h>

#include <memory>
#include <string>
#include <vector>

#include "foundation/logging.h"
#include "foundation/text_reader.h"
#include "import/csv_importer.h"
#include "import/field_handlers.h"
#include "import/import_driver.h"
#include "import/import_formats.h"
#include "import/importer.h"
#include "import/input_stream.h"
#include "import/tagged_importers.h"
#include "model/publication.h"
#include "tests/support/support.h"

namespace {

std::string shown(const XpString16& s) {
    // Long texts show their first 20 and last 34 units.
    std::string out = "\"";
    for (uint32_t i = 0; i < s.length(); ++i) {
        if (i == 20 && s.length() > 60) {
            out += "...(" + std::to_string(s.length()) + " units)...";
            i = s.length() - 34;
        }
        const char16_t c = s.data()[i];
        char escaped[12];
        std::snprintf(escaped, sizeof escaped, "\\u%04X", unsigned(c));
        out += c == '"' || c == '\\' ? std::string("\\") + char(c) : c >= 0x20 && c < 0x7F ? std::string(1, char(c)) : escaped;
    }
    return out + "\"";
}

std::string dump(const VroPublication& p, bool texts) {
    const std::pair<const char*, XpString16 VroPublication::*> textFields[] = {
        {"Type", &VroPublication::Type}, {"Title", &VroPublication::Title}, {"Authors", &VroPublication::Authors},
        {"Source", &VroPublication::Source}, {"ISSN", &VroPublication::ISSN},
        {"Publisher", &VroPublication::Publisher}, {"DOI", &VroPublication::DOI},
        {"ArticleURL", &VroPublication::ArticleURL}, {"CitationURL", &VroPublication::CitationURL},
        {"CitesURL", &VroPublication::CitesURL}, {"Abstract", &VroPublication::Abstract},
        {"AuthorIds", &VroPublication::AuthorIds}};
    const std::pair<const char*, int64_t> numbers[] = {
        {"Rank", p.Rank}, {"Use", p.Use}, {"Year", p.Year}, {"Volume", p.Volume}, {"Issue", p.Issue},
        {"StartPage", p.StartPage}, {"EndPage", p.EndPage}, {"authors", p.authorCount},
        {"CitesCount", p.CitesCount}, {"ECC", p.ECC}, {"Cites", p.Cites}};
    std::string line;
    for (const auto& [name, value] : numbers)
        if (value != 0) line += std::string(line.empty() ? "" : " ") + name + "=" + std::to_string(value);
    for (const auto& [name, field] : textFields)
        if (texts && !(p.*field).empty()) line += std::string(" ") + name + "=" + shown(p.*field);
    return line + "\n";
}

std::string codeText(uint32_t code) { return {char(code), char(code >> 8), char(code >> 16), char(code >> 24)}; }

// keptTexts: what the list retains; texts: whether the dump shows them.
std::string importAndDump(const std::string& path, const std::string& code, const std::string& logPath,
                          uint32_t keptTexts = 0xFFFFFFFFu, bool texts = true) {
    VroPublicationList list;
    list.retainTexts(keptTexts);
    XpString name;
    (void)name.assign("stale");
    uint32_t format = 1, mask = 1;
    ResultCode rc = -1;
    if (code.empty()) {
        rc = importPublications(path.c_str(), list, &format, name, &mask);
    } else {
        std::unique_ptr<VroImporter> importer;
        for (const VroImportFormat& f : kImportFormats)
            if (!importer && code == codeText(f.code)) importer.reset(new VroImporter(f));
        XpHolder<XpTextReader> reader;
        XpString16 line;
        if (!importer || openTextReader(path.c_str(), &reader) != 0) return "cannot start " + code;
        (void)reader->checkEncoding(1252);
        if (readTrimmedLine(reader.get(), line) != 0) return "cannot read the first line";
        rc = importer->importData(reader.get(), line, list, &mask);
        format = importer->formatCode();
        (void)name.assign(importer->name());
    }
    list.endImport();
    std::string out = "rc " + std::to_string(rc) + " [" + name.data() + "] " +
                      (format ? codeText(format) : "-") +
                      " mask";
    for (int bit = 0; bit < 32; ++bit)
        if (mask >> bit & 1) out += std::string(" ") + kFieldMaskBitNames[bit];
    out += "\n";
    fflush(logState().file.load());
    for (std::string line : vt::linesOf(vt::slurp(logPath))) {
        if (size_t at = line.find(path); at != std::string::npos) line.replace(at, path.size(), "<input>");
        out += "log " + line.substr(20) + "\n";
    }
    for (uint32_t i = 0; i < list.count(); ++i) out += dump(*list.at(i), texts);
    return out;
}

// The format whose importer alone reads a folder's importer-only/ cases.
const std::pair<const char*, const char*> kImporterOnlyCodes[] = {
    {"varo-csv", "Vroc"}, {"wos-tagged", "IsiT"}, {"endnote-fields", "EndS"}};

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Inputs under folder (recursively) with the format code that reads them
// alone ("" for the driver); every input must have an expected result.
void collect(const std::string& folder, const std::string& code, std::vector<std::pair<std::string, std::string>>& out) {
    DIR* dir = opendir(folder.c_str());
    ASSERT_NE(dir, nullptr) << folder;
    while (dirent* entry = readdir(dir)) {
        const std::string name = entry->d_name, path = folder + "/" + name;
        if (name[0] == '.' || endsWith(name, ".pubs") || endsWith(name, ".report") || endsWith(name, ".md")) continue;
        if (entry->d_type == DT_DIR) {
            std::string inner;
            for (const auto& [format, formatCode] : kImporterOnlyCodes)
                if (name == "importer-only" && endsWith(folder, std::string("/") + format)) inner = formatCode;
            if (name == "importer-only") {
                EXPECT_FALSE(inner.empty()) << path;
            }
            collect(path, inner, out);
            continue;
        }
        const std::string stem = path.substr(0, path.rfind('.'));
        if (vt::exists(stem + ".pubs")) {
            out.emplace_back(path, code);
        } else {
            EXPECT_TRUE(vt::exists(stem + ".report")) << path << " has no .pubs or .report beside it";
        }
    }
    closedir(dir);
}

TEST(Import, CasesGiveTheirRecords) {
    std::vector<std::pair<std::string, std::string>> cases;
    collect(vt::dataPath("formats"), "", cases);
    ASSERT_GT(cases.size(), 20u);
    vt::TempDir dir;
    for (const auto& [path, code] : cases) {
        SCOPED_TRACE(path);
        const std::string logPath = dir / (std::to_string(&path - &cases[0].first) + ".log");
        ASSERT_EQ(logOpen(kLogToFile, logPath.c_str()), 0);
        const std::string got = importAndDump(path, code, logPath);
        logClose();
        const std::string expected = vt::slurp(path.substr(0, path.rfind('.')) + ".pubs");
        EXPECT_EQ(got, expected);
        // A BibTeX export saved as UTF-16 in either byte order reads the same,
        // but for characters past U+FFFF: the reader takes UTF-16 two bytes
        // at a time, and the first half of a pair stops the reading there.
        const std::string bytes = vt::slurp(path);
        const bool pastBmp = bytes.find_first_of("\xF0\xF1\xF2\xF3\xF4") != std::string::npos;
        if (endsWith(path, ".bib") && bytes.rfind("\xFF\xFE", 0) != 0 && !pastBmp) {
            for (const bool bigEndian : {false, true}) {
                const std::string twin = dir / (bigEndian ? "be.bib" : "le.bib"), twinLog = twin + ".log";
                const std::string unmarked = bytes.substr(bytes.rfind("\xEF\xBB\xBF", 0) ? 0 : 3);
                vt::spill(twin, vt::utf16File(vt::fromUtf8(unmarked), bigEndian));
                ASSERT_EQ(logOpen(kLogToFile, twinLog.c_str()), 0);
                EXPECT_EQ(importAndDump(twin, code, twinLog), expected) << (bigEndian ? "big" : "little") << "-endian";
                logClose();
            }
        }
        // A list that keeps no text (most are then never stored) must come to
        // the same mask, counts and numbers as one that keeps them all.
        std::string numbers[2];
        for (const uint32_t kept : {0u, 0xFFFFFFFFu}) {
            const std::string keptLog = logPath + std::to_string(kept & 1);
            ASSERT_EQ(logOpen(kLogToFile, keptLog.c_str()), 0);
            numbers[kept & 1] = importAndDump(path, code, keptLog, kept, false);
            logClose();
        }
        EXPECT_EQ(numbers[0], numbers[1]);
    }
}

// Any input reads the same gzip-compressed, whatever its layout; cut short,
// one that reads whole plain fails rather than passing for a whole export.
TEST(Import, CompressedCasesGiveTheirRecordsAndFailWhenCut) {
    std::vector<std::pair<std::string, std::string>> cases;
    collect(vt::dataPath("formats"), "", cases);
    vt::TempDir dir;
    const std::string packed = dir / "input.gz", cut = dir / "cut.gz";
    int run = 0;
    auto dumpOf = [&](const std::string& path) {
        const std::string logPath = dir / (std::to_string(++run) + ".log");
        EXPECT_EQ(logOpen(kLogToFile, logPath.c_str()), 0);
        std::string got = importAndDump(path, "", logPath);
        logClose();
        return got;
    };
    for (const auto& [path, code] : cases) {
        if (!code.empty() || endsWith(path, ".gz")) continue;
        SCOPED_TRACE(path);
        const std::string plain = dumpOf(path), compressed = vt::gzipped(vt::slurp(path));
        vt::spill(packed, compressed);
        EXPECT_EQ(dumpOf(packed), plain);
        if (plain.rfind("rc 0 ", 0) != 0) continue;
        vt::spill(cut, compressed.substr(0, compressed.size() / 2));
        EXPECT_EQ(dumpOf(cut).rfind("rc 537 ", 0), 0u);
    }
}

// The import's input keeps the read contract of every stream, plain or
// compressed, with the source handing out two bytes a call.
TEST(Import, InputStreamReadsHonourMinimumPlainOrCompressed) {
    // One byte of the two looked at first; reads within, of exactly what is
    // left, of one more and across the end.
    const struct { size_t minimum, maximum; ResultCode code; size_t count; } cases[] = {
        {1, 1, kResultOk, 1},   {1, 3, kResultOk, 3},   {5, 5, kResultOk, 5},      {11, 11, kResultOk, 11},
        {11, 12, kResultOk, 11}, {12, 16, kErrEndOfFile, 11}, {0, 0, kResultOk, 0}, {4, 3, kErrInvalidArgument, 0}};
    // Plain text, compressed text, and plain text that starts with one byte
    // of the gzip magic but not the other.
    const std::string text = "hello world", firstOnly = "\x1F" "ello world", secondOnly = "h\x8B" "llo world";
    const std::pair<std::string, std::string> inputs[] = {
        {text, text}, {vt::gzipped(text), text}, {firstOnly, firstOnly}, {secondOnly, secondOnly}};
    for (const auto& [bytes, plain] : inputs) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::to_string(bytes.size()) + ": " + std::to_string(c.minimum) + ".." + std::to_string(c.maximum));
            XpHolder<vt::MemoryStream> source;
            source.adopt(new vt::MemoryStream(bytes, 2));
            XpHolder<VroInputStream> input;
            ASSERT_EQ(VroInputStream::create(&input, source.get()), kResultOk);
            char buffer[16];
            size_t count = 99;
            EXPECT_EQ(input->read(buffer, c.minimum, c.maximum, &count), c.code);
            EXPECT_EQ(std::string(buffer, count), plain.substr(0, c.count));
            // What was handed out is what was recorded; once taken, nothing more is kept.
            for (const size_t recordedCount : {c.count, size_t(0)}) {
                unsigned char* recorded = nullptr;
                size_t kept = 99;
                input->takeRecording(&recorded, &kept);
                EXPECT_EQ(kept ? std::string(reinterpret_cast<char*>(recorded), kept) : "",
                          plain.substr(0, recordedCount));
                std::free(recorded);
                (void)input->read(buffer, 0, 1, &count);
            }
        }
    }
}

TEST(Import, ImportersRefuseAnAbsentReaderOrAnEmptyFirstLine) {
    for (const VroImportFormat& format : kImportFormats) {
        SCOPED_TRACE(format.name);
        std::unique_ptr<VroImporter> importer(new VroImporter(format));
        VroPublicationList list;
        XpString16 line;
        uint32_t mask = 7;
        EXPECT_EQ(importer->importData(nullptr, line, list, &mask), kErrInvalidArgument);
        EXPECT_EQ(mask, 0u);
        XpHolder<XpTextReader> reader;
        ASSERT_EQ(openTextReader("/dev/null", &reader), 0);
        EXPECT_EQ(importer->importData(reader.get(), line, list, nullptr), kErrInvalidArgument);
        EXPECT_EQ(list.count(), 0u);
    }
}

TEST(Import, LinesSplitInPlaceAsInTestsDataSplits) {
    using Split = char16_t* (*)(char16_t*) noexcept;
    const std::pair<std::string, Split> tagSplits[] = {
        {"colon", splitTagAtColon}, {"blank", splitTagAtWhiteSpace}, {"dash", splitTagAtDash}};
    for (const std::vector<std::string>& row : vt::tableOf("import/splits.txt")) {
        std::u16string line = vt::wide(row.at(1));
        std::string got;
        for (const auto& [name, split] : tagSplits) {
            if (row[0] != name) continue;
            const std::string value = vt::narrow(split(line.data()));  // cuts the line after the tag
            got = "[" + vt::narrow(line.c_str()) + "][" + value + "]";
        }
        if (got.empty()) {
            char16_t* fields[80];
            const uint32_t n = splitCsvLine(line.data(), row[0] == "tab" ? u'\t' : u',', fields, row[0] == "csv2" ? 2 : 64);
            for (uint32_t i = 0; i < n; ++i) got += "[" + vt::narrow(fields[i]) + "]";
        }
        EXPECT_EQ(got, row.at(2)) << row[0] << " | " << row[1];
    }
}

TEST(Import, CsvSplitLimitsAndTagComparison) {
    std::u16string seventy;
    for (int i = 0; i < 70; ++i) seventy += (i ? u"," : u"") + vt::wide(std::to_string(i));
    char16_t* fields[80];
    ASSERT_EQ(splitCsvLine(seventy.data(), u',', fields, kMaxCsvFields), 64u);
    EXPECT_EQ(std::u16string(fields[63]), u"63");
    char16_t line[] = u"a,b";
    char16_t* out[2] = {line, line};
    EXPECT_EQ(splitCsvLine(line, u',', nullptr, 4), 0u);
    EXPECT_EQ(splitCsvLine(line, u',', out, 0), 0u);
    EXPECT_EQ(out[0], line);  // untouched with no room
    EXPECT_EQ(splitCsvLine(nullptr, u',', out, 2), 0u);
    EXPECT_EQ(out[0], nullptr);
    EXPECT_TRUE(tagIs(u"TY", "TY"));
    EXPECT_TRUE(tagIs(u"", ""));
    for (const char16_t* other : {u"ty", u"TYP", u"T", u"\rTY"}) EXPECT_FALSE(tagIs(other, "TY"));
}

TEST(Import, FieldLookupNeedsATagAndATable) {
    const VroFieldBinding table[] = {{"TI", setTitle}};
    EXPECT_EQ(findFieldHandler(1, u"ti", table), setTitle);
    EXPECT_EQ(findFieldHandler(1, nullptr, table), nullptr);
    EXPECT_EQ(findFieldHandler(1, u"", table), nullptr);
    EXPECT_EQ(findFieldHandler(0, u"TI", table), nullptr);
    EXPECT_EQ(findFieldHandler(1, u"TI", nullptr), nullptr);
    EXPECT_EQ(findFieldHandler(1, u"T", table), nullptr);  // a prefix is no match
}

}  // namespace
