// The delimited-text layouts known by their header's columns: the real
// exports of the open sources and of Web of Science saved as CSV against the
// figures of their provenance, whether an export carries counts at all, and
// the header rules no single test export shows.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/strings.h"
#include "import/csv_importer.h"
#include "import/csv_layouts.h"
#include "import/field_handlers.h"
#include "import/format_explanation.h"
#include "import/import_formats.h"
#include "tests/support/imported.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;

const fs::path kReal = VARO_REAL_DATA_DIR;

using vt::Imported;

// The real exports of every table below against the figures of their
// provenance, read plain and gzip-compressed; a last "yes" or "no" column
// says whether every record or none met a count field.
TEST(RealExports, GiveTheFiguresOfTheirProvenancePlainAndCompressed) {
    if (!fs::is_directory(kReal)) GTEST_SKIP() << "real export folder absent: " << kReal;
    vt::TempDir dir;
    int cases = 0;
    for (const char* table : {"real/imports.txt", "real/csv-layouts.txt", "real/json-exports.txt", "real/bibtex.txt"}) {
        for (const std::vector<std::string>& row : vt::tableOf(table)) {
            const std::string path = kReal / row.at(0);
            ASSERT_TRUE(fs::exists(path)) << path << " listed but absent";
            vt::spill(dir / "export.gz", vt::gzipped(vt::slurp(path)));
            for (const std::string& input : {path, dir / "export.gz"}) {
                SCOPED_TRACE(input);
                const Imported r(input);
                EXPECT_EQ(r.rc, 0);
                EXPECT_EQ(r.name, row.at(1));
                EXPECT_EQ(r.list.count(), std::stoul(row.at(2)));
                EXPECT_EQ(r.metrics.totalCites, std::stoul(row.at(3)));
                EXPECT_EQ(r.metrics.hIndex, std::stoul(row.at(4)));
                const std::string counts = row.size() > 5 ? row[5] : "";
                EXPECT_EQ(r.withCountField(), counts == "yes" ? r.list.count() : counts == "no" ? 0 : r.withCountField());
            }
            ++cases;
        }
    }
    EXPECT_EQ(cases, 29);
}

// Exports that look like their layout but hold no count field: no record
// says it met one. Those that have one say so even where the count is 0.
TEST(RealExports, ExportsWithoutCountFieldsAreToldApart) {
    if (!fs::is_directory(kReal)) GTEST_SKIP() << "real export folder absent: " << kReal;
    const struct { const char* file; bool counts; } cases[] = {
        {"openalex-tagged/r-packages-mirrror__metabefor__example-2---OpenAlex---RIS-format.ris", false},
        {"openalex-tagged/r-packages-mirrror__metabefor__example-2---WoS-format---works-2024-08-06T13-21-54.txt",
         false},
        {"gscholar-csv/kingjr__citations.csv", false},
        {"wos-tagged/synthesisr__zoorec.txt", false},
        {"wos-tagged/refsplitr__BITR_test.txt", true},
        {"scopus-csv-newer/tethne__scopus.csv", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        if (!fs::exists(kReal / c.file)) continue;
        Imported r(kReal / c.file);
        ASSERT_EQ(r.rc, 0);
        ASSERT_GT(r.list.count(), 0u);
        EXPECT_EQ(r.withCountField(), c.counts ? r.list.count() : 0u);
    }
}

// The rows that describe their header: what they require binds (count and
// preferred columns are in the binding table), and an entry's titles are
// found whatever their letter case.
TEST(CsvLayouts, DescribedColumnsAreBoundByTheirRow) {
    int rows = 0;
    for (const VroImportFormat& format : kImportFormats) {
        if (format.header == nullptr) continue;
        SCOPED_TRACE(format.name);
        ++rows;
        EXPECT_EQ(format.read, readCsvLayoutRecords);
        EXPECT_NE(format.header->counts, nullptr);
        std::vector<const char*> bound{format.header->counts};
        bound.insert(bound.end(), format.header->preferred.begin(), format.header->preferred.end());
        for (const std::string entry : bound) {
            for (size_t at = 0, bar; at <= entry.size(); at = bar + 1) {
                bar = entry.find('|', at);
                if (bar == std::string::npos) bar = entry.size();
                const std::u16string title = vt::wide(entry.substr(at, bar - at));
                EXPECT_NE(findFieldHandler(uint32_t(format.fields.size()), title.c_str(), format.fields.data()),
                          nullptr)
                    << entry.substr(at, bar - at);
            }
        }
    }
    EXPECT_EQ(rows, 5);
    EXPECT_EQ(alternativeIndex(u"TIMES CITED, WOS CORE", "a|Times Cited, WoS Core"), 1);
    EXPECT_EQ(alternativeIndex(u"Times Cited", "Times Cited, WoS Core|TC"), -1);
    EXPECT_EQ(alternativeIndex(u"", "a||b"), 1);
    EXPECT_EQ(alternativeIndex(nullptr, "a") + alternativeIndex(u"a", nullptr), -2);
}

// A header one column short of a layout: the missing column is named by its
// bit, so that the explanation can say which.
TEST(CsvLayouts, HeaderShortOfOneColumnNamesIt) {
    const char* required[] = {"Article Title|Title", "Publication Year"};
    VroCsvHeader header{.firstColumn = "Lens ID", .required = required, .counts = "Citing Works Count|TC"};
    const struct { const char16_t* line; char16_t separator; uint32_t missing; } cases[] = {
        {u"Lens ID,Title,Publication Year,TC", u',', 0},
        {u"lens id,TITLE, Publication Year ,\"tc\"", u',', 0},
        {u"Title,Lens ID,Publication Year,TC", u',', kMissingFirstColumn},
        {u"Lens ID,Title,Publication Year,Citing Patents Count", u',', kMissingCounts},
        {u"Lens ID;Article Title;TC", u';', kMissingRequired << 1},
        {u"Lens ID,Title;Publication Year;TC", u',', kMissingRequired * 3 | kMissingCounts},
        {u"", u',', kMissingFirstColumn | kMissingCounts | kMissingRequired | kMissingRequired << 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(vt::narrow(c.line));
        VroCsvTitles titles;
        const std::u16string line = c.line;
        ASSERT_EQ(titles.split(line.data(), uint32_t(line.size()), c.separator), 0);
        EXPECT_EQ(missingColumns(titles, header), c.missing);
        ResultCode rc = -1;
        EXPECT_EQ(findCsvSeparator(line.data(), uint32_t(line.size()), header, &rc), c.missing ? 0 : c.separator);
        EXPECT_EQ(rc, 0);
    }
}

// Of a title given twice only the first place binds; of alternatives only the
// most preferred present, wherever it stands; columns past the last bound
// one are left out.
TEST(CsvLayouts, EachTitleBindsOnceAndOnlyThePreferredOfAnEntry) {
    const char* preferred[] = {"title|display_name"};
    const VroCsvHeader header{.counts = "cited_by_count|Citation count", .preferred = preferred};
    const VroFieldBinding table[] = {{"Citation count", setCites}, {"cited_by_count", setCites},
                                     {"display_name", setTitle}, {"title", setTitle}, {"Year", setYear}};
    const std::u16string line = u"display_name,Citation count,Year,TITLE,year,cited_by_count,title,other";
    VroCsvTitles titles;
    ASSERT_EQ(titles.split(line.data(), uint32_t(line.size()), u','), 0);
    ASSERT_EQ(titles.count(), 8u);
    VroFieldHandler handlers[8];
    EXPECT_EQ(chooseBoundColumns(titles, header, table, handlers), 6u);
    const VroFieldHandler expected[6] = {nullptr, nullptr, setYear, setTitle, nullptr, setCites};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(handlers[i], expected[i]) << i;
}

TEST(CsvLayouts, NoticeLineBeginsWithTheNoticeQuotedOrNot) {
    const VroCsvHeader header{.notice = "About the data:", .counts = "Times cited"};
    EXPECT_TRUE(isNoticeLine(u"\"About the data: Exported on ...\",,,", header));
    EXPECT_TRUE(isNoticeLine(u"ABOUT THE DATA: x", header));
    EXPECT_FALSE(isNoticeLine(u"\"\"About the data:", header));
    EXPECT_FALSE(isNoticeLine(u" About the data:", header));
    EXPECT_FALSE(isNoticeLine(u"About the data", header));
    EXPECT_FALSE(isNoticeLine(u"About the data: x", VroCsvHeader{}));
}

TEST(FormatExplanation, FirstLinesAsInTestsDataExplanations) {
    int cases = 0;
    for (const std::vector<std::string>& row : vt::tableOf("import/explanations.txt")) {
        SCOPED_TRACE(row.at(0));
        XpString16 line;
        (void)line.assign(row[0].data(), uint32_t(row[0].size()));
        XpString out;
        ASSERT_EQ(out.assign("stale"), 0);
        EXPECT_EQ(explainUnrecognisedLine(line, out), 0);
        EXPECT_EQ(std::string(out.data()), row.at(1));
        ++cases;
    }
    EXPECT_GT(cases, 30);
}

}  // namespace
