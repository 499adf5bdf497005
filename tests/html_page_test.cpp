// The HTML page writer: escaping of export text, metric values as decimals,
// one bar per used paper. The page as a browser sees it is checked by
// tests/html_page_check.py.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "foundation/text_writer.h"
#include "report/html_page.h"
#include "report/markup_text.h"
#include "metrics/metrics_calc.h"
#include "model/publication.h"

namespace {

// Runs write on a writer over a temporary file and returns what it wrote.
template <class Write>
std::string written(Write write) {
    FILE* file = std::tmpfile();
    XpHolder<XpTextWriter> writer;
    EXPECT_EQ(openTextWriterOnStdio(file, 0, &writer), 0);
    EXPECT_EQ(write(writer.get()), 0);
    EXPECT_EQ(writer->flush(), 0);
    std::string text(size_t(std::ftell(file)), '\0');
    std::rewind(file);
    text.resize(std::fread(text.data(), 1, text.size(), file));
    std::fclose(file);
    return text;
}

std::string escaped(const char* utf8) {
    return written([&](XpTextWriter* w) {
        writeMarkupText(w, utf8);
        return kResultOk;
    });
}

}  // namespace

TEST(HtmlPage, ExportTextNeverActsAsMarkup) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"<script>alert('x')</script>", "&lt;script&gt;alert(&#39;x&#39;)&lt;/script&gt;"},
        {"R&D \"quoted\"", "R&amp;D &quot;quoted&quot;"},
        {"a\tb\nc\rd", "a b c d"},
        {"\x01\x1f\x7f", "\u2401\u241f\u2421"},              // controls as their pictures
        {"\xc2\x85|\xef\xbf\xbe|\xff|\xe2\x82", "\ufffd|\ufffd|\ufffd|\ufffd"},  // C1, U+FFFE, bad, cut
        {"M\xc3\xbcller \xe2\x80\x94 \xf0\x9f\x98\x80", "M\xc3\xbcller \xe2\x80\x94 \xf0\x9f\x98\x80"},
        // C1 from U+0080 to U+009F and the noncharacters U+FDD0 to U+FDEF, their neighbours kept
        {"\xc2\x80\xc2\x9f\xc2\xa0|\xef\xb7\x8f\xef\xb7\x90\xef\xb7\xaf\xef\xb7\xb0",
         "\ufffd\ufffd\xc2\xa0|\ufdcf\ufffd\ufffd\ufdf0"},
    };
    for (const auto& c : cases) EXPECT_EQ(escaped(c.in), c.out) << c.in;
    // Pair, fullwidth A, lone low, NUL, U+DFFF alone, the top pair U+10FFFF (a noncharacter) and U+10000 at the
    // end; one unit short, a high half whose low half lies past the length.
    const char16_t units[] = {0xD83D, 0xDE00, 0xFF21, 0xDC00, 0, 0xDFFF, 0xDBFF, 0xDFFF, 0xD800, 0xDC00};
    const char* const expected[] = {"\xf0\x9f\x98\x80\xef\xbc\xa1\ufffd\u2400\ufffd\ufffd\xf0\x90\x80\x80",
                                    "\xf0\x9f\x98\x80\xef\xbc\xa1\ufffd\u2400\ufffd\ufffd\ufffd"};
    for (uint32_t cut = 0; cut < 2; ++cut)
        EXPECT_EQ(written([&](XpTextWriter* w) {
                      writeMarkupText(w, units, 10 - cut);
                      return kResultOk;
                  }),
                  expected[cut]);
    // A given length ends the text even inside a sequence; no text writes nothing; tenths keep their sign.
    EXPECT_EQ(written([&](XpTextWriter* w) {
                  writeMarkupText(w, "ab\xc3\xa9", 3);
                  writeMarkupText(w, static_cast<const char*>(nullptr), 3);
                  writeMarkupText(w, static_cast<const char16_t*>(nullptr), 3);
                  writeTenths(w, -15);
                  return kResultOk;
              }),
              "ab\ufffd-1.5");
}

TEST(HtmlPage, SectionEscapesTitlesAndShowsEveryUsedPaperAndScaledValue) {
    VroPublicationList list;
    const struct { uint32_t cites; int32_t use; const char16_t* title; } papers[] = {
        {12, 1, u"<script>x</script> & co"}, {5, 1, u"Two"}, {900, 0, u"Unused"}, {1, 1, u"Three"}};
    for (const auto& p : papers) {
        VroPublication* pub = list.add();
        ASSERT_NE(pub, nullptr);
        pub->Cites = p.cites;
        pub->Use = p.use;
        pub->Year = 2101;
        ASSERT_EQ(pub->Title.assign(p.title), 0);
    }
    VroMetrics m;
    computeMetrics(list, &m, nullptr, 0);
    m.a100 = 531;          // shown with two decimals whatever the calculation said
    m.hCoverage1000 = 45;  // three decimals
    m.medianCitesPerPaper10 = 53;  // one
    m.authorsPerPaperMode = kNoMode;
    const std::string page = written([&](XpTextWriter* w) {
        return writeHtmlSection(w, VroHtmlSection{u"a&b<c>.ris", "RIS", &list, &m});
    });
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_NE(page.find("<h2>a&amp;b&lt;c&gt;.ris</h2>"), std::string::npos);
    EXPECT_NE(page.find("&lt;script&gt;x&lt;/script&gt; &amp; co</td>"), std::string::npos);  // h-core list
    for (const char* part : {"\"a_100\" data-raw=\"531\">5.31<", "\"h_coverage_1000\" data-raw=\"45\">0.045<",
                             "\"authors_per_paper_mode\" data-raw=\"4294967295\">none<", "\"h\" data-raw=\"2\">2<",
                             "\"year_first\" data-raw=\"2101\">2101<", "class=\"h-marker\" data-rank=\"2\"",
                             // a marker's label stands right of its line, or left of it near the right edge
                             "x=\"444\" y=\"33\" text-anchor=\"start\">h = 2<",
                             "x=\"620\" y=\"49\" text-anchor=\"end\">g = 3<",
                             "\"cites_per_paper_median_10\" data-raw=\"53\">5.3<",
                             "text-anchor=\"end\">0</text>",  // a linear axis labels its zero
                             "Mid-grey bars", "data-year=\"2101\" data-papers=\"3\"",  // one year, three papers
                             "y=\"296\" text-anchor=\"middle\">2101<"})
        EXPECT_NE(page.find(part), std::string::npos) << part;
    size_t bars = 0;
    for (size_t at = 0; (at = page.find("<rect class=\"paper", at)) != std::string::npos; ++at) ++bars;
    EXPECT_EQ(bars, 3u);  // the unused paper has no bar

    // With g equal to h there is no rest of the g-core to explain.
    VroPublicationList one;
    VroPublication* only = one.add();
    ASSERT_NE(only, nullptr);
    only->Cites = 1;
    only->Use = 1;
    computeMetrics(one, &m, nullptr, 0);
    const std::string single = written([&](XpTextWriter* w) {
        return writeHtmlSection(w, VroHtmlSection{u"one", "RIS", &one, &m});
    });
    EXPECT_NE(single.find("class=\"g-marker\""), std::string::npos);
    EXPECT_EQ(single.find("Mid-grey bars"), std::string::npos);
}

// A section, a group's row or chart without its writer or its metrics is refused
// before anything is written.
TEST(HtmlPage, MissingWriterOrMetricsIsRefused) {
    VroMetrics m{};
    VroPublicationList list;
    FILE* file = std::tmpfile();
    XpHolder<XpTextWriter> writer;
    ASSERT_EQ(openTextWriterOnStdio(file, 0, &writer), 0);
    EXPECT_EQ(writeHtmlSection(writer.get(), VroHtmlSection{u"x", "RIS", &list, nullptr}), kErrInvalidArgument);
    EXPECT_EQ(writeHtmlSection(nullptr, VroHtmlSection{u"x", "RIS", &list, &m}), kErrInvalidArgument);
    EXPECT_EQ(writeHtmlGroupChart(writer.get(), VroHtmlGroupRow{u"k", u"n", nullptr}, list), kErrInvalidArgument);
    EXPECT_EQ(writeHtmlGroupChart(nullptr, VroHtmlGroupRow{u"k", u"n", &m}, list), kErrInvalidArgument);
    EXPECT_EQ(writeHtmlGroupRow(writer.get(), VroHtmlGroupRow{u"k", u"n", nullptr}), kErrInvalidArgument);
    EXPECT_EQ(writer->flush(), 0);
    EXPECT_EQ(std::ftell(file), 0);
    writer.reset();
    std::fclose(file);
}
