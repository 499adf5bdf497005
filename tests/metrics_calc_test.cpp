// The metrics calculation: the cases of tests/data/metrics/cases.txt, the
// per-paper values it leaves behind, and agreement with the direct index
// definitions on random lists.
#include "metrics/metrics_calc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <sstream>
#include <vector>

#include "model/fixed_point.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "tests/support/support.h"

namespace {

constexpr int64_t kNow = 1781524800;  // 2026-06-15 12:00:00 UTC
constexpr int32_t kYear = 2026;

struct Paper { uint32_t cites, authors; int32_t year, use = 1; };

VroMetrics compute(const std::vector<Paper>& papers, VroPublicationList& list) {
    int32_t rank = 0;
    for (const Paper& paper : papers) {
        VroPublication* p = list.add();
        p->Rank = ++rank;
        p->Cites = p->ECC = p->CitesCount = paper.cites;
        p->Year = paper.year;
        p->Use = paper.use;
        for (uint32_t a = 0; a < paper.authors; ++a) (void)p->addAuthor(u"A", 1);
    }
    VroMetrics m;
    std::memset(&m, 0xAB, sizeof m);
    const MetricsCalcOptions options{50};
    computeMetrics(list, &m, &options, kNow);
    return m;
}

// One metric by its schema name, or "hist[b]".
std::string valueOf(const VroMetrics& m, const std::string& name) {
    if (name.rfind("hist[", 0) == 0) return std::to_string(m.authorHistogram[std::stoi(name.substr(5))]);
    for (const VroMetricsSchemaRow& row : kMetricsSchema) {
        if (name != row.name) continue;
        const uint32_t word = metricsWord(m, row.position);
        return row.type() == kSchemaTypeInt32 ? std::to_string(int32_t(word)) : std::to_string(word);
    }
    return "(no such metric)";
}

// The schema as the record's readers rely on it: every row at its own word,
// its identifier and type in one code, and the range of its type.
TEST(MetricsSchema, RowsDescribeTheirWords) {
    const auto rows = vt::tableOf("metrics/schema.txt");
    ASSERT_EQ(rows.size(), kMetricsSchemaRows);
    for (uint32_t i = 0; i < kMetricsSchemaRows; ++i) {
        const VroMetricsSchemaRow& row = kMetricsSchema[i];
        SCOPED_TRACE(rows[i][0]);
        EXPECT_EQ(row.name, rows[i][0]);
        EXPECT_EQ(row.snakeName, rows[i][1]);
        EXPECT_EQ(row.code, std::stoul(rows[i][2]) * 16 + std::stoul(rows[i][3]));
        EXPECT_EQ(row.position, i);
        EXPECT_EQ(row.minimum, 0u);
        EXPECT_EQ(row.maximum, std::stoul(rows[i][4]));
    }
    // Words run to the record's end; a position past it reads 0.
    VroMetrics m;
    std::memset(&m, 0xAB, sizeof m);
    EXPECT_EQ(metricsWord(m, sizeof m / 4 - 1), 0xABABABABu);
    EXPECT_EQ(metricsWord(m, sizeof m / 4), 0u);
}

TEST(ComputeMetrics, CasesGiveTheirValues) {
    std::string title;
    std::vector<Paper> papers;
    int checked = 0;
    for (const std::string& line : vt::linesOf(vt::slurp(vt::dataPath("metrics/cases.txt")))) {
        if (line.rfind("== ", 0) == 0) title = line.substr(3), papers.clear();
        if (line.empty() || line[0] == '#' || line[0] == '=') continue;
        std::istringstream fields(line);
        if (std::isdigit(uint8_t(line[0]))) {
            Paper& p = papers.emplace_back();
            fields >> p.cites >> p.authors >> p.year;
            if (int32_t use = 0; fields >> use) p.use = use;
            continue;
        }
        VroPublicationList list;
        const VroMetrics m = compute(papers, list);  // "name=value ..." after the papers
        EXPECT_EQ(m.metricsVersion, 20210310u);
        for (std::string pair; fields >> pair; ++checked)
            EXPECT_EQ(valueOf(m, pair.substr(0, pair.find('='))), pair.substr(pair.find('=') + 1)) << title << ": " << pair;
    }
    EXPECT_GT(checked, 80);
}

TEST(ComputeMetrics, EmptyListGivesOnlyTheVersion) {
    VroPublicationList list;
    VroMetrics m, expected;
    std::memset(&m, 0xAB, sizeof m);
    computeMetrics(list, &m, nullptr, kNow);
    resetMetrics(expected);
    expected.metricsVersion = 20210310;
    EXPECT_EQ(std::memcmp(&m, &expected, sizeof m), 0);
    EXPECT_EQ(list.referenceYear, 0);
    computeMetrics(list, nullptr, nullptr, kNow);  // no record: nothing happens
}

TEST(ComputeMetrics, PerPaperValuesAndTheListBackInRankOrder) {
    VroPublicationList list;
    compute({{1, 1, 0}, {10, 2, kYear - 3}, {5, 1, 1599, 0}, {10, 1, 0}, {4, 1, kYear + 1}}, list);
    EXPECT_EQ(list.sortKey, 6u);
    EXPECT_EQ(list.referenceYear, kYear);
    std::string got;
    for (uint32_t i = 0; i < list.count(); ++i) {
        const VroPublication* p = list.at(i);
        got += std::to_string(p->Rank) + ": age " + std::to_string(p->age) + " sc " + std::to_string(p->sc100) +
               " per year " + std::to_string(p->citesPerYear100) + " per author " + std::to_string(p->citesPerAuthor) +
               " status " + std::to_string(p->status) + "\n";
    }
    // The unused paper keeps what it had; its core bit is cleared all the same.
    EXPECT_EQ(got,
              "1: age 0 sc 100 per year 0 per author 1 status 0\n"
              "2: age 3 sc 1333 per year 333 per author 5 status 1\n"
              "3: age 0 sc 0 per year 0 per author 0 status 0\n"
              "4: age 0 sc 1000 per year 0 per author 10 status 1\n"
              "5: age 1 sc 1600 per year 400 per author 4 status 1\n");
    // The metrics alone leave the list's order and its papers' values as they were.
    list.sortKey = 0;
    list.at(1)->age = 77;
    VroMetrics only;
    computeMetricsOnly(list, &only, nullptr, kNow);
    EXPECT_EQ(list.sortKey, 0u);
    EXPECT_EQ(list.at(1)->age, 77);
}

TEST(ComputeMetrics, RoundingHelpers) {
    EXPECT_EQ(mulDivRound(10, 100, 3), 333u);
    EXPECT_EQ(mulDivRound(1, 1, 2), 1u);  // one half rounds up
    EXPECT_EQ(mulDivRound(5, 100, 0), 0xFFFFFFFFu);
    EXPECT_EQ(mulDivRound(0xFFFFFFFFu, 0xFFFFFFFFu, 1), 0xFFFFFFFFu);
    EXPECT_EQ(mulDivRound(0xFFFFFFFFu, 2, 2), 0xFFFFFFFFu);
    EXPECT_EQ(mulDivRound(0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu), 0xFFFFFFFFu);
    EXPECT_EQ(roundToUnsigned(2.5), 2u);  // ties to even
    EXPECT_EQ(roundToUnsigned(3.5), 4u);
    EXPECT_EQ(roundToUnsigned(-7.0), 0u);
    EXPECT_EQ(roundToUnsigned(4294967296.0 + 5.0), 5u);  // low 32 bits of the 64-bit value
    EXPECT_EQ(roundToUnsigned(9223372036854775808.0), 0u);
}

// Direct, obviously correct forms of the index definitions.
uint32_t naiveH(std::vector<uint32_t> v) {
    std::sort(v.rbegin(), v.rend());
    uint32_t h = 0;
    for (uint32_t i = 0; i < v.size(); ++i)
        if (v[i] >= i + 1) h = i + 1;
    return h;
}
uint32_t naiveG(std::vector<uint32_t> v) {
    std::sort(v.rbegin(), v.rend());
    uint64_t sum = 0;
    uint32_t g = 0;
    for (uint32_t i = 0; i < v.size(); ++i)
        if ((sum += v[i]) >= uint64_t(i + 1) * (i + 1)) g = i + 1;
    return g;
}

TEST(ComputeMetrics, IndicesAgreeWithDirectDefinitionsOnRandomLists) {
    std::mt19937 rng(20210310);
    for (int round = 0; round < 300; ++round) {
        // Every 25th list is long enough for the counting sorts, its counts several bytes wide.
        const bool large = round % 25 == 0;
        std::vector<Paper> papers(large ? 1024 + rng() % 2000 : rng() % 40);
        std::vector<uint32_t> cites, scores, perYear, perAuthor;
        for (Paper& p : papers) {
            p.cites = rng() % (large ? 70000 : 60);
            p.authors = rng() % 5;
            p.year = (rng() % 4 == 0) ? 0 : kYear - int32_t(rng() % 30);
            p.use = (rng() % 8 == 0) ? 0 : 1;
            if (p.use < 1) continue;
            cites.push_back(p.cites);
            const int32_t age = p.year >= 1600 ? std::max(1, kYear - p.year) : 0;
            // hc counts a paper at k when its score 4C/age reaches k.
            scores.push_back(age ? uint32_t(std::nearbyint(400.0 * p.cites / age)) / 100 : p.cites);
            // hA: citations per year rounded half up, whole.
            perYear.push_back(age ? (mulDivRound(p.cites, 100, age) + 50) / 100 : 0);
            perAuthor.push_back(p.authors ? (mulDivRound(p.cites, 1000, p.authors) + 500) / 1000 : 0);
        }
        VroPublicationList list;
        const VroMetrics m = compute(papers, list);
        EXPECT_EQ(m.totalPapers, cites.size());
        EXPECT_EQ(m.hIndex, naiveH(cites)) << round;
        EXPECT_EQ(m.gIndex, naiveG(cites)) << round;
        EXPECT_EQ(m.hcIndex, naiveH(scores)) << round;
        EXPECT_EQ(m.hAIndex, naiveH(perYear)) << round;
        EXPECT_EQ(m.hINormalized, naiveH(perAuthor)) << round;
        // Back in rank order, the h-core marked: h papers holding the h largest counts.
        std::sort(cites.rbegin(), cites.rend());
        uint32_t inOrder = 0, core = 0, coreCites = 0;
        for (uint32_t i = 0; i < list.count(); ++i) {
            inOrder += list.at(i)->Rank == int32_t(i + 1);
            const bool marked = (list.at(i)->status & kStatusInHCore) != 0;
            core += marked;
            coreCites += marked ? list.at(i)->Cites : 0;
        }
        EXPECT_EQ(inOrder, list.count()) << round;
        EXPECT_EQ(core, m.hIndex) << round;
        EXPECT_EQ(coreCites, std::accumulate(cites.begin(), cites.begin() + m.hIndex, 0u)) << round;
    }
}

}  // namespace
