#include "metrics/metrics_calc.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "metrics/metrics_record.h"
#include "metrics/publication.h"

namespace {

// 2026-06-15 12:00:00 UTC.
constexpr int64_t kNow = 1781524800;
constexpr int32_t kYear = 2026;

struct Paper {
    uint32_t cites;
    uint32_t authors;
    int32_t year;
    int32_t use = 1;
};

void fill(VroPublicationList& list, const std::vector<Paper>& papers) {
    int32_t rank = 0;
    for (const Paper& paper : papers) {
        VroPublication* p = list.add();
        p->Rank = ++rank;
        p->Cites = p->ECC = p->CitesCount = paper.cites;
        p->Year = paper.year;
        p->Use = paper.use;
        for (uint32_t a = 0; a < paper.authors; ++a) (void)p->addAuthor(u"A", 1);
    }
}

VroMetrics compute(const std::vector<Paper>& papers, VroPublicationList* keep = nullptr) {
    VroPublicationList local;
    VroPublicationList& list = keep ? *keep : local;
    fill(list, papers);
    VroMetrics m;
    std::memset(&m, 0xAB, sizeof m);
    const MetricsCalcOptions options{50};
    computeMetrics(list, &m, &options, kNow);
    return m;
}

TEST(MulDivRound, RoundsHalfUpAndSaturates) {
    EXPECT_EQ(mulDivRound(10, 100, 3), 333u);
    EXPECT_EQ(mulDivRound(1, 1, 2), 1u);  // one half rounds up
    EXPECT_EQ(mulDivRound(5, 100, 0), 0xFFFFFFFFu);
    EXPECT_EQ(mulDivRound(0xFFFFFFFFu, 0xFFFFFFFFu, 1), 0xFFFFFFFFu);
    EXPECT_EQ(mulDivRound(0xFFFFFFFFu, 2, 2), 0xFFFFFFFFu);
    EXPECT_EQ(mulDivRound(0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu), 0xFFFFFFFFu);
}

TEST(RoundToUnsigned, TiesToEvenNegativesToZeroLowBitsBeyond) {
    EXPECT_EQ(roundToUnsigned(2.5), 2u);
    EXPECT_EQ(roundToUnsigned(3.5), 4u);
    EXPECT_EQ(roundToUnsigned(-7.0), 0u);
    EXPECT_EQ(roundToUnsigned(4294967296.0 + 5.0), 5u);  // low 32 bits of the 64-bit value
}

TEST(ComputeMetrics, EmptyListGivesOnlyTheVersion) {
    VroPublicationList list;
    VroMetrics m;
    std::memset(&m, 0xAB, sizeof m);
    computeMetrics(list, &m, nullptr, kNow);
    VroMetrics expected;
    resetMetrics(expected);
    expected.metricsVersion = 20210310;
    EXPECT_EQ(std::memcmp(&m, &expected, sizeof m), 0);
    EXPECT_EQ(list.referenceYear, 0);
    computeMetrics(list, nullptr, nullptr, kNow);  // no record: nothing happens
}

TEST(ComputeMetrics, WorkedExampleOfOnePaper) {
    VroPublicationList list;
    const VroMetrics m = compute({{10, 2, kYear - 3}}, &list);
    EXPECT_EQ(m.hIndex, 1u);
    EXPECT_EQ(m.gIndex, 1u);
    EXPECT_EQ(m.a100, 1000u);
    EXPECT_EQ(m.medianCitesPerPaper10, 100u);
    EXPECT_EQ(m.citesPerPaperMode, 10u);
    EXPECT_EQ(m.medianAuthorsPerPaper10, 0u);
    EXPECT_EQ(m.authorsPerPaperMode, 2u);
    EXPECT_EQ(m.papersPerAuthor100, 50u);
    EXPECT_EQ(m.citesPerAuthor100, 500u);
    EXPECT_EQ(m.acc1, 1u);
    EXPECT_EQ(m.acc2, 1u);
    EXPECT_EQ(m.acc5, 0u);
    EXPECT_EQ(m.m100, 33u);
    EXPECT_EQ(m.eIndex100, 300u);
    EXPECT_EQ(m.hmIndex100, 50u);
    EXPECT_EQ(m.hIBatista100, 50u);
    EXPECT_EQ(m.referenceYear, kYear);
    EXPECT_EQ(m.citingYears, 3);
    EXPECT_EQ(m.firstYear, kYear - 3);
    EXPECT_EQ(m.lastYear, kYear - 3);
    EXPECT_EQ(m.totalSc, 13u);     // 1333 / 100, half up
    EXPECT_EQ(m.awcr100, 333u);    // 33333 (x10000) to x100
    EXPECT_EQ(m.awcrRoot100, 183u);  // sqrt(33333) = 182.57
    EXPECT_EQ(m.awcrPerAuthor100, 167u);  // 5000 * 100 / 3 = 166667 (x100000) to x100
    EXPECT_EQ(m.authorHistogram[2], 1u);
    const VroPublication* p = list.at(0);
    EXPECT_EQ(p->age, 3);
    EXPECT_EQ(p->sc100, 1333u);
    EXPECT_EQ(p->citesPerYear100, 333u);
    EXPECT_EQ(p->citesPerAuthor, 5u);
    EXPECT_EQ(p->status & kStatusInHCore, kStatusInHCore);
    EXPECT_EQ(list.sortKey, 6u);
    EXPECT_EQ(list.referenceYear, kYear);
}

TEST(ComputeMetrics, AgeIsAtLeastOneAndYearsBefore1600DoNotCount) {
    VroPublicationList list;
    const VroMetrics m = compute({{4, 1, kYear}, {4, 1, kYear + 1}, {4, 1, 1599}}, &list);
    EXPECT_EQ(list.at(0)->age, 1);
    EXPECT_EQ(list.at(1)->age, 1);
    EXPECT_EQ(list.at(2)->age, 0);
    EXPECT_EQ(list.at(2)->citesPerYear100, 0u);
    EXPECT_EQ(list.at(2)->sc100, 400u);
    EXPECT_EQ(m.citingYears, 1);
    EXPECT_EQ(m.firstYear, kYear);
    EXPECT_EQ(m.lastYear, kYear + 1);
}

TEST(ComputeMetrics, UnusedPapersAreInvisibleButLoseTheirCoreBit) {
    VroPublicationList list;
    fill(list, {{50, 1, 2000, 0}, {50, 1, 2000, -1}});
    list.at(0)->status = kStatusInHCore | 4u;
    VroMetrics m;
    computeMetrics(list, &m, nullptr, kNow);
    EXPECT_EQ(list.at(0)->status, 4u);
    EXPECT_EQ(m.totalPapers, 0u);
    EXPECT_EQ(m.totalCites, 0u);
    EXPECT_EQ(m.hIndex, 0u);
    EXPECT_EQ(m.citingYears, 0);
    EXPECT_EQ(m.referenceYear, kYear);
    EXPECT_EQ(m.citesPerPaperMode, kNoMode);
}

TEST(ComputeMetrics, ModesOfEqualSizedGroupsAreAllOnes) {
    const VroMetrics m = compute({{3, 1, 0}, {3, 1, 0}, {7, 2, 0}, {7, 2, 0}});
    EXPECT_EQ(m.citesPerPaperMode, kNoMode);
    EXPECT_EQ(m.authorsPerPaperMode, kNoMode);
    EXPECT_EQ(m.medianCitesPerPaper10, 50u);    // (30 + 70) / 2
    EXPECT_EQ(m.medianAuthorsPerPaper10, 15u);  // positions 2 and 3: 1 and 2
    const VroMetrics one = compute({{3, 1, 0}, {3, 1, 0}, {7, 2, 0}});
    EXPECT_EQ(one.citesPerPaperMode, 3u);
    EXPECT_EQ(one.authorsPerPaperMode, 1u);
    EXPECT_EQ(one.medianAuthorsPerPaper10, 10u);  // position 1 of 3
}

TEST(ComputeMetrics, AuthorCapAndPapersWithoutAuthors) {
    const VroMetrics m = compute({{6, 60, 0}, {2, 0, 0}});
    EXPECT_EQ(m.authorHistogram[50], 1u);
    EXPECT_EQ(m.authorHistogram[0], 1u);
    EXPECT_EQ(m.meanAuthorsPerPaper100, 2500u);  // (50 + 0) / 2
    // 100/50 = 2 for the capped paper, and all ones (minus one) for bucket 0.
    EXPECT_EQ(m.papersPerAuthor100, 1u);
    EXPECT_EQ(m.hmIndex100, 2u);  // only 1/50 enters the hm sum
}

TEST(ComputeMetrics, WithoutDatedPapersYearMetricsStayZero) {
    const VroMetrics m = compute({{9, 1, 0}, {5, 2, 0}, {1, 3, 0}});
    EXPECT_EQ(m.hcIndex, m.hIndex);
    for (uint32_t v : {m.m100, m.citesPerYear100, m.citesPerAuthorYear100, m.hIAnnual100, m.acc1, m.acc20,
                       m.awcr100, m.awcrRoot100, m.awcrPerAuthor100, m.totalSc, m.ac100})
        EXPECT_EQ(v, 0u);
    EXPECT_EQ(m.firstYear, 0);
    EXPECT_EQ(m.citingYears, 0);
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
    for (uint32_t i = 0; i < v.size(); ++i) {
        sum += v[i];
        if (sum >= uint64_t(i + 1) * (i + 1)) g = i + 1;
    }
    return g;
}

TEST(ComputeMetrics, IndicesAgreeWithDirectDefinitionsOnRandomLists) {
    std::mt19937 rng(20210310);
    for (int round = 0; round < 300; ++round) {
        std::vector<Paper> papers(rng() % 40);
        std::vector<uint32_t> cites, scores, perYear, perAuthor;
        for (Paper& p : papers) {
            p.cites = rng() % 60;
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
        const VroMetrics m = compute(papers);
        EXPECT_EQ(m.totalPapers, cites.size());
        EXPECT_EQ(m.hIndex, naiveH(cites)) << round;
        EXPECT_EQ(m.gIndex, naiveG(cites)) << round;
        EXPECT_LE(m.gIndex, m.totalPapers);
        EXPECT_EQ(m.hcIndex, naiveH(scores)) << round;
        EXPECT_EQ(m.hAIndex, naiveH(perYear)) << round;
        EXPECT_EQ(m.hINormalized, naiveH(perAuthor)) << round;
    }
}

TEST(ComputeMetrics, LeavesTheListInRankOrder) {
    VroPublicationList list;
    compute({{1, 1, 0}, {9, 1, 0}, {5, 1, 0}, {9, 1, 0}}, &list);
    for (uint32_t i = 0; i < list.count(); ++i) EXPECT_EQ(list.at(i)->Rank, int32_t(i + 1));
    EXPECT_EQ(list.at(1)->status & kStatusInHCore, kStatusInHCore);
    EXPECT_EQ(list.at(0)->status & kStatusInHCore, 0u);
}

TEST(MetricsSchema, RowsDescribeTheRecordInOrder) {
    EXPECT_EQ(kMetricsSchemaRows, 45u);
    for (uint32_t i = 0; i < kMetricsSchemaRows; ++i) EXPECT_EQ(kMetricsSchema[i].position, i);
    EXPECT_STREQ(kMetricsSchema[41].name, "hINormalized");
    EXPECT_STREQ(kMetricsSchema[42].name, "hIAnnual100");
    EXPECT_EQ(kMetricsSchema[41].code, 587u);
    EXPECT_EQ(kMetricsSchema[42].code, 587u);
    EXPECT_STREQ(kMetricsSchema[34].snakeName, "Sc_total");
    EXPECT_EQ(kMetricsSchema[21].type(), kSchemaTypeInt32);
    EXPECT_EQ(kMetricsSchema[21].maximum, 2147483647u);
    EXPECT_EQ(kMetricsSchema[0].identifier(), 40u);
    VroMetrics m;
    std::memset(&m, 0xFF, sizeof m);
    m.hmIndex100 = 1234;
    EXPECT_EQ(metricsWord(m, kMetricsSchema[43].position), 1234u);
    resetMetrics(m);
    for (uint32_t i = 0; i < 96; ++i) EXPECT_EQ(metricsWord(m, i), 0u);
}

}  // namespace
