// Scopus exports known by their columns and old Mac line ends, through the
// import driver; and the reports of every other real export, which must stay
// as the program wrote them before either was read.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "report/report_writers.h"
#include "tests/support/imported.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;

const fs::path kData = fs::path(VARO_SOURCE_DIR) / "tests/data";
const fs::path kReal = VARO_REAL_DATA_DIR;

using vt::slurp;

std::string narrow(const XpString16& text) {
    XpString out;
    EXPECT_EQ(out.assign(text), 0);
    return out.data();
}

using vt::Imported;

// The header opens a quote that a 60,000-unit line and a 10,000-unit line
// keep open: the joined row stops at 65,536 units and the rest is a row.
TEST(ScopusColumns, JoinedRowIsCutAtTheLineLimitAndTheRestReadOn) {
    vt::TempDir dir;
    vt::spill(dir / "long.csv", "Authors,Title,Year,Source title\n\"A B.\",\"" + std::string(59992, 'x') + "\n" +
                                    std::string(10000, 'y') + "\",2001,S\n");
    Imported r(dir / "long.csv");
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 2u);
    EXPECT_EQ(narrow(r.at(0).Title), std::string(59992, 'x') + "\n" + std::string(5535, 'y'));
    EXPECT_EQ(r.at(0).Year, 0);
    EXPECT_EQ(r.at(1).Rank, 2);
}

// Past the first 65,536 characters the rest of the held text meets the
// stream's, and CR LF pairs there end one line each.
TEST(OldMacLineEnds, EveryLineArrivesOnceAcrossTheFirstRead) {
    std::string text = "PT\tAU\tTI\tTC\r";
    for (int i = 0; i < 6000; ++i) text += "J\tDoe, J\tT" + std::to_string(i) + "\t1" + (i < 5000 ? "\r" : "\r\n");
    ASSERT_GT(text.find('\n'), 65536u);
    vt::TempDir dir;
    vt::spill(dir / "mac.txt", text);
    Imported r(dir / "mac.txt");
    ASSERT_EQ(r.rc, 0);
    ASSERT_EQ(r.list.count(), 6000u);
    for (uint32_t i = 0; i < 6000; ++i) ASSERT_EQ(narrow(r.at(i).Title), "T" + std::to_string(i));
    EXPECT_EQ(r.metrics.totalCites, 6000u);
}

// tests/data/real: the last standard-error line and the plain report
// of the program before these additions (tools/make-real-report-goldens),
// computed in the year of NOW.
TEST(RealExports, EveryOtherExportGivesTheSameReportAsBefore) {
    if (!fs::is_directory(kReal)) GTEST_SKIP() << "real export folder absent: " << kReal;
    const fs::path goldens = kData / "real";
    const int64_t now = std::stoll(slurp(goldens / "NOW"));
    vt::TempDir dir;
    const std::string report = dir / "report.txt";
    int cases = 0;
    for (const auto& entry : fs::recursive_directory_iterator(goldens)) {
        if (entry.path().extension() != ".report") continue;
        const std::string file = fs::relative(entry.path(), goldens).replace_extension("").string();
        SCOPED_TRACE(file);
        Imported r(kReal / file, now);
        ++cases;
        std::string got = file + ": ";
        if (r.rc != 0) {
            got += std::string("cannot import data: ") + resultMessage(r.rc) + "\n";
        } else {
            got += "imported " + r.name + " data; " + std::to_string(r.list.count()) + " publications\n";
            XpString16 label;
            ASSERT_EQ(label.assign(fs::path(file).filename().c_str()), 0);
            ASSERT_EQ(writePlainReport(r.metrics, report.c_str(), label.data(), false), 0);
            got += slurp(report);
        }
        EXPECT_EQ(got, slurp(entry.path()));
    }
    EXPECT_EQ(cases, 52);
}

}  // namespace
