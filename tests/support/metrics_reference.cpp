// The metrics calculation over the publication records themselves: each
// order is a sort of the list and each walk reads the records. The product's
// calculation runs the same steps on a compact copy and must agree with this
// one on every list.
#include "tests/support/metrics_reference.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>

#include "model/fixed_point.h"
#include "model/publication.h"

namespace {

bool isUsed(const VroPublication* p) { return p != nullptr && p->Use >= 1; }

// The calculation's five orders: by citations rising (ties: larger Rank
// first, so the walk from the end meets the smaller rank first), by score,
// citations per author and citations per year falling, and by Rank.
uint32_t citesOf(const VroPublication& p) { return p.Cites; }
uint32_t scoreOf(const VroPublication& p) { return p.sc100; }
uint32_t citesPerAuthorOf(const VroPublication& p) { return p.citesPerAuthor; }
uint32_t citesPerYearOf(const VroPublication& p) { return p.citesPerYear100; }
uint32_t rankOf(const VroPublication& p) { return uint32_t(p.Rank); }


// Steps 7: median and mode of Cites over the used papers, list sorted by
// citations rising.
void citationMedianAndMode(const VroPublicationList& list, uint32_t n, VroMetrics& m) {
    m.citesPerPaperMode = kNoMode;
    if (n == 0) return;
    const uint32_t second = n / 2 + 1;
    const uint32_t first = (n & 1) ? second : n / 2;

    struct Run {
        uint32_t value;
        uint32_t count;
    };
    std::unique_ptr<Run[]> runs(new (std::nothrow) Run[n]());
    uint32_t current = 0;
    uint32_t k = 0;
    for (uint32_t i = 0; i < list.count(); ++i) {
        const VroPublication* p = list.at(i);
        if (!isUsed(p)) continue;
        ++k;
        const uint32_t c = p->Cites;
        if (k == first) m.medianCitesPerPaper10 = c * 10;
        if (k == second) m.medianCitesPerPaper10 = uint32_t((uint64_t(c * 10) + m.medianCitesPerPaper10) >> 1);
        if (!runs) continue;
        if (runs[current].count != 0 && runs[current].value != c) ++current;
        if (current >= n) continue;
        runs[current].count += 1;
        runs[current].value = c;
    }
    if (!runs) return;
    uint32_t best = 0;
    for (uint32_t r = 0; r < n && runs[r].count != 0; ++r) {
        if (runs[r].count > best) {
            best = runs[r].count;
            m.citesPerPaperMode = runs[r].value;
        } else if (runs[r].count == best) {
            m.citesPerPaperMode = kNoMode;
        }
    }
}

// Steps 9 to 11: an h-type index over one per-paper value, list sorted by
// that value falling: the last position k whose value reaches k's threshold.
template <class Reaches>
uint32_t rankIndex(const VroPublicationList& list, Reaches reaches) {
    uint32_t index = 0;
    uint32_t k = 0;
    for (uint32_t i = 0; i < list.count(); ++i) {
        const VroPublication* p = list.at(i);
        if (!isUsed(p)) continue;
        ++k;
        if (reaches(*p, k)) index = k;
    }
    return index;
}

}  // namespace

void computeMetricsOnRecords(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options,
                             int64_t now) noexcept {
    if (metrics == nullptr) return;
    VroMetrics& m = *metrics;
    resetMetrics(m);
    m.metricsVersion = kMetricsVersion;
    if (list.count() == 0) return;

    const uint32_t cap = (options && options->maxAuthors != 0) ? options->maxAuthors : kMaxAuthors;
    const int32_t year = referenceYearOf(now);
    list.referenceYear = year;
    m.referenceYear = year;

    list.sortByKey(citesOf, VroSortDirection::rising, VroRankTies::largerFirst);

    // Main walk: most cited first; among equal counts the smaller Rank first.
    uint32_t n = 0;
    uint32_t position = 0;
    uint32_t citeTotal = 0;
    uint32_t estimatedTotal = 0;
    uint32_t authorSum = 0;
    uint32_t hCoreAuthorSum = 0;
    double inverseAuthorSum = 0.0;
    for (uint32_t idx = list.count(); idx-- > 0;) {
        VroPublication* p = list.at(idx);
        if (p == nullptr) continue;
        p->status &= ~kStatusInHCore;
        if (p->Use < 1) continue;
        const uint32_t c = p->Cites;
        ++n;
        ++position;
        m.totalPapers += 1;

        estimatedTotal += p->ECC;
        citeTotal += c;
        const uint32_t a = p->authorCount < cap ? p->authorCount : cap;
        authorSum += a;
        if (a != 0) {
            inverseAuthorSum += 1.0 / double(a);
            p->citesPerAuthor = mulDivRound(c, 1000, a);
            m.citesPerAuthor100 += p->citesPerAuthor;
        }
        m.authorHistogram[a < kAuthorHistogramSize ? a : kAuthorHistogramSize - 1] += 1;

        if (c >= position) {
            p->status |= kStatusInHCore;
            m.hIndex = position;
            m.hSetCites += c;
            hCoreAuthorSum += a;
        }
        if (citeTotal >= position * position) {
            m.gIndex = position;
            m.gSetCites += c;
        }
        if (double(c) >= inverseAuthorSum) m.hmIndex100 = roundToUnsigned(inverseAuthorSum * 100.0);

        p->citesPerYear100 = 0;
        p->age = 0;
        p->sc100 = c * 100;
        if (p->Year >= kFirstCountedYear) {
            int32_t age = int32_t(uint32_t(year) - uint32_t(p->Year));
            if (age < 1) age = 1;
            p->age = age;
            if (age > m.citingYears) m.citingYears = age;
            if (m.firstYear == 0 || p->Year < m.firstYear) m.firstYear = p->Year;
            if (p->Year > m.lastYear) m.lastYear = p->Year;
            p->sc100 = roundToUnsigned(std::pow(double(age), -1.0) * (double(c) * 400.0));
            m.totalSc += p->sc100;
            m.awcr100 += mulDivRound(c, 10000, uint32_t(age));
            m.awcrPerAuthor100 += mulDivRound(p->citesPerAuthor, 100, uint32_t(age));
            p->citesPerYear100 = mulDivRound(c, 100, uint32_t(age));
            if (p->citesPerYear100 >= 100) m.acc1 += 1;
            if (p->citesPerYear100 >= 200) m.acc2 += 1;
            if (p->citesPerYear100 >= 500) m.acc5 += 1;
            if (p->citesPerYear100 >= 1000) m.acc10 += 1;
            if (p->citesPerYear100 >= 2000) m.acc20 += 1;
        }
        p->citesPerAuthor = (p->citesPerAuthor + 500) / 1000;
    }

    const uint32_t h = m.hIndex;
    const uint32_t hSquared = h * h;
    m.citesPerAuthor100 = (m.citesPerAuthor100 + 5) / 10;
    m.eIndex100 = roundToUnsigned(std::sqrt(double(uint32_t(m.hSetCites - hSquared))) * 100.0);
    if (hCoreAuthorSum != 0) m.hIBatista100 = mulDivRound(hSquared, 100, hCoreAuthorSum);
    m.totalSc = (m.totalSc + 50) / 100;
    m.awcrRoot100 = roundToUnsigned(std::sqrt(double(m.awcr100)));
    m.awcr100 = (m.awcr100 + 50) / 100;
    m.awcrPerAuthor100 = (m.awcrPerAuthor100 + 500) / 1000;

    citationMedianAndMode(list, n, m);
    authorStatisticsFromHistogram(m);

    list.sortByKey(scoreOf, VroSortDirection::falling, VroRankTies::none);
    m.hcIndex = rankIndex(list, [](const VroPublication& p, uint32_t k) { return p.sc100 >= 100 * k; });
    list.sortByKey(citesPerAuthorOf, VroSortDirection::falling, VroRankTies::none);
    m.hINormalized = rankIndex(list, [](const VroPublication& p, uint32_t k) { return p.citesPerAuthor >= k; });
    list.sortByKey(citesPerYearOf, VroSortDirection::falling, VroRankTies::none);
    m.hAIndex =
        rankIndex(list, [](const VroPublication& p, uint32_t k) { return p.citesPerYear100 >= 100 * k - 50; });

    m.estimatedTotalCites = estimatedTotal;
    m.totalCites = citeTotal;
    const uint32_t papers = m.totalPapers;
    if (papers != 0) {
        m.meanAuthorsPerPaper100 = mulDivRound(authorSum, 100, papers);
        m.meanCitesPerPaper100 = mulDivRound(m.totalCites, 100, papers);
        m.hNormalized100 = mulDivRound(h, 100, papers);
    }
    if (h != 0) {
        m.gh100 = mulDivRound(m.gIndex, 100, h);
        m.a100 = mulDivRound(m.totalCites, 100, hSquared);
        m.hCoverage1000 = mulDivRound(m.hSetCites, 1000, m.totalCites);
    }
    if (m.gIndex != 0) m.gCoverage1000 = mulDivRound(m.gSetCites, 1000, m.totalCites);
    if (m.hcIndex != 0) m.ac100 = mulDivRound(m.totalSc, 100, m.hcIndex * m.hcIndex);

    if (m.citingYears >= 1) {
        const uint32_t years = uint32_t(m.citingYears);
        m.m100 = mulDivRound(h, 100, years);
        m.citesPerYear100 = mulDivRound(m.totalCites, 100, years);
        // Plain truncating division, unlike its rounded neighbours.
        m.citesPerAuthorYear100 = m.citesPerAuthor100 / years;
        m.hIAnnual100 = mulDivRound(m.hINormalized, 100, years);
    }
    list.sortByKey(rankOf, VroSortDirection::rising, VroRankTies::none);
    list.sortKey = kSortKeyRank;
}
