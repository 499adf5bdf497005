// The report writers on a hand-made metrics record with the golden files of
// tests/data/report. Open and write failures, and appending, are checked on
// the built program (tests/data/program).
#include "report/report_writers.h"

#include <gtest/gtest.h>

#include <string>

#include "foundation/logging.h"
#include "model/metrics_record.h"
#include "tests/support/support.h"

namespace {

// The record behind tests/data/report/handmade*.
VroMetrics handmade() {
    VroMetrics m;
    resetMetrics(&m);
    m.firstYear = 1998, m.lastYear = 2020, m.referenceYear = 2021, m.citingYears = 24;
    m.totalPapers = 42, m.totalCites = 1234, m.estimatedTotalCites = 1300, m.meanCitesPerPaper100 = 2938;
    m.citesPerAuthor100 = 45607, m.papersPerAuthor100 = 1550, m.hIndex = 17, m.a100 = 1005, m.m100 = 7;
    m.gIndex = 33, m.gh100 = 194, m.hcIndex = 12, m.ac100 = 350, m.hIBatista100 = 825, m.hINormalized = 9;
    m.acc10 = 4, m.meanAuthorsPerPaper100 = 317, m.medianAuthorsPerPaper10 = 25, m.authorsPerPaperMode = 2;
    // Fields no report shows: they must not leak into it.
    m.acc1 = 111, m.hCoverage1000 = 999;
    m.authorHistogram[1] = 5, m.authorHistogram[2] = 20, m.authorHistogram[3] = 10, m.authorHistogram[50] = 7;
    return m;
}

TEST(ReportWriters, ReportsMatchTheGoldenFiles) {
    vt::TempDir dir;
    ASSERT_EQ(logOpen(kLogToFile, (dir / "test.log").c_str()), 0);
    const std::string out = dir / "report", golden = vt::dataPath("report/");
    VroMetrics empty;
    resetMetrics(&empty);
    ASSERT_EQ(writePlainReport(handmade(), out.c_str(), u"Dr. M\u00fcller", false), 0);
    EXPECT_EQ(vt::slurp(out), vt::slurp(golden + "handmade_labelled.txt"));
    ASSERT_EQ(writePlainReport(empty, out.c_str(), nullptr, false), 0);  // replaces the file
    EXPECT_EQ(vt::slurp(out), vt::slurp(golden + "empty.txt"));
    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), u"J Smith", true, false), 0);
    EXPECT_EQ(vt::slurp(out), vt::slurp(golden + "handmade_labelled_header.csv"));
    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), u"", false, false), 0);
    EXPECT_EQ(vt::slurp(out), vt::slurp(golden + "handmade.csv"));
    ASSERT_EQ(writeCsvReport(empty, out.c_str(), nullptr, true, false), 0);
    EXPECT_EQ(vt::slurp(out), vt::slurp(golden + "empty_header.csv"));
    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), nullptr, false, true), 0);  // appended: no second mark
    EXPECT_EQ(vt::slurp(out), vt::slurp(golden + "empty_header.csv") + vt::slurp(golden + "handmade.csv").substr(3));

    // "multi" only for all ones; scaled values print whole part and remainder.
    VroMetrics m = handmade();
    m.authorsPerPaperMode = 0xFFFFFFFFu;
    m.medianAuthorsPerPaper10 = 0xFFFFFFFEu;
    ASSERT_EQ(writePlainReport(m, out.c_str(), nullptr, false), 0);
    EXPECT_NE(vt::slurp(out).find("Authors/paper: 3.17/429496729.4/multi (mean/median/mode)\n"), std::string::npos);
    ASSERT_EQ(writeCsvReport(m, out.c_str(), nullptr, false, false), 0);
    EXPECT_NE(vt::slurp(out).find(",3.17,429496729.4,multi,17,"), std::string::npos);
    m.authorsPerPaperMode = 0xFFFFFFFEu;
    ASSERT_EQ(writeCsvReport(m, out.c_str(), nullptr, false, false), 0);
    EXPECT_NE(vt::slurp(out).find(",4294967294,"), std::string::npos);

    // A label longer than the buffer makes the body itself fail, in either writer.
    const std::u16string label(5000, u'x');
    EXPECT_EQ(writePlainReport(handmade(), "/dev/full", label.c_str(), false), kErrNoSpace);
    EXPECT_EQ(writeCsvReport(handmade(), "/dev/full", label.c_str(), false, false), kErrNoSpace);
    logClose();
    EXPECT_EQ(vt::linesOf(vt::slurp(dir / "test.log")).size(), 2u);
    EXPECT_EQ(formatPlainReport(handmade(), nullptr, nullptr), kErrInvalidArgument);
    EXPECT_EQ(formatCsvReport(handmade(), nullptr, nullptr, true), kErrInvalidArgument);
}

}  // namespace
