// The compact forms behind large imports must agree with the plain ones: the
// calculation on its compact copy with the calculation over the records,
// and a list that drops texts with one that keeps them.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "metrics/metrics_calc.h"
#include "tests/support/metrics_reference.h"
#include "model/publication.h"

namespace {

// Values that stress the orders: equal counts and ranks, counts 2^31 apart
// (which compare wrongly, alike in both forms), unused papers, no authors,
// no year, future years, and derived values left over from an earlier run.
void fillAwkward(VroPublicationList& list, uint32_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    const uint32_t cites[] = {0, 1, 2, 3, 5, 8, 40, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu};
    for (uint32_t i = 0; i < n; ++i) {
        VroPublication* p = list.add();
        p->Rank = rng() % 4 == 0 ? int32_t(rng() % 5) : int32_t(i + 1);
        p->Use = rng() % 7 == 0 ? 0 : 1;
        // Seeds of 4 modulo 8 keep every count below 2^31, as real lists do.
        p->Cites = rng() % 3 == 0 ? cites[rng() % (seed % 8 == 4 ? 7 : 10)] : rng() % 60;
        p->ECC = p->Cites;
        p->Year = rng() % 5 == 0 ? 0 : 1590 + int32_t(rng() % 440);
        p->citesPerAuthor = rng() % 9;
        for (uint32_t a = rng() % 4; a-- > 0;) (void)p->addAuthor(u"A", 1);
    }
}

// What the calculation leaves in one paper, in the same order whichever form
// holds it (a record or its numbers), so that two forms compare at once.
template <class Paper>
std::vector<int64_t> derived(const Paper& p) {
    return {p.Rank, p.Cites, p.authorCount, p.status, p.sc100, p.citesPerAuthor, p.citesPerYear100, p.age};
}

TEST(CompactCalculation, AgreesWithTheCalculationOverRecords) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        // Past 1,024 papers the counting sorts take over.
        const uint32_t n = seed * seed % 700 + (seed % 3) + (seed % 4 == 0 ? 1500 : 0);
        VroPublicationList compact, records, numbers;
        numbers.keepNumbersOnly();
        fillAwkward(compact, n, seed);
        fillAwkward(records, n, seed);
        fillAwkward(numbers, n, seed);
        VroMetrics a, b, c;
        std::memset(&a, 0x5A, sizeof a);
        std::memset(&b, 0xA5, sizeof b);
        std::memset(&c, 0x3C, sizeof c);
        const MetricsCalcOptions options{seed % 2 ? 50u : 2u};
        for (int run = 0; run < 2; ++run) {  // the second run starts from the first one's values
            computeMetrics(compact, &a, &options, 1781524800);
            computeMetricsOnRecords(records, &b, &options, 1781524800);
            computeMetrics(numbers, &c, &options, 1781524800);
        }
        ASSERT_EQ(std::memcmp(&a, &b, sizeof a), 0) << "seed " << seed;
        ASSERT_EQ(std::memcmp(&c, &b, sizeof c), 0) << "seed " << seed;
        ASSERT_EQ(numbers.count(), n);
        ASSERT_EQ(numbers.numbersCount(), n);
        ASSERT_EQ(compact.sortKey, records.sortKey);
        ASSERT_EQ(compact.referenceYear, records.referenceYear);
        for (uint32_t i = 0; i < n; ++i) {
            ASSERT_EQ(derived(numbers.numbers()[i]), derived(*records.at(i))) << "seed " << seed << " paper " << i;
            ASSERT_EQ(derived(*compact.at(i)), derived(*records.at(i))) << "seed " << seed << " paper " << i;
        }
    }
}

TEST(CompactCalculation, BothFormsCountAPaperExactlyAtTheHaBound) {
    // Per-year values 250, 150 and 50: the second paper sits on 100 k - 50.
    void (*const calculations[])(VroPublicationList&, VroMetrics*, const MetricsCalcOptions*, int64_t) noexcept = {
        computeMetrics, computeMetricsOnRecords};
    for (const auto calculate : calculations) {
        VroPublicationList list;
        for (const uint32_t cites : {5u, 3u, 1u}) {
            VroPublication* p = list.add();
            p->Cites = p->ECC = cites;
            p->Use = 1;
            p->Year = 2024;  // two years old in the year of the run
            p->Rank = int32_t(list.count());
        }
        VroMetrics m;
        calculate(list, &m, nullptr, 1781524800);
        EXPECT_EQ(m.hAIndex, 2u);
    }
}

TEST(RetainedTexts, DroppedOnceTheNextRecordStartsTitleAndAuthorCountKept) {
    VroPublicationList list;
    list.retainTexts(kFieldTitle);
    for (int i = 0; i < 3; ++i) {
        VroPublication* p = list.add();
        ASSERT_NE(p, nullptr);
        EXPECT_TRUE(p->Abstract.empty());  // storage passed on, not its text
        ASSERT_EQ(p->Title.assign(u"A title long enough for the heap"), kResultOk);
        ASSERT_EQ(p->Abstract.assign(u"An abstract long enough for the heap"), kResultOk);
        ASSERT_EQ(p->Authors.assign(u"Smith, Jones, Doe"), kResultOk);
        EXPECT_EQ(p->splitAuthors(), 3u);
        EXPECT_TRUE(p->Abstract.equals(u"An abstract long enough for the heap"));  // still importing
    }
    list.endImport();
    for (uint32_t i = 0; i < 3; ++i) {
        VroPublication& p = *list.at(i);
        EXPECT_TRUE(p.Title.equals(u"A title long enough for the heap"));
        EXPECT_TRUE(p.Abstract.empty() && p.Authors.empty());
        EXPECT_EQ(p.authorCount, 3u);
        EXPECT_EQ(p.addAuthor(u"X", 1), nullptr);  // names gone, count stands
        EXPECT_EQ(p.joinAuthors(), 3u);
    }
}

}  // namespace
