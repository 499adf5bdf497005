// BibTeX: the plain text a value gives, the first lines that start an
// entry, and the line varoreport writes for an export without counts (the
// real exports' figures are checked with the others', tests/data/real).
#include <gtest/gtest.h>

#include <algorithm>
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
#include "foundation/utf.h"
#include "tests/support/imported.h"
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

// More than one read block of entries with the syntax's turns: names and
// accents outside ASCII (oddName in every seventh), values over two lines,
// joined entries, entries left open, a zero byte, @string and '#'.
std::string manyEntries(int count, const std::string& oddName = "\xE1\xB8\x80ng") {
    std::string text = "@comment{The first line is read in the fallback code page, the rest as UTF-8}\n"
                       "@string{jn = \"Revue d'\xC3\x89tudes\"}\n";
    for (int i = 0; i < count; ++i) {
        const std::string n = std::to_string(i);
        text += "@article{k" + n + ",\n  author = {M\xC3\xBCller, J. and " +
                (i % 7 == 0 ? oddName : "Ng") + ", A." + " and others},\n";
        text += "  title = {Title " + n + " on caf\xC3\xA9 and {\\'e}t\\'e --- more\n     on a second line},\n";
        text += "  year = " + std::to_string(2101 + i % 5) + ", journal = jn # \" " + n + "\",\n";
        text += "  note = {Cited by: " + std::to_string(i % 13) + "; Open},\n  abstract = {";
        for (int w = 0; w < 12; ++w) text += "words of an abstract ";
        if (i % 40 == 5) text += std::string("with a zero ") + '\0' + " byte";
        text += "}";
        if (i % 50 != 17) text += "\n}";  // left open: the next entry's line ends it
        if (i % 10 != 3) text += "\n";     // joined: the next entry follows the brace
    }
    return text;
}

std::string listing(const std::string& path) {
    vt::Imported got(path);
    std::string out = std::to_string(got.rc) + " " + got.name + "\n";
    for (uint32_t i = 0; i < got.list.count(); ++i) {
        const VroPublication& p = got.at(i);
        XpString texts;
        for (const XpString16* text : {&p.Type, &p.Title, &p.Authors, &p.Source}) {
            XpString utf8;
            (void)utf8.assign(text->data(), text->length());
            out += std::string(utf8.data()) + "|";
        }
        out += std::to_string(p.Rank) + " " + std::to_string(p.Year) + " " + std::to_string(p.Cites) + " " +
               std::to_string(p.authorCount) + "\n";
    }
    return out;
}

// The first line where two listings part, or "" when they are the same.
std::string firstDifference(const std::string& a, const std::string& b) {
    const std::vector<std::string> left = vt::linesOf(a), right = vt::linesOf(b);
    for (size_t i = 0; i < left.size() || i < right.size(); ++i) {
        const std::string l = i < left.size() ? left[i] : "(none)", r = i < right.size() ? right[i] : "(none)";
        if (l != r) return "line " + std::to_string(i) + ": " + l + " / " + r;
    }
    return "";
}

// The UTF-8 bytes are scanned where they lie, UTF-16 is read as units: both
// must give the same records, also when a byte that UTF-8 refuses turns the
// rest of the input over to the single-byte code page.
TEST(BibTeX, BytesAndUnitsReadAlike) {
    vt::TempDir dir;
    const std::string text = manyEntries(900);
    ASSERT_GT(text.size(), 3 * 65536u);
    vt::spill(dir / "bytes.bib", text);
    vt::spill(dir / "units.bib", vt::utf16File(vt::fromUtf8(text)));
    const std::string units = listing(dir / "units.bib");
    EXPECT_EQ(firstDifference(listing(dir / "bytes.bib"), units), "");
    // A character beyond U+FFFF (which this reader of UTF-16 does not take)
    // becomes its two units.
    vt::spill(dir / "astral.bib", manyEntries(2, "\xF0\x9D\x94\xB8ng"));
    EXPECT_EQ(vt::linesOf(listing(dir / "astral.bib")).at(1), "article|Title 0 on caf\xC3\xA9 and \xC3\xA9t\xC3\xA9 \xE2\x80\x94 more on a second "
                                        "line|J. M\xC3\xBCller, A. \xF0\x9D\x94\xB8ng|Revue d'\xC3\x89tudes 0|1 "
                                        "2101 0 2");
    EXPECT_EQ(std::count(units.begin(), units.end(), '\n'), 901);

    const std::string rest = "@article{latin,\n  title = {Caf\xE9 au lait},\n  note = {Cited by: 5}}\n"
                             "@article{after,\n  title = {Read on}, year = 2102}\n";
    std::u16string expected = vt::fromUtf8(text);
    for (const char c : rest) expected += char16_t(uint8_t(c));  // the same in that code page
    vt::spill(dir / "latin.bib", text + rest);
    vt::spill(dir / "latin-units.bib", vt::utf16File(expected));
    EXPECT_EQ(firstDifference(listing(dir / "latin.bib"), listing(dir / "latin-units.bib")), "");
}

}  // namespace
