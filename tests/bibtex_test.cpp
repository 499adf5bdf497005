// BibTeX: the plain text a value gives, the first lines that start an
// entry, and the line varoreport writes for an export without counts (the
// real exports' figures are checked with the others', tests/data/real).
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "import/bibtex_importer.h"
#include "import/import_driver.h"
#include "import/import_formats.h"
#include "import/tex_text.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;

const fs::path kReal = VARO_REAL_DATA_DIR;

TEST(BibTeX, ValuesBecomePlainTextAsInTestsDataTexText) {
    int cases = 0;
    for (const std::vector<std::string>& row : vt::tableOf("import/tex-text.txt")) {
        SCOPED_TRACE(row.at(1));
        const TexMode mode = row[0] == "names" ? TexMode::kNames
                             : row[0] == "verbatim" ? TexMode::kVerbatim
                                                    : TexMode::kText;
        // The value lies in a longer text that it must not read on into.
        XpString16 value;
        ASSERT_EQ(value.assign(row[1].data(), uint32_t(row[1].size())), 0);
        const uint32_t units = value.length();
        const std::string text = row[1] + "'e~\\ss}";
        ASSERT_EQ(value.assign(text.data(), uint32_t(text.size())), 0);
        const uint32_t n = texToPlainText(value.data(), units, mode);
        EXPECT_EQ(value.data()[n], 0);
        value.setLength(n);
        XpString got;
        (void)got.assign(value.data(), value.length());
        EXPECT_EQ(std::string(got.data()), row.at(2));
        ++cases;
    }
    EXPECT_GT(cases, 15);
}

TEST(BibTeX, FirstLinesThatStartTheImport) {
    const struct { const char16_t* line; bool accepted; } cases[] = {
        {u"@article{key,", true}, {u"  @ARTICLE {key,", true}, {u"@book(key,", true}, {u"Scopus", true},
        {u" Scopus ", true},      {u"@{key,", false},           {u"@ article{", false}, {u"@article key", false},
        {u"Scopus export", false}, {u"scopus", false},          {u"% @article{", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(vt::narrow(c.line));
        XpString16 line;
        ASSERT_EQ(line.assign(c.line), 0);
        bool accepted = !c.accepted;
        EXPECT_EQ(probeBibTeX(line, &accepted), 0);
        EXPECT_EQ(accepted, c.accepted);
    }
}

TEST(BibTeX, ExportWithoutCountsGetsTheNoCountsLine) {
    const fs::path file = kReal / "bibtex-nocites/Wilson008__LLMinMDE2025__ScienceDirect_citations.bib";
    if (!fs::exists(file)) GTEST_SKIP() << "absent: " << file;
    const char* hint = nullptr;
    for (const VroImportFormat& format : kImportFormats)
        if (std::string(format.name) == "BibTeX") hint = format.countHint;
    ASSERT_NE(hint, nullptr);
    vt::TempDir dir;
    const vt::Run r = vt::runProgram(VARO_REPORT_EXE, {"-q", "--year", "2026", file.string()}, dir.path);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.err, "varoreport: " + file.string() + ": no citation counts in this BibTeX export (" + hint + ")\n");
    EXPECT_NE(r.out.find(",BibTeX,100,"), std::string::npos);
}

}  // namespace
