// Delimited-text import: the in-place splitter, the header binding and the
// per-line records of VroImportCsv and its four dialects, fed from files
// through the text reader; real exports where they are available.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "foundation/strings.h"
#include "foundation/text_reader.h"
#include "import/csv_dialects.h"
#include "import/csv_importer.h"
#include "import/field_handlers.h"
#include "import/importer.h"
#include "metrics/publication.h"

namespace {

std::u16string wide(const std::string& text) { return std::u16string(text.begin(), text.end()); }
std::u16string text(const XpString16& s) { return std::u16string(s.data(), s.length()); }

// ---------------------------------------------------------------------------
// splitCsvLine

std::vector<std::u16string> split(const std::string& line, char16_t separator = u',',
                                  uint32_t maxFields = kMaxCsvFields) {
    std::u16string buffer = wide(line);
    char16_t* fields[80];
    const uint32_t n = splitCsvLine(buffer.data(), separator, fields, maxFields);
    std::vector<std::u16string> out;
    for (uint32_t i = 0; i < n; ++i) out.emplace_back(fields[i]);
    return out;
}

TEST(SplitCsvLine, FieldsAndQuotes) {
    using F = std::vector<std::u16string>;
    EXPECT_EQ(split(""), F{u""});
    EXPECT_EQ(split("a,,b"), (F{u"a", u"", u"b"}));
    EXPECT_EQ(split("a,b,"), (F{u"a", u"b", u""}));
    EXPECT_EQ(split(" a , b "), (F{u" a ", u" b "}));  // no trimming here
    EXPECT_EQ(split("\"x, y\",\"say \"\"hi\"\"\",z"), (F{u"x, y", u"say \"hi\"", u"z"}));
    EXPECT_EQ(split("\"ab\"cd,e"), (F{u"abcd", u"e"}));
    EXPECT_EQ(split("a\"b,c\"d,e"), (F{u"ab,cd", u"e"}));  // a quote opens a stretch anywhere
    EXPECT_EQ(split("\"\",\"\"\"\""), (F{u"", u"\""}));
    EXPECT_EQ(split("a,\"open, never closed"), (F{u"a", u"open, never closed"}));
    EXPECT_EQ(split("a,b\tc,d", u'\t'), (F{u"a,b", u"c,d"}));
}

TEST(SplitCsvLine, LimitsAndAbsentArguments) {
    using F = std::vector<std::u16string>;
    EXPECT_EQ(split("a,b,c,d", u',', 2), (F{u"a", u"b"}));  // the rest is dropped
    EXPECT_EQ(split("a,\"b,c\",d", u',', 2), (F{u"a", u"b,c"}));
    std::string seventy;
    for (int i = 0; i < 70; ++i) seventy += (i ? "," : "") + std::to_string(i);
    const F fields = split(seventy);
    ASSERT_EQ(fields.size(), 64u);
    EXPECT_EQ(fields[63], u"63");

    char16_t line[] = u"a,b";
    char16_t* out[2] = {line, line};
    EXPECT_EQ(splitCsvLine(line, u',', nullptr, 4), 0u);
    EXPECT_EQ(splitCsvLine(line, u',', out, 0), 0u);
    EXPECT_EQ(out[0], line);  // untouched with no room
    EXPECT_EQ(splitCsvLine(nullptr, u',', out, 2), 0u);
    EXPECT_EQ(out[0], nullptr);
}

// ---------------------------------------------------------------------------
// findFieldHandler

bool handlerA(VroPublication&, char16_t*, uint32_t&) { return true; }
bool handlerB(VroPublication&, char16_t*, uint32_t&) { return true; }
bool handlerC(VroPublication&, char16_t*, uint32_t&) { return true; }

TEST(FindFieldHandler, CaseBlindBinarySearch) {
    const VroFieldBinding table[] = {{"Cites", handlerA}, {"CitesURL", handlerB}, {"Title", handlerC}};
    EXPECT_EQ(findFieldHandler(3, u"cites", table), handlerA);
    EXPECT_EQ(findFieldHandler(3, u"CITESurl", table), handlerB);
    EXPECT_EQ(findFieldHandler(3, u"TITLE", table), handlerC);
    EXPECT_EQ(findFieldHandler(3, u"Cite", table), nullptr);  // a prefix is not a match
    EXPECT_EQ(findFieldHandler(3, u"Titles", table), nullptr);
    EXPECT_EQ(findFieldHandler(3, u"Title ", table), nullptr);
    EXPECT_EQ(findFieldHandler(3, u"T\u0130TLE", table), nullptr);  // only ASCII letters fold
    EXPECT_EQ(findFieldHandler(3, u"", table), nullptr);
    EXPECT_EQ(findFieldHandler(3, nullptr, table), nullptr);
    EXPECT_EQ(findFieldHandler(0, u"Cites", table), nullptr);
    EXPECT_EQ(findFieldHandler(3, u"Cites", nullptr), nullptr);
    // An unsorted table hides what the halving walk cannot reach.
    const VroFieldBinding unsorted[] = {{"Z", handlerA}, {"A", handlerB}, {"M", handlerC}};
    EXPECT_EQ(findFieldHandler(3, u"M", unsorted), handlerC);
    EXPECT_EQ(findFieldHandler(3, u"Z", unsorted), nullptr);
    EXPECT_EQ(findFieldHandler(3, u"A", unsorted), handlerB);
}

TEST(FindFieldHandler, EveryDialectColumnIsFoundInAnyCase) {
    const struct {
        const VroFieldBinding* table;
        uint32_t count;
    } tables[] = {{kVroCsvColumns, 21}, {kGScholarCsvColumns, 8}, {kIsiCsvColumns, 15}, {kScopusCsvColumns, 15}};
    for (const auto& t : tables) {
        for (uint32_t i = 0; i < t.count; ++i) {
            std::u16string upper;
            for (const char* k = t.table[i].key; *k; ++k) upper += char16_t(*k >= 'a' && *k <= 'z' ? *k - 32 : *k);
            EXPECT_EQ(findFieldHandler(t.count, upper.c_str(), t.table), t.table[i].handler) << t.table[i].key;
        }
    }
}

// ---------------------------------------------------------------------------
// Import through the reader

std::string tempPath() {
    char path[] = "/tmp/vro_csv_XXXXXX";
    const int fd = mkstemp(path);
    if (fd >= 0) close(fd);
    return path;
}

struct Imported {
    ResultCode rc = -1;
    uint32_t mask = 0xDEADBEEF;
    VroPublicationList list;
    VroPublication& at(uint32_t i) { return *list.at(i); }
};

// Reads a file the way the driver does: encoding check, first line read and
// handed to the importer, which reads the rest.
void importFile(VroImporter& importer, const std::string& path, Imported& out) {
    XpHolder<XpTextReader> reader;
    ASSERT_EQ(openTextReader(path.c_str(), &reader), 0) << path;
    (void)reader->checkEncoding(1252);
    XpString16 line;
    ASSERT_EQ(readTrimmedLine(reader.get(), line), 0) << path;
    out.rc = importer.importData(reader.get(), line, out.list, &out.mask);
}

void importBytes(VroImporter& importer, const std::string& bytes, Imported& out) {
    const std::string path = tempPath();
    FILE* f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    ASSERT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), f), bytes.size());
    std::fclose(f);
    importFile(importer, path, out);
    std::remove(path.c_str());
}

const char kVroHeader[] = "Cites,Authors,Title,Year,Source,Publisher,ArticleURL,CitesURL";

TEST(CsvImport, DialectsNameTheirFormat) {
    const struct {
        std::unique_ptr<VroImporter> importer;
        const char* name;
        const char* code;
    } dialects[] = {
        {std::make_unique<VroImportVroCsv>(), "Varo (CSV)", "Vroc"},
        {std::make_unique<VroImportGScholarCsv>(), "Google (CSV)", "GSCc"},
        {std::make_unique<VroImportIsiCsv>(), "ISI/WoS (tab-delimited)", "Isic"},
        {std::make_unique<VroImportScopusCsv>(), "Scopus (CSV)", "Scoc"},
    };
    for (const auto& d : dialects) {
        EXPECT_STREQ(d.importer->name(), d.name);
        const uint32_t code = d.importer->formatCode();
        EXPECT_EQ(std::string({char(code), char(code >> 8), char(code >> 16), char(code >> 24)}), d.code);
    }
}

TEST(CsvImport, BadArgumentsImportNothing) {
    VroImportVroCsv importer;
    VroPublicationList list;
    XpString16 line;
    uint32_t mask = 7;
    EXPECT_EQ(importer.importData(nullptr, line, list, &mask), kErrInvalidArgument);
    EXPECT_EQ(mask, 0u);
    Imported out;
    importBytes(importer, "\n\nTitle\nx\n", out);  // the first line read is the header: empty
    EXPECT_EQ(out.rc, kErrInvalidArgument);
    EXPECT_EQ(out.list.count(), 0u);
}

TEST(CsvImport, OneRecordPerLineBlankLinesIncluded) {
    VroImportVroCsv importer;
    Imported out;
    importBytes(importer,
                std::string(kVroHeader) + "\r\n"
                "12,\"Smith, J., Doe, K.\",\"A \"\"quoted\"\" title, with comma\",2010,J1,P1,http://a,http://c\r\n"
                "\r\n"
                "3,Lee,Second,n.d.\n"
                "   \n"
                "5,Last,No terminator",
                out);
    ASSERT_EQ(out.rc, 0);
    ASSERT_EQ(out.list.count(), 5u);
    VroPublication& first = out.at(0);
    EXPECT_EQ(text(first.Title), u"A \"quoted\" title, with comma");
    EXPECT_EQ(text(first.Authors), u"Smith, J., Doe, K.");
    EXPECT_EQ(first.authorCount, 4u);  // the Authors text is split at every comma
    EXPECT_EQ(first.Cites, 12u);
    EXPECT_EQ(first.Year, 2010);
    EXPECT_EQ(text(first.CitesURL), u"http://c");
    for (uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(out.at(i).Rank, int32_t(i + 1));
        EXPECT_EQ(out.at(i).Use, 1);
    }
    // Blank lines (also one of blanks only) are records with empty fields.
    EXPECT_TRUE(out.at(1).Title.empty());
    EXPECT_EQ(out.at(1).Cites, 0u);
    EXPECT_EQ(out.at(2).Year, 0);
    EXPECT_EQ(text(out.at(4).Title), u"No terminator");
    EXPECT_EQ(out.mask, 0x20u | 0x1 | 0x2 | 0x4 | 0x8 | 0x10 | 0x40 | 0x80 | 0x100);
}

TEST(CsvImport, HeaderBindingLimitsAndLetterCase) {
    // 70 columns: "TITLE" in column 64 binds like "Title"; "Year" in 65 is past the limit.
    std::string header;
    std::string row;
    for (int i = 0; i < 63; ++i) {
        header += "X" + std::to_string(i) + ",";
        row += "v,";
    }
    header += "TITLE,Year,a,b,c,d,e";
    row += "The title,2001,a,b,c,d,e";
    VroImportVroCsv importer;
    Imported out;
    importBytes(importer, header + "\n" + row + "\nshort\n", out);
    ASSERT_EQ(out.rc, 0);
    ASSERT_EQ(out.list.count(), 2u);
    EXPECT_EQ(text(out.at(0).Title), u"The title");
    EXPECT_EQ(out.at(0).Year, 0);
    EXPECT_TRUE(out.at(1).Title.empty());  // fewer fields than the header
    EXPECT_EQ(out.mask, 0x20u | 0x80);
}

TEST(CsvImport, VroColumnsUseRankAndEstimates) {
    VroImportVroCsv importer;
    Imported out;
    importBytes(importer,
                "Use,ECC,Cites,Title,GSRank\n"
                "0,30,12,a,7\n"
                ",0,12,b,0\n"
                "1,,9,c,x\n",
                out);
    ASSERT_EQ(out.rc, 0);
    ASSERT_EQ(out.list.count(), 3u);
    // ECC before Cites: a non-zero estimate stands, a zero one is overwritten.
    EXPECT_EQ(out.at(0).Cites, 30u);
    EXPECT_EQ(out.at(0).CitesCount, 12u);
    EXPECT_EQ(out.at(1).Cites, 12u);
    EXPECT_EQ(out.at(1).ECC, 12u);
    // Use 0 or empty keeps the record, out of the metrics.
    EXPECT_EQ(out.at(0).Use, 0);
    EXPECT_EQ(out.at(1).Use, 0);
    EXPECT_EQ(out.at(2).Use, 1);
    // GSRank replaces the line number; 0 or a non-number gives 0.
    EXPECT_EQ(out.at(0).Rank, 7);
    EXPECT_EQ(out.at(1).Rank, 0);
    EXPECT_EQ(out.at(2).Rank, 0);
    EXPECT_EQ(out.mask, 0x20u | 0x4 | 0x80 | (1u << 17));
}

TEST(CsvImport, DialectRows) {
    {  // ISI tab-delimited: commas stay inside fields; the later of PT and DT wins
        VroImportIsiCsv importer;
        Imported out;
        importBytes(importer,
                    "PT\tAU\tTI\tDT\tTC\tPY\tBP\tEP\tSN\n"
                    "J\tSmith, J; Doe, K\tOn a, b and c\tArticle\t4\t1999\t10\t20\t12345678\n",
                    out);
        ASSERT_EQ(out.list.count(), 1u);
        VroPublication& p = out.at(0);
        EXPECT_EQ(text(p.Authors), u"J Smith, K Doe");
        EXPECT_EQ(p.authorCount, 2u);
        EXPECT_EQ(text(p.Title), u"On a, b and c");
        EXPECT_EQ(text(p.Type), u"Article");
        EXPECT_EQ(p.Cites, 4u);
        EXPECT_EQ(p.EndPage, 20);
        EXPECT_EQ(text(p.ISSN), u"1234-5678");
    }
    {  // Scopus: authors by the pair rule, unknown columns ignored
        VroImportScopusCsv importer;
        Imported out;
        importBytes(importer,
                    "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,"
                    "Link,Document Type,Source,EID\n"
                    "\"Smith J., Doe\",T,2015,Src,3,2,A1,5,9,5,11,http://l,Review,Scopus,2-s2.0\n",
                    out);
        ASSERT_EQ(out.list.count(), 1u);
        VroPublication& p = out.at(0);
        EXPECT_EQ(text(p.Authors), u"Doe Smith J.");
        EXPECT_EQ(text(p.Source), u"Src");
        EXPECT_EQ(text(p.Type), u"Review");
        EXPECT_EQ(text(p.ArticleURL), u"http://l");
        EXPECT_EQ(p.Cites, 11u);
        EXPECT_EQ(p.StartPage, 5);
    }
    {  // Google: semicolon authors, pages scanned
        VroImportGScholarCsv importer;
        Imported out;
        importBytes(importer,
                    "Authors,Title,Publication,Volume,Number,Pages,Year,Publisher\n"
                    "A Smith; B Doe,T,Pub,4,1,100-110,2020,Press\n",
                    out);
        ASSERT_EQ(out.list.count(), 1u);
        VroPublication& p = out.at(0);
        EXPECT_EQ(text(p.Authors), u"A Smith, B Doe");
        EXPECT_EQ(p.StartPage, 100);
        EXPECT_EQ(p.EndPage, 110);
        EXPECT_EQ(p.Issue, 1);
    }
}

TEST(CsvImport, ByteOrderMarksAndOverlongLines) {
    {  // UTF-16LE with its mark: the header binds after the mark is consumed
        const std::string utf8 = "Title,Cites\r\n\xC3\xA9t\xC3\xA9,4\r\n";
        std::string bytes = "\xFF\xFE";
        for (char16_t c : std::u16string(u"Title,Cites\r\n\u00E9t\u00E9,4\r\n")) {
            bytes += char(c & 0xFF);
            bytes += char(c >> 8);
        }
        for (const std::string& input : {bytes, "\xEF\xBB\xBF" + utf8}) {
            VroImportVroCsv importer;
            Imported out;
            importBytes(importer, input, out);
            ASSERT_EQ(out.list.count(), 1u);
            EXPECT_EQ(text(out.at(0).Title), u"\u00E9t\u00E9");
            EXPECT_EQ(out.at(0).Cites, 4u);
        }
    }
    {  // a physical line past 65,536 characters arrives as pieces, each a record
        VroImportVroCsv importer;
        Imported out;
        importBytes(importer, "Cites,Title\n7," + std::string(70000, 'x') + "\n", out);
        ASSERT_EQ(out.list.count(), 2u);
        EXPECT_EQ(out.at(0).Cites, 7u);
        EXPECT_EQ(out.at(0).Title.length(), 65534u);
        EXPECT_EQ(out.at(1).Cites, 0u);  // the rest of the x's went to the Cites column
        EXPECT_EQ(out.at(1).Rank, 2);
    }
}

// ---------------------------------------------------------------------------
// Real exports

struct RealFile {
    const char* folder;
    const char* file;
    uint32_t publications;  // PROVENANCE.md record count unless noted
};

// Counts as the line rules give them. The one difference from PROVENANCE.md:
// egouldo__savedrecs_utf16_cr.txt ends its lines with a bare carriage return,
// and only a line feed ends a line, so the whole file is its header line and
// it yields no publications (10 records listed).
const RealFile kRealFiles[] = {
    {"scopus-csv", "JoL-Meta__scopus.csv", 333},
    {"scopus-csv", "pytrackrecord__scopus.csv", 49},
    {"scopus-csv", "papers-search__scopus_accesstype.csv", 211},
    {"scopus-csv", "collaboration_networks__sample_publication_download.csv", 160},
    {"scopus-csv", "nwb__BrainCancer.scopus", 99},
    {"wos-tabbed", "wosfile__wos_tab_delimited_win_utf16.txt", 50},
    {"wos-tabbed", "wosfile__wos_tab_delimited_win_utf8.txt", 50},
    {"wos-tabbed", "egouldo__savedrecs_utf16_cr.txt", 0},
    {"wos-tabbed", "scientopy__wos_2026_04_02_1000.txt", 1000},
    {"wos-tabbed", "scientopy__wos_2026_04_02_4071.txt", 71},
    {"wos-tabbed", "histcite-python__savedrecs.txt", 300},
    {"wos-tabbed", "imaginaries__feb_2015_alldatabases.txt", 50},
    {"gscholar-csv", "kingjr__citations.csv", 59},
    {"gscholar-csv", "FlorianWuennemann_CV__citations.csv", 15},
    {"gscholar-csv", "SunandanAdhikary__citations.csv", 26},
    {"gscholar-csv", "YuechengLiu__citations.csv", 20},
    {"gscholar-csv", "sinta-6739554__citations.csv", 14},
    {"gscholar-csv", "academic-kickstart__citations.csv", 15},
};

std::unique_ptr<VroImporter> importerFor(const std::string& folder) {
    if (folder == "scopus-csv") return std::make_unique<VroImportScopusCsv>();
    if (folder == "wos-tabbed") return std::make_unique<VroImportIsiCsv>();
    return std::make_unique<VroImportGScholarCsv>();
}

TEST(CsvImportRealData, RecordCountsMatchTheExports) {
    const std::filesystem::path root = VARO_REAL_DATA_DIR;
    if (!std::filesystem::is_directory(root)) GTEST_SKIP() << "real export folder absent: " << root;
    for (const RealFile& f : kRealFiles) {
        const std::filesystem::path path = root / f.folder / f.file;
        SCOPED_TRACE(path.string());
        if (!std::filesystem::exists(path)) {
            ADD_FAILURE() << "listed export missing";
            continue;
        }
        std::unique_ptr<VroImporter> importer = importerFor(f.folder);
        Imported out;
        importFile(*importer, path.string(), out);
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.list.count(), f.publications);
        if (f.publications == 0) continue;
        // Every export binds title and authors, and most rows carry them.
        EXPECT_NE(out.mask & 0x80, 0u);
        EXPECT_NE(out.mask & 0x2, 0u);
        EXPECT_FALSE(out.at(0).Title.empty());
    }
}

}  // namespace
