// Runs the built program on files in a temporary directory and compares exit
// status, standard output, standard error, the report files and the log
// file's lines (time stamps aside) with what a user must see.
//
// The golden reports under tests/data/<format>/ were worked out by hand from
// the inputs beside them; tests/data/GOLDEN.md gives each derivation.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

const std::string kBom = "\xEF\xBB\xBF";
const std::string kData = std::string(VARO_SOURCE_DIR) + "/tests/data/";

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void spill(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

bool exists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

int utcYear() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    return parts.tm_year + 1900;
}

// A golden report with the reference year filled in.
std::string golden(const std::string& relative) {
    std::string text = slurp(kData + relative);
    const std::string year = std::to_string(utcYear());
    for (size_t at; (at = text.find("@YEAR@")) != std::string::npos;) text.replace(at, 6, year);
    return text;
}

struct Outcome {
    int status = -1;       // exit status, or -1 when the child did not exit
    std::string out, err;  // standard output (when piped) and standard error
    std::vector<std::string> log;  // log lines after the two start-up lines
};

class EndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vro_e2e_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
    }
    void TearDown() override { (void)std::system(("rm -rf '" + dir_ + "'").c_str()); }

    std::string at(const std::string& name) const { return dir_ + "/" + name; }

    // Spawns the program in the temporary directory with TMPDIR pointing
    // there, so that its log file is the test's own.
    // stdinPath is read as standard input; standard output goes to a pipe the
    // test reads when stdoutPath is empty, else to that file (appending when
    // stdoutAppend is set, as a shell's ">>" does).
    Outcome launch(const std::vector<std::string>& args, const std::string& stdinPath = "/dev/null",
                   const std::string& stdoutPath = "", bool stdoutAppend = false) {
        Outcome outcome;
        const std::string errPath = at(".stderr");
        const std::string logPath = at("varometrics.log");
        std::remove(logPath.c_str());
        int pipeFds[2] = {-1, -1};
        if (stdoutPath.empty()) {
            EXPECT_EQ(pipe(pipeFds), 0);
        }

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addchdir_np(&actions, dir_.c_str());
        posix_spawn_file_actions_addopen(&actions, 0, stdinPath.c_str(), O_RDONLY, 0);
        if (stdoutPath.empty()) {
            posix_spawn_file_actions_adddup2(&actions, pipeFds[1], 1);
            posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
            posix_spawn_file_actions_addclose(&actions, pipeFds[1]);
        } else {
            const int flags = O_WRONLY | O_CREAT | (stdoutAppend ? O_APPEND : O_TRUNC);
            posix_spawn_file_actions_addopen(&actions, 1, stdoutPath.c_str(), flags, 0644);
        }
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);

        std::vector<std::string> copies(args);
        std::vector<char*> argv{const_cast<char*>(VARO_EXE)};
        for (std::string& a : copies) argv.push_back(a.data());
        argv.push_back(nullptr);
        std::string tmpdir = "TMPDIR=" + dir_;
        std::vector<char*> env{tmpdir.data()};
        for (char** e = environ; *e; ++e)
            if (std::string(*e).rfind("TMPDIR=", 0) != 0) env.push_back(*e);
        env.push_back(nullptr);

        pid_t pid = -1;
        const int spawned = posix_spawn(&pid, VARO_EXE, &actions, nullptr, argv.data(), env.data());
        posix_spawn_file_actions_destroy(&actions);
        if (stdoutPath.empty()) {
            close(pipeFds[1]);
            char buffer[4096];
            for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) outcome.out.append(buffer, size_t(n));
            close(pipeFds[0]);
        }
        EXPECT_EQ(spawned, 0);
        if (spawned != 0) return outcome;
        int status = 0;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        outcome.err = slurp(errPath);
        outcome.log = logLines(slurp(logPath));
        return outcome;
    }

    // Checks every log line's time stamp and the two start-up lines, and
    // returns the lines after them without their time stamps.
    static std::vector<std::string> logLines(const std::string& text) {
        static const std::regex stamp(R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2} )");
        std::vector<std::string> lines;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);) {
            EXPECT_TRUE(std::regex_search(line, stamp)) << line;
            lines.push_back(line.size() >= 20 ? line.substr(20) : line);
        }
        EXPECT_GE(lines.size(), 2u) << text;
        if (lines.size() < 2) return {};
        EXPECT_EQ(lines[0], "[info] Varo metrics calculator 8.0.3595.7981 (2021.11.06.1529) Portix (x86)");
        EXPECT_EQ(lines[1].rfind("[info] Running on ", 0), 0u) << lines[1];
        return {lines.begin() + 2, lines.end()};
    }

    std::string dir_;
};

const std::string kRis = kData + "ris/authors-and-notes.ris";
const std::string kRisImported = "imported RIS/RefManager data; 3 publications\n";
// The RIS golden report without its label line.
std::string risBody() {
    const std::string report = golden("ris/authors-and-notes.expected");
    return report.substr(report.find('\n') + 1);
}

// One input of each of the eight formats, written as a new report file.
struct GoldenCase {
    const char* input;     // under tests/data/
    const char* expected;  // hand-derived report, under tests/data/
    const char* filter;    // the importer's display name
    int publications;
};

const GoldenCase kGoldenCases[] = {
    {"varo-csv/use-and-ecc.csv", "varo-csv/use-and-ecc.expected", "Varo (CSV)", 5},
    {"isi-tagged/continuations.isi", "isi-tagged/continuations.expected", "ISI/WoS (tagged)", 3},
    {"ris/authors-and-notes.ris", "ris/authors-and-notes.expected", "RIS/RefManager", 3},
    {"isi-tabbed/utf16-crlf.txt", "isi-tabbed/utf16-crlf.expected", "ISI/WoS (tab-delimited)", 3},
    {"scopus-csv/variant2.csv", "scopus-csv/variant2.expected", "Scopus (CSV)", 4},
    {"gscholar-csv/semicolon-authors.csv", "gscholar-csv/semicolon-authors.expected", "Google (CSV)", 4},
    {"endnote-saf/show-all-fields.txt", "endnote-saf/show-all-fields.expected", "EndNote (Show All Fields)", 3},
    {"endnote-tagged/unsorted-table.enw", "endnote-tagged/unsorted-table.expected", "EndNote (tagged)", 3},
};

TEST_F(EndToEnd, EachFormatGivesItsHandDerivedReport) {
    for (const GoldenCase& c : kGoldenCases) {
        SCOPED_TRACE(c.input);
        const std::string input = kData + c.input;
        const Outcome o = launch({input, "report.txt"});
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "");
        EXPECT_EQ(o.err, input + ": imported " + c.filter + " data; " + std::to_string(c.publications) +
                             " publications\n");
        EXPECT_EQ(slurp(at("report.txt")), kBom + golden(c.expected));
        EXPECT_TRUE(o.log.empty());
    }
}

TEST_F(EndToEnd, CsvWithHeaderCarriesTheLabelUnquoted) {
    const Outcome o = launch({"--format", "CSVH", "--label", "My,label", kRis, "out.csv"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(slurp(at("out.csv")),
              kBom +
                  "label,p,c,y,cpp,cpa,ppa,app,app_med,app_mode,h,a,m,g,g_h,hc,ac,hI,hI_norm,star_count,"
                  "year_first,year_last,est_c\n"
                  "My,label,3,27,1,9.00,16.50,1.83,2.00,1.0,multi,3,3.00,3.00,3,1.00,3,12.00,1.50,2,1,2101,2102,27\n");
}

TEST_F(EndToEnd, NoArgumentsReadsStandardInputAndWritesStandardOutput) {
    const Outcome o = launch({}, kRis);
    EXPECT_EQ(o.status, 0);
    // A pipe reports no position 0, so no byte-order mark.
    EXPECT_EQ(o.out, "<stdin>\n" + risBody());
    EXPECT_EQ(o.err, "<stdin>: " + kRisImported);
}

TEST_F(EndToEnd, DashNamesStandardStreamsButKeepsItsOwnName) {
    const Outcome o = launch({"-", "-"}, kRis);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "-\n" + risBody());
    EXPECT_EQ(o.err, "-: " + kRisImported);
}

TEST_F(EndToEnd, OutputNamedCsvStillGetsThePlainReport) {
    const Outcome o = launch({kRis, "out.csv"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(slurp(at("out.csv")), kBom + golden("ris/authors-and-notes.expected"));
}

TEST_F(EndToEnd, PlusAppendsWithoutAMarkAndDoublePlusNamesAFile) {
    spill(at("report.txt"), "previous run\n");
    Outcome o = launch({kRis, "+report.txt"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(slurp(at("report.txt")), "previous run\n" + golden("ris/authors-and-notes.expected"));

    o = launch({kRis, "++x"});
    EXPECT_EQ(o.status, 0);
    // "+x" is new: appending to an empty file starts at position 0.
    EXPECT_EQ(slurp(at("+x")), kBom + golden("ris/authors-and-notes.expected"));
    EXPECT_FALSE(exists(at("x")));
}

TEST_F(EndToEnd, PlusAloneAppendsToStandardOutput) {
    Outcome o = launch({kRis, "+"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out, "authors-and-notes.ris\n" + risBody());

    // Not sought to the end first: a standard output at position 0 gets the mark,
    // also when it was opened for appending.
    o = launch({kRis, "+"}, "/dev/null", at("shell.txt"), true);
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(slurp(at("shell.txt")), kBom + golden("ris/authors-and-notes.expected"));

    // Messages name the output "+"; the writers' own log line names the empty path.
    o = launch({kRis, "+"}, "/dev/null", "/dev/full");
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "varometrics: : close failed: [28] No space left on device\n" + kRis + ": " + kRisImported +
                         "+: cannot export metrics: No space left on device\n");
}

TEST_F(EndToEnd, LabelComesFromTheInputsLastPathComponent) {
    ASSERT_EQ(std::system(("mkdir -p '" + at("dir/sub") + "'").c_str()), 0);
    spill(at("dir/sub/data.csv"), slurp(kData + "varo-csv/use-and-ecc.csv"));
    spill(at("C:\\x\\y.txt"), slurp(kRis));
    struct {
        std::vector<std::string> args;
        const char* label;
    } const cases[] = {
        {{"dir/sub/data.csv", "-"}, "data.csv\n"},
        {{"C:\\x\\y.txt", "-"}, "y.txt\n"},
        {{"--label=", "C:\\x\\y.txt", "-"}, "y.txt\n"},
        {{"--label", "", "dir/sub/data.csv"}, "data.csv\n"},
        {{"--label", "mine", "dir/sub/data.csv"}, "mine\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args[0] + " " + c.args[1]);
        const Outcome o = launch(c.args);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out.substr(0, o.out.find('\n') + 1), c.label);
    }
}

TEST_F(EndToEnd, InvalidLabelBytesBecomeReplacementCharacters) {
    // 0xFF is no UTF-8; a lead byte at the very end is an incomplete sequence.
    const Outcome o = launch({"--label", "a\xFF" "b\xE2\x82", kRis, "-"});
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.out.substr(0, o.out.find('\n') + 1), "a\xEF\xBF\xBD" "b\n");
}

TEST_F(EndToEnd, MissingInputIsReportedOnceByEachLayer) {
    const Outcome o = launch({"missing.ris"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err,
              "varometrics: missing.ris: Cannot open file: [2] No such file or directory\n"
              "missing.ris: cannot import data: No such file or directory\n");
    EXPECT_EQ(o.log, std::vector<std::string>{"[error] missing.ris: Cannot open file: [2] No such file or directory"});
}

TEST_F(EndToEnd, DirectoryAsInputOpensButCannotBeRead) {
    ASSERT_EQ(mkdir(at("adir").c_str(), 0755), 0);
    const Outcome o = launch({"adir"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err,
              "varometrics: adir: Cannot check encoding: [21] Is a directory\n"
              "varometrics: adir: Cannot read first line: [21] Is a directory\n"
              "adir: cannot import data: Is a directory\n");
    EXPECT_EQ(o.log, (std::vector<std::string>{"[error] adir: Cannot check encoding: [21] Is a directory",
                                               "[error] adir: Cannot read first line: [21] Is a directory"}));
}

TEST_F(EndToEnd, UnknownFormatIsNotLogged) {
    spill(at("notes.txt"), "Some notes\nnot an export\n");
    const Outcome o = launch({"notes.txt"});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.err, "notes.txt: cannot import data: Invalid file type\n");
    EXPECT_TRUE(o.log.empty());
}

TEST_F(EndToEnd, EmptyStandardInputLogsTheAbsentName) {
    const Outcome o = launch({});
    EXPECT_EQ(o.status, 1);
    EXPECT_EQ(o.out, "");
    EXPECT_EQ(o.err,
              "varometrics: (null): Cannot check encoding: [768] End of file\n"
              "varometrics: (null): Cannot read first line: [768] End of file\n"
              "<stdin>: cannot import data: End of file\n");
    EXPECT_EQ(o.log, (std::vector<std::string>{"[error] (null): Cannot check encoding: [768] End of file",
                                               "[error] (null): Cannot read first line: [768] End of file"}));
}

TEST_F(EndToEnd, ExportFailuresFollowTheImportLine) {
    // The writer's log line reaches standard error at once; the job's two
    // lines wait in the standard-error writer until the process ends.
    struct {
        const char* output;
        const char* logged;
        const char* message;
    } const cases[] = {
        {"nodir/out.txt", "nodir/out.txt: metrics file open failed: [2] No such file or directory",
         "nodir/out.txt: cannot export metrics: No such file or directory\n"},
        {"/dev/full", "/dev/full: close failed: [28] No space left on device",
         "/dev/full: cannot export metrics: No space left on device\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.output);
        const Outcome o = launch({kRis, c.output});
        EXPECT_EQ(o.status, 1);
        EXPECT_EQ(o.err, std::string("varometrics: ") + c.logged + "\n" + kRis + ": " + kRisImported + c.message);
        EXPECT_EQ(o.log, std::vector<std::string>{std::string("[error] ") + c.logged});
    }
}

// ---------------------------------------------------------------------------
// Real exports: every file runs through without a crash or a sanitizer
// finding. Where a probe accepts the first line, the count is the record count
// of PROVENANCE.md unless the program's own line rules say otherwise (noted).
// No probe accepts the first line: nothing is logged.
constexpr int kNoProbe = -1;
// The ISI probe accepts "FN ..." but its importer finds no "VR" line: the
// driver logs the importer's failure before the job's line.
constexpr int kRejected = -2;

struct RealCase {
    const char* file;  // relative to the real-data folder
    int publications;  // or kNoProbe / kRejected: "Invalid file type"
    const char* why;   // the reason a count differs from PROVENANCE.md
};

const RealCase kRealCases[] = {
    {"wos-tagged/refsplitr__BITR_test.txt", 10, ""},
    {"wos-tagged/refsplitr__example_data.txt", 49, ""},
    {"wos-tagged/refsplitr__ISItop.txt", kRejected, "FN and VR on one line, then an empty line: no VR tag"},
    {"wos-tagged/tethne__valentin.txt", 2, ""},
    {"wos-tagged/tethne__wos.txt", 10, ""},
    {"wos-tagged/metaknowledge__testFile.isi", 34, ""},
    {"wos-tagged/metaknowledge__ManyAuthors.isi", 500, ""},
    {"wos-tagged/synthesisr__zoorec.txt", 134, ""},
    {"wos-tagged/bibliometrix__wos_sample.txt", 8, ""},
    {"wos-tagged/wosfile__wos_plaintext.txt", 50, ""},
    {"wos-tagged/revtools__restoration_WoS.ciw", 247, ""},
    {"wos-tagged/rispy__example_wos.ris", 2, ""},
    {"wos-tagged/cishell__savedrecs-garfield.isi", 99, ""},
    {"wos-tagged/cishell__savedrecs-barabasi.isi", 126, ""},
    {"wos-tabbed/wosfile__wos_tab_delimited_win_utf16.txt", 50, ""},
    {"wos-tabbed/wosfile__wos_tab_delimited_win_utf8.txt", 50, ""},
    {"wos-tabbed/egouldo__savedrecs_utf16_cr.txt", 0, "carriage returns alone end no line: one header line"},
    {"wos-tabbed/scientopy__wos_2026_04_02_1000.txt", 1000, ""},
    {"wos-tabbed/scientopy__wos_2026_04_02_4071.txt", 71, ""},
    {"wos-tabbed/histcite-python__savedrecs.txt", 300, ""},
    {"wos-tabbed/imaginaries__feb_2015_alldatabases.txt", 50, ""},
    {"scopus-csv/JoL-Meta__scopus.csv", 333, ""},
    {"scopus-csv/pytrackrecord__scopus.csv", 49, ""},
    {"scopus-csv/papers-search__scopus_accesstype.csv", 211, ""},
    {"scopus-csv/collaboration_networks__sample_publication_download.csv", 160, ""},
    {"scopus-csv/nwb__BrainCancer.scopus", 99, ""},
    {"scopus-csv-newer/litstudy__scopus_concatenated_ragged.csv", kNoProbe, "header starts with another column order"},
    {"scopus-csv-newer/bibliometrix__scopus_sample.csv", kNoProbe, "every header name is quoted"},
    {"scopus-csv-newer/tethne__scopus.csv", kNoProbe, "\"Cited by,DOI,Link,Affiliations\" matches no header variant"},
    {"scopus-csv-newer/ScholarVScopus__scopus.csv", kNoProbe, "header starts with another column order"},
    {"scopus-csv-newer/topic-modeling__scopus_customfields.csv", kNoProbe, "header lacks the volume to page columns"},
    {"scopus-csv-newer/scientopy__scopus_2017.csv", kNoProbe, "\"Cited by,DOI,Link,Affiliations\" matches no header variant"},
    {"scopus-csv-newer/BDS_M2_AAUBS__scopus_2023.csv", kNoProbe, "header starts with another column order"},
    {"gscholar-csv/kingjr__citations.csv", 59, ""},
    {"gscholar-csv/FlorianWuennemann_CV__citations.csv", 15, ""},
    {"gscholar-csv/SunandanAdhikary__citations.csv", 26, ""},
    {"gscholar-csv/YuechengLiu__citations.csv", 20, ""},
    {"gscholar-csv/sinta-6739554__citations.csv", 14, ""},
    {"gscholar-csv/academic-kickstart__citations.csv", 15, ""},
    {"endnote-tagged/Extrator_RSL__citations.enw", 338, ""},
    {"endnote-tagged/sinta-6739554__citations.enw", 14, ""},
    {"endnote-tagged/academic-kickstart__citations.enw", 13, ""},
    {"endnote-tagged/single_wall_carbon_nanohorn__citations.enw", 1, ""},
    {"endnote-tagged/pymolshortcuts__scholar.enw", 1, ""},
    {"endnote-tagged/triple-a__scholar.enw", 1, ""},
    {"endnote-tagged/nwb__KatyBorner.enw", 146, ""},
    {"ris/synthesisr__scopus.ris", 92, ""},
    {"ris/synthesisr__Scopus_ris_example.ris", 3, ""},
    {"ris/CiteSource__gambling-harms_scopus_255.ris", 255, ""},
    {"ris/Scopus4HistCite__scopus.ris", 87, ""},
    {"ris/python-bibx__scopus.ris", 836, ""},
    {"ris/tm2_09__scopus_2024.ris", 106, ""},
    {"ris/litstudy__example_ieee.ris", 1, "every later TY line follows a lone carriage return"},
    {"ris/synthesisr__Ovid_ris_example.ris", kNoProbe, "first line is a numbering line"},
    {"ris/synthesisr__ASP_ris_example.ris", 4, ""},
    {"ris/CiteSource__WoS_79.ris", 79, ""},
    {"ris/sinta-6739554__citations_gscholar.ris", 14, ""},
};

// The display names the job prints, by the folder a real file lies in.
const std::map<std::string, std::string> kFolderFilters = {
    {"wos-tagged", "ISI/WoS (tagged)"},     {"wos-tabbed", "ISI/WoS (tab-delimited)"},
    {"scopus-csv", "Scopus (CSV)"},         {"scopus-csv-newer", "Scopus (CSV)"},
    {"gscholar-csv", "Google (CSV)"},       {"endnote-tagged", "EndNote (tagged)"},
    {"ris", "RIS/RefManager"},
};

std::vector<std::string> realFiles(const std::string& root) {
    std::vector<std::string> files;
    DIR* top = opendir(root.c_str());
    if (!top) return files;
    while (dirent* folder = readdir(top)) {
        if (folder->d_name[0] == '.') continue;
        const std::string sub = std::string(folder->d_name);
        DIR* inner = opendir((root + "/" + sub).c_str());
        if (!inner) continue;
        while (dirent* entry = readdir(inner))
            if (entry->d_name[0] != '.') files.push_back(sub + "/" + entry->d_name);
        closedir(inner);
    }
    closedir(top);
    std::sort(files.begin(), files.end());
    return files;
}

TEST_F(EndToEnd, EveryRealExportRunsThrough) {
    const std::string root = VARO_REAL_DATA_DIR;
    const std::vector<std::string> files = realFiles(root);
    if (files.empty()) GTEST_SKIP() << "no real exports at " << root;
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        const std::string path = root + "/" + file;
        const Outcome o = launch({path, "report.txt"});
        ASSERT_TRUE(o.status == 0 || o.status == 1) << o.err;
        EXPECT_EQ(o.err.find("Sanitizer"), std::string::npos) << o.err;
        const RealCase* known = nullptr;
        for (const RealCase& c : kRealCases)
            if (file == c.file) known = &c;
        if (!known) continue;  // a file added later: only that it runs through
        if (known->publications == kNoProbe || known->publications == kRejected) {
            const std::string logged =
                known->publications == kRejected
                    ? "varometrics: " + path + ": Cannot import data with filter ISI/WoS (tagged): [774] Invalid file type\n"
                    : "";
            EXPECT_EQ(o.status, 1);
            EXPECT_EQ(o.err, logged + path + ": cannot import data: Invalid file type\n") << known->why;
            continue;
        }
        const std::string folder = file.substr(0, file.find('/'));
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.err, path + ": imported " + kFolderFilters.at(folder) + " data; " +
                             std::to_string(known->publications) + " publications\n")
            << known->why;
        EXPECT_EQ(slurp(at("report.txt")).rfind(kBom + file.substr(file.find('/') + 1) + "\n", 0), 0u);
    }
}

}  // namespace
