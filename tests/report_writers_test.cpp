#include "metrics/report_writers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "foundation/logging.h"
#include "foundation/text_writer.h"
#include "metrics/metrics_record.h"

namespace {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string golden(const char* name) {
    return readFile(std::string(VARO_SOURCE_DIR) + "/tests/data/reports/" + name);
}

// The record behind the golden files in tests/data/reports/handmade*.
VroMetrics handmade() {
    VroMetrics m;
    resetMetrics(&m);
    m.firstYear = 1998;
    m.lastYear = 2020;
    m.referenceYear = 2021;
    m.citingYears = 24;
    m.totalPapers = 42;
    m.totalCites = 1234;
    m.estimatedTotalCites = 1300;
    m.meanCitesPerPaper100 = 2938;
    m.citesPerAuthor100 = 45607;
    m.papersPerAuthor100 = 1550;
    m.hIndex = 17;
    m.a100 = 1005;
    m.m100 = 7;
    m.gIndex = 33;
    m.gh100 = 194;
    m.hcIndex = 12;
    m.ac100 = 350;
    m.hIBatista100 = 825;
    m.hINormalized = 9;
    m.acc10 = 4;
    m.meanAuthorsPerPaper100 = 317;
    m.medianAuthorsPerPaper10 = 25;
    m.authorsPerPaperMode = 2;
    // Fields no report shows: they must not leak into it.
    m.acc1 = 111;
    m.hCoverage1000 = 999;
    m.authorHistogram[1] = 5;
    m.authorHistogram[2] = 20;
    m.authorHistogram[3] = 10;
    m.authorHistogram[50] = 7;
    return m;
}

VroMetrics empty() {
    VroMetrics m;
    resetMetrics(&m);
    return m;
}

size_t columns(const std::string& line) {
    size_t n = 1;
    for (char c : line)
        if (c == ',') ++n;
    return n;
}

// Each test writes into its own directory and logs into a file there.
class ReportWriters : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vro_reports_test_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        ASSERT_EQ(logOpen(kLogToFile, file("test.log").c_str()), 0);
    }
    void TearDown() override {
        logClose();
        std::string command = "rm -rf '" + dir_ + "'";
        (void)system(command.c_str());
    }
    std::string file(const char* name) const { return dir_ + "/" + name; }
    std::string log() {
        fflush(logState().file.load());
        return readFile(file("test.log"));
    }

    std::string dir_;
};

TEST_F(ReportWriters, PlainReportMatchesGolden) {
    std::string out = file("report.txt");
    ASSERT_EQ(writePlainReport(handmade(), out.c_str(), u"Dr. M\u00fcller", false), 0);
    EXPECT_EQ(readFile(out), golden("handmade_labelled.txt"));

    ASSERT_EQ(writePlainReport(empty(), out.c_str(), nullptr, false), 0);  // replaces the file
    EXPECT_EQ(readFile(out), golden("empty.txt"));
    EXPECT_EQ(log(), "");
}

TEST_F(ReportWriters, CsvReportMatchesGolden) {
    std::string out = file("report.csv");
    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), u"J Smith", true, false), 0);
    EXPECT_EQ(readFile(out), golden("handmade_labelled_header.csv"));

    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), u"", false, false), 0);
    EXPECT_EQ(readFile(out), golden("handmade.csv"));

    ASSERT_EQ(writeCsvReport(empty(), out.c_str(), nullptr, true, false), 0);
    EXPECT_EQ(readFile(out), golden("empty_header.csv"));
}

TEST_F(ReportWriters, CsvColumnCounts) {
    struct Case {
        const char16_t* label;
        size_t expected;
    };
    for (Case c : {Case{nullptr, 22}, Case{u"", 22}, Case{u"lab", 23}, Case{u"Smith, J.", 24}}) {
        std::string out = file("cols.csv");
        ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), c.label, true, false), 0);
        std::string content = readFile(out).substr(3);  // after the mark
        size_t newline = content.find('\n');
        ASSERT_NE(newline, std::string::npos);
        std::string header = content.substr(0, newline);
        std::string data = content.substr(newline + 1);
        EXPECT_EQ(columns(data), c.expected);  // a comma in the label shifts the columns
        EXPECT_EQ(columns(header), c.expected == 22 ? 22u : 23u);
        EXPECT_EQ(header.rfind("label,", 0) == 0, c.expected != 22);
    }
}

TEST_F(ReportWriters, ModeAndScaledValues) {
    VroMetrics m = handmade();
    m.authorsPerPaperMode = 0xFFFFFFFFu;
    m.medianAuthorsPerPaper10 = 0xFFFFFFFEu;
    std::string plain = file("multi.txt");
    std::string csv = file("multi.csv");
    ASSERT_EQ(writePlainReport(m, plain.c_str(), nullptr, false), 0);
    ASSERT_EQ(writeCsvReport(m, csv.c_str(), nullptr, false, false), 0);
    EXPECT_NE(readFile(plain).find("Authors/paper: 3.17/429496729.4/multi (mean/median/mode)\n"), std::string::npos);
    EXPECT_NE(readFile(csv).find(",3.17,429496729.4,multi,17,"), std::string::npos);

    m.authorsPerPaperMode = 0xFFFFFFFEu;  // just below "no mode": still digits
    ASSERT_EQ(writeCsvReport(m, csv.c_str(), nullptr, false, false), 0);
    EXPECT_NE(readFile(csv).find(",4294967294,"), std::string::npos);
}

TEST_F(ReportWriters, AppendingAddsNoSecondMark) {
    std::string out = file("append.csv");
    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), nullptr, false, true), 0);  // new file: mark
    ASSERT_EQ(writeCsvReport(handmade(), out.c_str(), nullptr, false, true), 0);
    std::string line = golden("handmade.csv");
    EXPECT_EQ(readFile(out), line + line.substr(3));

    std::string plain = file("append.txt");
    ASSERT_EQ(writePlainReport(empty(), plain.c_str(), nullptr, false), 0);
    ASSERT_EQ(writePlainReport(empty(), plain.c_str(), nullptr, true), 0);
    std::string report = golden("empty.txt");
    EXPECT_EQ(readFile(plain), report + report.substr(3));
}

TEST_F(ReportWriters, OpenFailuresAreLoggedInTheirOwnWording) {
    std::string out = file("missing/report.txt");
    EXPECT_EQ(writePlainReport(handmade(), out.c_str(), nullptr, false), kErrNoSuchFile);
    EXPECT_EQ(writeCsvReport(handmade(), out.c_str(), nullptr, true, false), kErrNoSuchFile);
    std::string text = log();
    std::string message = resultMessage(kErrNoSuchFile);
    EXPECT_NE(text.find("[error] " + out + ": metrics file open failed: [2] " + message + "\n"), std::string::npos);
    EXPECT_NE(text.find("[error] " + out + ": open metrics file failed: [2] " + message + "\n"), std::string::npos);
}

TEST_F(ReportWriters, FullDeviceFailsAtCloseOrWrite) {
    // A short report stays in the buffer: the failure comes at close.
    EXPECT_EQ(writePlainReport(handmade(), "/dev/full", nullptr, false), kErrNoSpace);
    std::string message = resultMessage(kErrNoSpace);
    EXPECT_NE(log().find("[error] /dev/full: close failed: [28] " + message + "\n"), std::string::npos);

    // A label longer than the buffer makes the body itself fail.
    std::u16string label(5000, u'x');
    EXPECT_EQ(writePlainReport(handmade(), "/dev/full", label.c_str(), false), kErrNoSpace);
    EXPECT_EQ(writeCsvReport(handmade(), "/dev/full", label.c_str(), false, false), kErrNoSpace);
    std::string text = log();
    size_t first = text.find("[error] /dev/full: write failed: [28] " + message + "\n");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(text.find("/dev/full: write failed", first + 1), std::string::npos);
}

TEST_F(ReportWriters, BodiesNeedAWriter) {
    EXPECT_EQ(formatPlainReport(handmade(), nullptr, nullptr), kErrInvalidArgument);
    EXPECT_EQ(formatCsvReport(handmade(), nullptr, nullptr, true), kErrInvalidArgument);
}

}  // namespace
