// Import driver: probe order and matching, outputs, and what each failure
// returns and logs.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/logging.h"
#include "foundation/strings.h"
#include "import/import_driver.h"
#include "metrics/publication.h"

namespace {

constexpr uint32_t code(const char (&s)[5]) {
    return uint32_t(uint8_t(s[0])) | uint32_t(uint8_t(s[1])) << 8 | uint32_t(uint8_t(s[2])) << 16 |
           uint32_t(uint8_t(s[3])) << 24;
}

XpString16 line16(const std::string& text) {
    XpString16 line;
    EXPECT_EQ(line.assign(text.c_str(), uint32_t(text.size())), 0);
    return line;
}

class ImportDriver : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vro_driver_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        // Only the file target, so the test's own standard error stays quiet.
        (void)logOpen(kLogToFile, (dir_ + "/test.log").c_str());
    }
    void TearDown() override {
        logClose();
        (void)std::system(("rm -rf '" + dir_ + "'").c_str());
    }

    std::string file(const std::string& name, const std::string& bytes) {
        const std::string path = dir_ + "/" + name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path;
    }

    // The log lines written so far, without their time stamps.
    std::vector<std::string> logged() {
        std::ifstream in(dir_ + "/test.log");
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) lines.push_back(line.size() > 20 ? line.substr(20) : line);
        return lines;
    }

    struct Run {
        ResultCode rc;
        uint32_t format, mask;
        std::string name;
        uint32_t count;
    };
    Run import(const std::string& path) {
        VroPublicationList list;
        XpString name;
        (void)name.assign("stale");
        uint32_t format = 1, mask = 1;
        const ResultCode rc = importPublications(path.c_str(), list, &format, name, &mask);
        return {rc, format, mask, name.data(), list.count()};
    }

    std::string dir_;
};

TEST(ProbeTable, AsksTheEightImportersInTheirFixedOrder) {
    const char* const order[] = {"VroImportVroCsv",      "VroImportIsiTagged", "VroImportRisTagged",
                                 "VroImportIsiCsv",      "VroImportScopusCsv", "VroImportGScholarCsv",
                                 "VroImportEndNoteSaf", "VroImportEndNoteTagged"};
    for (size_t i = 0; i < 8; ++i) EXPECT_STREQ(kImportProbes[i].importerName, order[i]);
}

TEST(ProbeTable, SignaturesArePrefixesComparedWithoutCase) {
    struct {
        const char* line;
        const char* signature;
        bool match;
    } const cases[] = {
        {"TY  - JOUR", "TY  -", true},
        {"ty  - jour", "TY  -", true},
        {"TY - JOUR", "TY  -", false},
        {"TY  ", "TY  -", false},  // shorter than the signature
        {"Reference Type: Book", "Reference Type: ", true},
        {"Reference Type:Book", "Reference Type: ", false},
        {"FN", "FN ", false},
        {"", "FN ", false},
        {"PT\tAU\tBA", "PT\tAU\t", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(lineStartsWithSignature(line16(c.line), c.signature), c.match);
    }
}

TEST_F(ImportDriver, FirstLineChoosesTheImporter) {
    const std::string scopus1 =
        "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,Link";
    struct {
        const char* name;
        std::string bytes;
        const char* filter;
        uint32_t format;
        uint32_t count;
    } const cases[] = {
        {"own-lower.csv", "use,cites,authors,title,year,source,publisher,articleurl,citesurl,gsrank\n1,3,A B,T,2001\n",
         "Varo (CSV)", code("Vroc"), 1},
        {"scopus-more.csv", scopus1 + ",Affiliations,Abstract\nSmith J.,T,2001\n", "Scopus (CSV)", code("Scoc"), 1},
        {"scholar-bom.csv", "\xEF\xBB\xBF" "Authors,Title,Publication,Volume,Number,Pages,Year,Publisher\r\n",
         "Google (CSV)", code("GSCc"), 0},
        {"lower.ris", "ty  - JOUR\nTY  - BOOK\nER  -\n", "RIS/RefManager", code("RisT"), 1},
        {"tabbed.txt", "PT\tAU\tTI\nJ\tSmith, J\tT\n", "ISI/WoS (tab-delimited)", code("Isic"), 1},
        {"saf.txt", "Reference Type: Book\n", "EndNote (Show All Fields)", code("EndS"), 1},
        {"tagged.enw", "%0 Book\r\n", "EndNote (tagged)", code("EndT"), 1},
        {"isi.txt", "FN Export\nVR 1.0\nPT J\nER\nEF\n", "ISI/WoS (tagged)", code("IsiT"), 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Run r = import(file(c.name, c.bytes));
        EXPECT_EQ(r.rc, 0);
        EXPECT_EQ(r.name, c.filter);
        EXPECT_EQ(r.format, c.format);
        EXPECT_EQ(r.count, c.count);
    }
    EXPECT_TRUE(logged().empty());
}

TEST_F(ImportDriver, FieldMaskIsTheUnionOfTheRecords) {
    const Run r = import(file("two.ris", "TY  - JOUR\nTI  - A\nER  -\nTY  - JOUR\nPY  - 2001\nER  -\n"));
    ASSERT_EQ(r.rc, 0);
    EXPECT_EQ(r.mask, 0x20u | 1u << 9 | 1u << 7 | 1u << 8);
}

TEST_F(ImportDriver, UnknownFirstLineIsInvalidFileTypeAndNotLogged) {
    for (const char* bytes : {"FN   \nVR 1.0\n", "Hello\n", "%0Book\n", "\n"}) {
        SCOPED_TRACE(bytes);
        const Run r = import(file("unknown.txt", bytes));
        EXPECT_EQ(r.rc, kErrInvalidFileType);
        EXPECT_EQ(r.name, "");
        EXPECT_EQ(r.format, 0u);
        EXPECT_EQ(r.mask, 0u);
    }
    EXPECT_TRUE(logged().empty());
}

TEST_F(ImportDriver, FailuresBeforeAnImporterAreLoggedWithTheInputName) {
    const std::string missing = dir_ + "/missing.ris";
    Run r = import(missing);
    EXPECT_EQ(r.rc, kErrNoSuchFile);
    EXPECT_EQ(logged(), std::vector<std::string>{"[error] " + missing +
                                                 ": Cannot open file: [2] No such file or directory"});

    const std::string empty = file("empty.ris", "");
    r = import(empty);
    EXPECT_EQ(r.rc, kErrEndOfFile);
    ASSERT_EQ(logged().size(), 3u);
    EXPECT_EQ(logged()[1], "[error] " + empty + ": Cannot check encoding: [768] End of file");
    EXPECT_EQ(logged()[2], "[error] " + empty + ": Cannot read first line: [768] End of file");

    ASSERT_EQ(mkdir((dir_ + "/adir").c_str(), 0755), 0);
    r = import(dir_ + "/adir");
    EXPECT_EQ(r.rc, kErrIsDirectory);
    EXPECT_EQ(logged().back(), "[error] " + dir_ + "/adir: Cannot read first line: [21] Is a directory");
}

TEST_F(ImportDriver, ImporterFailureStillFillsTheOutputs) {
    const std::string path = file("bad.isi", "FN Export\nPT J\nER\n");
    const Run r = import(path);
    EXPECT_EQ(r.rc, kErrInvalidFileType);
    EXPECT_EQ(r.name, "ISI/WoS (tagged)");
    EXPECT_EQ(r.format, code("IsiT"));
    EXPECT_EQ(logged(), std::vector<std::string>{"[error] " + path +
                                                 ": Cannot import data with filter ISI/WoS (tagged): [774] "
                                                 "Invalid file type"});
}

TEST_F(ImportDriver, OverlongLinesArriveInPiecesThatEachBecomeARecord) {
    const std::string header = "Authors,Title,Publication,Volume,Number,Pages,Year,Publisher\n";
    const std::string longLine = "A B," + std::string(65536, 'x') + ",J\n";
    const Run r = import(file("long.csv", header + longLine + "C D,T,J\n"));
    EXPECT_EQ(r.rc, 0);
    EXPECT_EQ(r.count, 3u);
}

}  // namespace
