// JSON exports: the same works as an OpenAlex page and as JSON Lines, and
// inputs larger than one read block, which the small test exports never
// reach.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "foundation/logging.h"
#include "report/report_writers.h"
#include "tests/support/imported.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;

const fs::path kReal = VARO_REAL_DATA_DIR;

using vt::Imported;

std::string reportOf(const Imported& r, const std::string& path) {
    if (writePlainReport(r.metrics, path.c_str(), u"label", false) != 0) return "cannot write";
    return vt::slurp(path);
}

TEST(RealExports, OpenAlexPageAndJsonLinesGiveTheSameReport) {
    const std::string name = "rkrug__openalexPro__results_page_1.json";
    if (!fs::exists(kReal / "openalex-jsonl" / name)) GTEST_SKIP() << "real export absent";
    vt::TempDir dir;
    const Imported page(kReal / "openalex-json" / name), lines(kReal / "openalex-jsonl" / name);
    ASSERT_EQ(page.rc, 0);
    ASSERT_EQ(lines.rc, 0);
    EXPECT_EQ(reportOf(page, dir / "page.txt"), reportOf(lines, dir / "lines.txt"));
}

// Lines of a work each; the one numbered broken (from 1) is cut short, or
// with unclosed its title's string is (which the parser finds only for the
// block of lines it lies in, not for the line itself).
std::string jsonLines(int count, int broken, bool unclosed = false) {
    std::string text;
    for (int i = 1; i <= count; ++i) {
        const bool open = unclosed && i == broken;
        text += R"({"id":"https://openalex.org/W)" + std::to_string(i) + R"(","title":"Work number )" +
                std::to_string(i) + (open ? "" : "\"") + R"(,"publication_year":2101,"cited_by_count":)" +
                std::to_string(i % 100);
        text += i == broken && !unclosed ? ",\"authorships\":[\n" : "}\n";
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

    const std::string unclosed = dir / "unclosed.jsonl";
    vt::spill(unclosed, jsonLines(30000, 25001, true));
    for (const std::string& path : {broken, unclosed}) {
        SCOPED_TRACE(path);
        const std::string logPath = dir / "log.txt";
        ASSERT_EQ(logOpen(kLogToFile, logPath.c_str()), 0);
        Imported r(path);
        logClose();
        EXPECT_EQ(r.rc, kErrInvalidData);
        EXPECT_NE(vt::slurp(logPath).find(path + ": line 25001 is not valid JSON"), std::string::npos)
            << vt::slurp(logPath);
    }
}

}  // namespace
