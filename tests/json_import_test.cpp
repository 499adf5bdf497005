// JSON exports and compressed inputs: the real exports against the figures
// of their provenance, plain and gzip-compressed; the same works as an
// OpenAlex page and as JSON Lines; and inputs larger than one read block,
// which the small test exports never reach.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "foundation/logging.h"
#include "import/import_driver.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "report/report_writers.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;

const fs::path kReal = VARO_REAL_DATA_DIR;

struct Imported {
    ResultCode rc = -1;
    std::string name;
    VroPublicationList list;
    VroMetrics metrics{};

    explicit Imported(const std::string& path) {
        XpString filter;
        rc = importPublications(path.c_str(), list, nullptr, filter, nullptr);
        name = filter.data();
        resetMetrics(metrics);
        const MetricsCalcOptions options{50};
        computeMetrics(list, &metrics, &options, 0);
    }
    std::string report(const std::string& path) const {
        if (writePlainReport(metrics, path.c_str(), u"label", false) != 0) return "cannot write";
        return vt::slurp(path);
    }
};

TEST(RealExports, JsonExportsGiveTheFiguresOfTheirProvenancePlainAndCompressed) {
    if (!fs::is_directory(kReal)) GTEST_SKIP() << "real export folder absent: " << kReal;
    vt::TempDir dir;
    int cases = 0;
    for (const std::vector<std::string>& row : vt::tableOf("real/json-exports.txt")) {
        const std::string path = kReal / row.at(0);
        ASSERT_TRUE(fs::exists(path)) << path;
        vt::spill(dir / "export.gz", vt::gzipped(vt::slurp(path)));
        for (const std::string& input : {path, dir / "export.gz"}) {
            SCOPED_TRACE(input);
            Imported r(input);
            EXPECT_EQ(r.rc, 0);
            EXPECT_EQ(r.name, row.at(1));
            EXPECT_EQ(r.list.count(), std::stoul(row.at(2)));
            EXPECT_EQ(r.metrics.totalCites, std::stoul(row.at(3)));
            EXPECT_EQ(r.metrics.hIndex, std::stoul(row.at(4)));
        }
        ++cases;
    }
    EXPECT_EQ(cases, 5);
}

TEST(RealExports, OpenAlexPageAndJsonLinesGiveTheSameReport) {
    const std::string name = "rkrug__openalexPro__results_page_1.json";
    if (!fs::exists(kReal / "openalex-jsonl" / name)) GTEST_SKIP() << "real export absent";
    vt::TempDir dir;
    const Imported page(kReal / "openalex-json" / name), lines(kReal / "openalex-jsonl" / name);
    ASSERT_EQ(page.rc, 0);
    ASSERT_EQ(lines.rc, 0);
    EXPECT_EQ(page.report(dir / "page.txt"), lines.report(dir / "lines.txt"));
}

// Lines of a work each; the one numbered broken (from 1) is cut short.
std::string jsonLines(int count, int broken) {
    std::string text;
    for (int i = 1; i <= count; ++i) {
        text += R"({"id":"https://openalex.org/W)" + std::to_string(i) + R"(","title":"Work number )" +
                std::to_string(i) + R"(","publication_year":2101,"cited_by_count":)" + std::to_string(i % 100);
        text += i == broken ? ",\"authorships\":[\n" : "}\n";
    }
    return text;
}

// Inputs over the reader's block of a megabyte: lines carried from block to
// block, a document longer than a block, and the line of a failure counted
// across blocks.
TEST(JsonImport, InputsLargerThanOneReadBlock) {
    vt::TempDir dir;
    const std::string many = dir / "many.jsonl", broken = dir / "broken.jsonl", whole = dir / "whole.json";
    vt::spill(many, jsonLines(30000, 0));
    vt::spill(broken, jsonLines(30000, 25001));
    std::string text = jsonLines(30000, 0);
    for (char& c : text)
        if (c == '\n') c = ',';
    text.back() = ']';
    vt::spill(whole, "[\n" + text);

    for (const std::string& path : {many, whole}) {
        SCOPED_TRACE(path);
        Imported r(path);
        EXPECT_EQ(r.rc, 0);
        EXPECT_EQ(r.list.count(), 30000u);
        EXPECT_EQ(r.metrics.totalCites, 300u * 4950u);
    }

    const std::string logPath = dir / "log.txt";
    ASSERT_EQ(logOpen(kLogToFile, logPath.c_str()), 0);
    Imported r(broken);
    logClose();
    EXPECT_EQ(r.rc, kErrInvalidData);
    EXPECT_NE(vt::slurp(logPath).find(broken + ": line 25001 is not valid JSON"), std::string::npos)
        << vt::slurp(logPath);
}

}  // namespace
