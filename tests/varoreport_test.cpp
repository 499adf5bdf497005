// Runs the built varoreport over the golden exports, the real exports beside
// the project and a directory of troublesome entries, and checks every value
// against the calculation run in this process and against varometrics.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "app/varoreport/report_run.h"
#include "collate/collation.h"
#include "collate/works.h"
#include "foundation/result_codes.h"
#include "foundation/strings.h"
#include "import/format_explanation.h"
#include "import/import_driver.h"
#include "import/importer.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "tests/support/support.h"

namespace fs = std::filesystem;
namespace {

class Varoreport : public ::testing::Test {
protected:
    // Arguments go through the shell, which splits them and unquotes names.
    vt::Run run(const std::string& exe, const std::string& args, const std::string& input = "/dev/null") {
        return vt::runProgram("/bin/sh", {"-c", "exec '" + exe + "' " + args}, dir_.path, input);
    }
    vt::Run report(const std::string& args, const std::string& input = "/dev/null") {
        return run(VARO_EXE, args, input);
    }

    vt::TempDir dir_;
};

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts(1);
    for (char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back().push_back(c);
    }
    return parts;
}

// The cells of one CSV line whose quoted cells hold no line break (file names
// here have none; an explanation quotes a first line).
std::vector<std::string> csvCells(const std::string& line) {
    std::vector<std::string> cells(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
            cells.back().push_back('"');
            ++i;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (c == ',' && !quoted) {
            cells.emplace_back();
        } else {
            cells.back().push_back(c);
        }
    }
    return cells;
}

// i10 as a reader counts it: papers taking part with 10 citations or more.
std::string papersCitedTenTimes(const VroPublicationList& list) {
    uint32_t count = 0;
    for (uint32_t i = 0; i < list.count(); ++i) count += list.at(i)->Use >= 1 && list.at(i)->Cites >= 10 ? 1 : 0;
    return std::to_string(count);
}

// Rows of a CSV report by file (grouped: by file, a tab and group key), each
// a map from column name to value.
std::map<std::string, std::map<std::string, std::string>> rowsByFile(const std::string& csv, bool grouped = false) {
    std::vector<std::string> lines = split(csv, '\n');
    std::map<std::string, std::map<std::string, std::string>> rows;
    const std::vector<std::string> header = split(lines.at(0), ',');
    for (size_t i = 1; i + 1 < lines.size(); ++i) {
        const std::vector<std::string> cells = csvCells(lines[i]);
        EXPECT_EQ(cells.size(), header.size()) << lines[i];
        const std::string key = grouped && cells.size() > 2 ? cells[2] + "\t" + cells[0] : cells[0];
        for (size_t c = 0; c < header.size() && c < cells.size(); ++c) rows[key][header[c]] = cells[c];
    }
    return rows;
}

// The golden exports of every format: each input with a plain report beside it.
std::vector<std::string> goldenExports() {
    std::vector<std::string> files;
    for (const auto& folder : fs::directory_iterator(std::string(VARO_SOURCE_DIR "/tests/data/formats"))) {
        if (!folder.is_directory()) continue;
        for (const auto& file : fs::directory_iterator(folder.path())) {
            fs::path report = file.path();
            // A quirk may have its import listing (.pubs) beside its report.
            if (file.is_regular_file() && report.extension() != ".report" && report.extension() != ".pubs" &&
                fs::exists(report.replace_extension(".report")))
                files.push_back(file.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Exports whose records met no count field at all, as the import says.
size_t withoutCounts(const std::vector<std::string>& files) {
    size_t n = 0;
    for (const std::string& file : files) {
        VroPublicationList list;
        XpString filter;
        if (importPublications(file.c_str(), list, nullptr, filter, nullptr) == kResultOk && list.count() != 0 &&
            list.countWithStatus(kStatusCountGiven) == 0)
            ++n;
    }
    return n;
}

std::string joined(const std::vector<std::string>& files) {
    std::string text;
    for (const std::string& f : files) text += "'" + f + "' ";
    return text;
}

// The stored integer a decimal column holds: its digits without the point,
// which must stand exactly `decimals` places from the end; "" when the text
// is not such a decimal.
std::string storedFromDecimal(const std::string& text, size_t decimals) {
    const size_t point = text.find('.');
    if (decimals == 0) return point == std::string::npos ? text : "";
    if (point == std::string::npos || point == 0 || text.size() - point - 1 != decimals) return "";
    const std::string digits = text.substr(0, point) + text.substr(point + 1);
    if (digits.find_first_not_of("0123456789") != std::string::npos) return "";
    return std::to_string(std::stoull(digits));
}

// Every column of every row against the record computed here; decimals are
// read back to the stored integer digit for digit.
void expectRowsMatchCalculation(const std::string& csv, const std::vector<std::string>& files, int64_t now,
                                bool stored = false) {
    auto rows = rowsByFile(csv);
    ASSERT_EQ(rows.size(), files.size());
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        std::map<std::string, std::string>& row = rows[file];
        VroPublicationList list;
        XpString filter;
        VroImportDetails details;
        const ResultCode rc = importPublications(file.c_str(), list, nullptr, filter, nullptr, &details);
        if (rc != kResultOk) {
            std::string message = resultMessage(rc);
            XpString why;
            if (details.lineUnrecognised && explainUnrecognisedLine(details.unrecognisedLine, why) == 0)
                message += std::string(": ") + why.data();
            EXPECT_EQ(row["error"], message);
            EXPECT_EQ(row["h"], "");
            continue;
        }
        VroMetrics m;
        const MetricsCalcOptions options{50};
        computeMetrics(list, &m, &options, now);
        EXPECT_EQ(row["format"], filter.data());
        EXPECT_EQ(row["publications"], std::to_string(list.count()));
        EXPECT_EQ(row["error"], "");
        for (const VroMetricsSchemaRow& field : kMetricsSchema) {
            const uint32_t word = metricsWord(m, field.position);
            std::string name = field.snakeName;
            const size_t scale = name.rfind("_10");  // "_10", "_100", "_1000" at the end
            const bool scaled = scale != std::string::npos && name.find_first_not_of('0', scale + 2) > name.size();
            const size_t decimals = scaled ? name.size() - scale - 2 : 0;
            const bool none = word == kNoMode && name.ends_with("_mode");
            const std::string value = none ? ""
                                      : field.type() == kSchemaTypeInt32 ? std::to_string(int32_t(word))
                                                                         : std::to_string(word);
            if (!stored) name.resize(name.size() - (decimals ? decimals + 2 : 0));
            ASSERT_EQ(row.count(name), 1u) << name;
            EXPECT_EQ(stored || none ? row[name] : storedFromDecimal(row[name], decimals), value) << name;
        }
        EXPECT_EQ(row["i10"], papersCitedTenTimes(list));
        for (uint32_t b = 0; b < kAuthorHistogramSize; ++b)
            EXPECT_EQ(row["authors_" + std::to_string(b)], std::to_string(m.authorHistogram[b])) << b;
    }
}

TEST_F(Varoreport, EveryFieldOfGoldenExportsIsTheCalculatedRecord) {
    const std::vector<std::string> files = goldenExports();
    ASSERT_GE(files.size(), 8u);  // one export of each format at least
    const vt::Run result = report("-q --year 2026 -j 3 " + joined(files));
    EXPECT_EQ(result.status, 0) << result.err;
    expectRowsMatchCalculation(result.out, files, julyFirstUtc(2026));
    // Century years: 1900 and 2200 are no leap years.
    EXPECT_EQ(julyFirstUtc(1900), -2193350400);
    EXPECT_EQ(julyFirstUtc(2200), 7273756800);
}

TEST_F(Varoreport, EveryFieldOfRealExportsIsTheCalculatedRecord) {
    if (!fs::exists(VARO_REAL_DATA_DIR)) GTEST_SKIP() << "no real exports at " VARO_REAL_DATA_DIR;
    std::vector<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(VARO_REAL_DATA_DIR))
        if (entry.is_regular_file() && entry.path().filename() != "PROVENANCE.md")
            files.push_back(entry.path().string());
    const vt::Run result = report("-q --year 1999 " + joined(files));
    EXPECT_LE(result.status, 1) << result.err;
    expectRowsMatchCalculation(result.out, files, julyFirstUtc(1999));
    const vt::Run stored = report("-q --year 1999 --values stored " + joined(files));
    expectRowsMatchCalculation(stored.out, files, julyFirstUtc(1999), true);
}

// Each row of --by is the calculation over exactly its group's publications:
// here the export is imported afresh and every other publication set aside.
TEST_F(Varoreport, EveryGroupRowIsTheCalculationOverItsGroup) {
    const std::vector<std::string> files = goldenExports();
    const char* const kinds[] = {"author", "source", "year"};
    for (uint32_t kind = 0; kind < 3; ++kind) {
        SCOPED_TRACE(kinds[kind]);
        const vt::Run result = report(std::string("-q --values stored --year 2026 -j 3 --by ") + kinds[kind] + " " + joined(files));
        EXPECT_LE(result.status, 1) << result.err;
        auto rows = rowsByFile(result.out, true);
        size_t groupsSeen = 0;
        size_t i10Seen = 0;
        for (const std::string& file : files) {
            VroPublicationList list;
            list.retainTexts(kFieldAuthors | kTextAuthorIds | kFieldSource);
            XpString filter;
            if (importPublications(file.c_str(), list, nullptr, filter, nullptr) != kResultOk) {
                ++groupsSeen;  // its error row
                continue;
            }
            list.endImport();
            std::vector<const VroPublication*> used;
            std::vector<uint32_t> place;
            for (uint32_t i = 0; i < list.count(); ++i)
                if (list.at(i)->Use >= 1) used.push_back(list.at(i)), place.push_back(i);
            std::vector<VroGroup> groups;
            ASSERT_EQ(groupPublications(used.data(), uint32_t(used.size()), VroGroupKind(kind), groups), kResultOk);
            groupsSeen += groups.size();
            for (const VroGroup& group : groups) {
                XpString key;
                (void)key.assign(group.key.data(), uint32_t(group.key.size()));
                SCOPED_TRACE(file + " " + (key.data() ? key.data() : ""));
                std::map<std::string, std::string>& row = rows[file + "\t" + (key.data() ? key.data() : "")];
                VroPublicationList alone;
                ASSERT_EQ(importPublications(file.c_str(), alone, nullptr, filter, nullptr), kResultOk);
                std::vector<bool> member(alone.count(), false);
                for (const uint32_t m : group.members) member[place[m]] = true;
                for (uint32_t i = 0; i < alone.count(); ++i)
                    if (!member[i]) alone.at(i)->Use = 0;
                VroMetrics m;
                const MetricsCalcOptions options{50};
                computeMetrics(alone, &m, &options, julyFirstUtc(2026));
                EXPECT_EQ(row["publications"], std::to_string(group.members.size()));
                EXPECT_EQ(row["i10"], papersCitedTenTimes(alone));
                i10Seen += row["i10"] != "0";
                for (const VroMetricsSchemaRow& field : kMetricsSchema) {
                    const uint32_t word = metricsWord(m, field.position);
                    const bool none = word == kNoMode && std::string(field.snakeName).ends_with("_mode");
                    const std::string value = none ? ""
                                              : field.type() == kSchemaTypeInt32 ? std::to_string(int32_t(word))
                                                                                 : std::to_string(word);
                    EXPECT_EQ(row[field.snakeName], value) << field.snakeName;
                }
            }
        }
        EXPECT_GT(groupsSeen, files.size());
        EXPECT_GT(i10Seen, 0u);
        EXPECT_EQ(rows.size(), groupsSeen);
    }
}

// The 22 values varometrics prints, as it formats them, for the same time:
// the decimal columns are the same text.
TEST_F(Varoreport, AgreesWithVarometricsCsvLine) {
    const std::vector<std::pair<std::string, std::string>> columns = {
        {"p", "papers_total"}, {"c", "cites_total"}, {"y", "years"}, {"cpp", "cites_per_paper_mean"},
        {"cpa", "cites_per_author"}, {"ppa", "papers_per_author"}, {"app", "authors_per_paper_mean"},
        {"app_med", "authors_per_paper_median"}, {"app_mode", "authors_per_paper_mode"}, {"h", "h"},
        {"a", "a"}, {"m", "m"}, {"g", "g"}, {"g_h", "g_h"}, {"hc", "hc"}, {"ac", "ac"},
        {"hI", "hI"}, {"hI_norm", "hI_norm"}, {"star_count", "acc10"}, {"year_first", "year_first"},
        {"year_last", "year_last"}, {"est_c", "est_cites_total"}};
    for (const std::string& file : goldenExports()) {
        SCOPED_TRACE(file);
        const vt::Run mine = report("-q '" + file + "'");
        const vt::Run theirs = run(VARO_METRICS_EXE, "--format csvh '" + file + "'");
        const std::vector<std::string> lines = split(theirs.out, '\n');
        ASSERT_GE(lines.size(), 2u) << theirs.err;
        const auto head = split(lines[0].substr(lines[0].find("label,") + 6), ',');
        const auto values = split(lines[1].substr(lines[1].find(',') + 1), ',');  // past the label
        auto row = rowsByFile(mine.out)[file];
        ASSERT_EQ(head.size(), columns.size());
        for (size_t i = 0; i < columns.size(); ++i) {
            ASSERT_EQ(head[i], columns[i].first);
            const std::string& value = row[columns[i].second];
            EXPECT_EQ(values[i], value.empty() && columns[i].first == "app_mode" ? "multi" : value) << head[i];
        }
    }
}

// Unreadable, empty and foreign files, a subdirectory and a pipe beside one
// export of every format: every regular file has its row, in name order,
// each failure its line on standard error, and the pipe is never opened.
TEST_F(Varoreport, DirectoryOfTroubleLosesNoRow) {
    const std::string data = dir_ / "data";
    fs::create_directories(data + "/sub");
    std::ofstream(data + "/sub/inner.ris") << "TY  - JOUR\nER  -\n";
    std::ofstream(data + "/empty.txt");
    std::ofstream(data + "/locked.ris") << "not an export\n";
    ::chmod((data + "/locked.ris").c_str(), 0);
    ASSERT_EQ(::mkfifo((data + "/pipe").c_str(), 0644), 0);
    std::vector<std::string> expected = {data + "/empty.txt", data + "/locked.ris"};
    for (const std::string& file : goldenExports()) {
        const std::string copy = data + "/" + fs::path(file).filename().string();
        fs::copy_file(file, copy);
        expected.push_back(copy);
    }
    std::sort(expected.begin(), expected.end());
    const vt::Run one = report("-q -j 1 --year 2026 '" + data + "'");
    const vt::Run many = report("-qj4 --year=2026 '" + data + "/'");
    EXPECT_EQ(one.status, 1);
    EXPECT_EQ(many.status, 1);
    std::vector<std::string> lines = split(one.out, '\n');
    ASSERT_EQ(lines.size(), expected.size() + 2);  // header and final newline
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(split(lines[i + 1], ',')[0], expected[i]);
    // two failures, and a line for each export without counts
    EXPECT_EQ(split(one.err, '\n').size(), 3u + withoutCounts(expected)) << one.err;
    EXPECT_NE(one.err.find("varoreport: " + data + "/empty.txt: "), std::string::npos) << one.err;
    expectRowsMatchCalculation(one.out, expected, julyFirstUtc(2026));
    EXPECT_EQ(many.out, one.out);  // "dir/" names its files as "dir" does
}

// Many inputs on several threads come out in input order, byte for byte the
// same as on one thread (group rows too, which the writing thread may
// gather while it waits); under ThreadSanitizer a race fails the run.
TEST_F(Varoreport, ManyInputsOnManyThreadsKeepInputOrder) {
    std::vector<std::string> files = goldenExports();
    files.push_back(dir_ / "missing.ris");
    std::string args;
    for (int i = 0; i < 12; ++i) args += joined(files);
    for (const char* format : {"csv", "json", "papers", "csv --by author"}) {
        const vt::Run one = report(std::string("-q -j 1 --year 2026 -f ") + format + " " + args);
        const vt::Run four = report(std::string("-q -j 4 --year 2026 -f ") + format + " " + args);
        EXPECT_EQ(one.status, 1) << one.err;
        EXPECT_EQ(four.status, 1) << four.err;
        EXPECT_EQ(one.out, four.out);
        EXPECT_EQ(one.err, four.err);
        EXPECT_EQ(split(four.err, '\n').size(), 13u + 12 * withoutCounts(goldenExports()));
    }
}

// Thousands of authors' rows, each its own group's, the same on one thread
// and on two (enough rows for the later half to be written on the second),
// and thousands of works found from keys made on a second thread.
TEST_F(Varoreport, ThousandsOfGroupRowsAreEachTheirGroups) {
    // Name keys keep letters only: each author's surname spells its number.
    const auto surname = [](int i) { return std::string{char('a' + i / 676), char('a' + i / 26 % 26), char('a' + i % 26)}; };
    std::string ris;
    for (int i = 0; i < 3000; ++i)
        ris += "TY  - JOUR\nAU  - " + surname(i) + ", A.\nAU  - " + surname(i / 3) + ", B.\nTI  - Paper " +
               std::to_string(i) + "\nPY  - " + std::to_string(1990 + i % 30) + "\nN1  - Cited By: " +
               std::to_string(i % 41) + "\nER  - \n\n";
    vt::spill(dir_ / "many.ris", ris);
    for (const char* run : {"--by author", "--merge --by author -f json", "--merge -f papers"}) {
        const vt::Run one = report(std::string("-q --year 2026 -j 1 ") + run + " many.ris");
        const vt::Run two = report(std::string("-q --year 2026 -j 2 ") + run + " many.ris");
        EXPECT_EQ(two.status, 0) << two.err;
        EXPECT_EQ(one.out, two.out) << run;
    }
    // Each "A." author has one paper, the one of its number: every row is its own group's.
    auto rows = rowsByFile(report("-q --year 2026 -j 2 --by author many.ris").out, true);
    EXPECT_EQ(rows.size(), 4000u);
    for (int i = 0; i < 3000; ++i) {
        std::map<std::string, std::string>& row = rows["many.ris\tname:" + surname(i) + " a"];
        EXPECT_EQ(row["cites_total"], std::to_string(i % 41)) << i;
        EXPECT_EQ(row["year_first"], std::to_string(1990 + i % 30)) << i;
    }
}

// An input that keeps its thread waiting does not hold up the next: while
// one thread waits for the first pipe's writer, another opens the second,
// with two threads asked for and with the default of one per processor.
TEST_F(Varoreport, InputsAreOpenedOnSeveralThreadsAtOnce) {
    for (const char* jobs : {"-j 2", ""}) {
        if (*jobs == 0 && std::thread::hardware_concurrency() < 2) continue;  // one processor: one thread
        SCOPED_TRACE(jobs);
        const std::string first = dir_ / "first", second = dir_ / "second";
        ::unlink(first.c_str()), ::unlink(second.c_str());
        ASSERT_EQ(::mkfifo(first.c_str(), 0644) | ::mkfifo(second.c_str(), 0644), 0);
        std::thread writer([&] {
            int fd = -1;  // opens at once when the run reads the pipe already
            for (int tries = 0; fd < 0 && tries < 200; ++tries)
                if ((fd = ::open(second.c_str(), O_WRONLY | O_NONBLOCK)) < 0) usleep(100000);
            EXPECT_GE(fd, 0) << "the second input waited for the first";
            ::close(fd);
            ::close(::open(first.c_str(), O_WRONLY));  // both empty, so both fail
            if (fd < 0) ::close(::open(second.c_str(), O_WRONLY));
        });
        EXPECT_EQ(report(std::string("-q ") + jobs + " first second").status, 1);
        writer.join();
    }
}

// --fields names the columns of the csv header, in order, as --values names
// them, and explains each record field with the text of the page's table.
TEST_F(Varoreport, FieldListMatchesHeaderAndPage) {
    const std::string file = VARO_SOURCE_DIR "/examples/ris.ris";
    const vt::Run html = report("-q -f html '" + file + "'");
    for (const std::string values : {"decimal", "stored"}) {
        SCOPED_TRACE(values);
        const vt::Run fields = report("--values " + values + " --fields");
        const vt::Run csv = report("-q --values " + values + " '" + file + "'");
        EXPECT_EQ(fields.status, 0) << fields.err;
        std::vector<std::string> listed;
        for (const std::string& line : vt::linesOf(fields.out)) {
            const size_t gap = line.find("  ");
            ASSERT_NE(gap, std::string::npos) << line;
            const std::string column = line.substr(0, gap);
            if (column == "authors_0 .. authors_50") {
                for (uint32_t b = 0; b < kAuthorHistogramSize; ++b) listed.push_back("authors_" + std::to_string(b));
                continue;
            }
            listed.push_back(column);
            const size_t colon = line.find(": ");
            if (colon != std::string::npos) {  // a record field: the page's explanation, word for word
                EXPECT_NE(html.out.find("<td>" + line.substr(colon + 2) + "</td>"), std::string::npos) << line;
            }
        }
        ASSERT_FALSE(listed.empty());
        EXPECT_EQ(listed[0], "column");
        listed.erase(listed.begin());
        EXPECT_EQ(listed, split(vt::linesOf(csv.out).at(0), ','));
        // The page counts i10 over the papers as the row does over the numbers.
        const std::string i10 = rowsByFile(csv.out)[file]["i10"];
        EXPECT_EQ(i10, "2");
        EXPECT_NE(html.out.find("data-key=\"i10\" data-raw=\"" + i10 + "\">"), std::string::npos);
    }
}

// An export named as the output, however it is named, is refused before
// anything is written, with the status of a usage error; one inside a
// directory read as input is left out of the listing and replaced whole.
TEST_F(Varoreport, TheOutputNeverReplacesAnExport) {
    const std::string ris = vt::slurp(VARO_SOURCE_DIR "/examples/ris.ris");
    vt::spill(dir_ / "s.ris", ris);
    ASSERT_EQ(::symlink("s.ris", (dir_ / "link.ris").c_str()), 0);
    ASSERT_EQ(::link((dir_ / "s.ris").c_str(), (dir_ / "hard").c_str()), 0);
    for (const char* args : {"-o s.ris s.ris", "-o ./s.ris -", "-o link.ris s.ris", "-o s.ris other.ris hard",
                             "-f html -o hard link.ris", "s.ris >>s.ris"}) {
        const vt::Run result = run(VARO_EXE, std::string(args) + " <s.ris");
        EXPECT_EQ(result.status, 2) << args;
        EXPECT_NE(result.err.find(": the output is the export "), std::string::npos) << result.err;
        EXPECT_EQ(vt::slurp(dir_ / "s.ris"), ris) << args;
    }
    EXPECT_FALSE(vt::exists(dir_ / "other.ris"));

    fs::create_directory(dir_ / "d");
    vt::spill(dir_ / "d/s.ris", ris);
    const vt::Run first = report("-q --year 2026 -o d/report.csv d");
    const std::string written = vt::slurp(dir_ / "d/report.csv");
    const vt::Run again = report("-q --year 2026 -o d/report.csv d");
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(rowsByFile(written).size(), 1u);
    EXPECT_EQ(vt::slurp(dir_ / "d/report.csv"), written);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_ / "d"), fs::directory_iterator()), 2);
    fs::remove(dir_ / "d/report.csv");
    EXPECT_EQ(report("-q d >d/redirected.csv").status, 0);
    EXPECT_EQ(rowsByFile(vt::slurp(dir_ / "d/redirected.csv")).size(), 1u);
}

// A run killed while it writes a large report leaves the file it would
// replace as it was; one ended by SIGTERM also removes its temporary file.
TEST_F(Varoreport, AKilledRunLeavesTheOldReport) {
    std::string ris;
    for (int i = 0; i < 4000; ++i)
        ris += "TY  - JOUR\nAU  - Author, A\nTI  - A long title " + std::string(150, 'x') +
               "\nPY  - 2001\nN1  - Cited By: 7\nER  - \n";
    vt::spill(dir_ / "big.ris", ris);
    for (const int signal : {SIGKILL, SIGTERM}) {
        SCOPED_TRACE(signal);
        vt::spill(dir_ / "report.csv", "the old report\n");
        std::vector<std::string> args{"-q", "-j", "1", "-f", "papers", "-o", dir_ / "report.csv"};
        for (int i = 0; i < 200; ++i) args.push_back(dir_ / "big.ris");
        vt::Started program(VARO_EXE, args);
        // Until the temporary file beside the target holds some of the report.
        std::string temporary;
        for (int tries = 0; tries < 2000 && temporary.empty(); ++tries) {
            for (const auto& entry : fs::directory_iterator(dir_.path))
                if (entry.path().filename().string().starts_with(".report.csv.") && entry.file_size() > (1u << 20))
                    temporary = entry.path();
            if (temporary.empty()) usleep(5000);
        }
        ASSERT_FALSE(temporary.empty()) << "no temporary file grew";
        ::kill(program.pid(), signal);
        EXPECT_EQ(program.finish(), 128 + signal);
        EXPECT_EQ(vt::slurp(dir_ / "report.csv"), "the old report\n");
        EXPECT_EQ(vt::exists(temporary), signal == SIGKILL);
        if (signal == SIGKILL) fs::remove(temporary);
    }
}

// No memory for the list of inputs: the run ends before any option is read
// (the version would exit 0) with a message and the status of a usage error.
TEST_F(Varoreport, NoMemoryForTheInputListExitsTwo) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer's shadow memory does not fit under a data limit";
#endif
    const std::vector<std::string> args(99999, "-V");  // a list of 800 kB
    const std::string err = dir_ / "err";
    vt::Started program(
        VARO_EXE, args,
        [&] {
            const rlimit limit{512 << 10, 512 << 10};  // enough to start, not for the list
            vt::redirect(err.c_str(), O_WRONLY | O_CREAT, 2);
            if (setrlimit(RLIMIT_DATA, &limit) != 0) _exit(127);
        },
        {"TMPDIR=" + dir_.path});  // the log file lives here
    EXPECT_EQ(program.finish(), 2);
    EXPECT_EQ(vt::slurp(err), "varoreport: out of memory\n");
}

// The odd-count median is the middle paper's count times ten, also when that
// no longer fits in 31 bits; the even-count mean of two such values too.
TEST(CitationMedian, HoldsCountsOfThirtyTwoBits) {
    const struct {
        std::vector<uint32_t> cites;
        uint32_t median10;
    } cases[] = {{{300000000}, 3000000000u}, {{1, 300000000, 400000000}, 3000000000u},
                 {{300000000, 400000000}, 3500000000u}, {{3, 8}, 55u}};
    for (const auto& c : cases) {
        VroPublicationList list;
        for (uint32_t cites : c.cites) {
            VroPublication* p = list.add();
            p->Cites = p->ECC = p->CitesCount = cites;
            p->Use = 1;
        }
        VroMetrics m;
        computeMetrics(list, &m, nullptr, julyFirstUtc(2026));
        EXPECT_EQ(m.medianCitesPerPaper10, c.median10) << c.cites.size();
    }
}

}  // namespace
