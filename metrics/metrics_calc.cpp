// The metrics calculation on a compact copy: per paper only the numbers the
// steps read, in flat arrays, sorted as small entries. Large lists are
// otherwise sorted five times by chasing pointers into records spread over
// the heap, which costs more than all the arithmetic.
#include "metrics/metrics_calc.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <type_traits>

#include "model/fixed_point.h"
#include "model/publication.h"

uint32_t roundToUnsigned(double value) noexcept {
    const double r = std::nearbyint(value);
    if (!(r > 0.0)) return 0;  // negatives, zero and NaN
    // The 64-bit conversion of a value at or beyond 2^63 yields the
    // "indefinite" integer 0x8000000000000000, whose low 32 bits are 0.
    if (r >= 9223372036854775808.0) return 0;
    return uint32_t(uint64_t(int64_t(r)));
}

int32_t referenceYearOf(int64_t now) noexcept {
    const std::time_t t = std::time_t(now);
    std::tm parts{};
    if (gmtime_r(&t, &parts) == nullptr) return 1970;
    return parts.tm_year + 1900;
}

// Step 8: authors per paper from the histogram. The median is taken at
// position P/2 (and averaged with P/2 + 1 for even P), so a single paper has
// median 0; bucket 0 adds mulDivRound(c, 100, 0) = all ones, i.e. subtracts
// one from papersPerAuthor100. Both are established results and kept.
void authorStatisticsFromHistogram(VroMetrics& m) noexcept {
    const uint32_t papers = m.totalPapers;
    const uint32_t half = papers / 2;
    const bool even = (papers & 1) == 0;
    m.authorsPerPaperMode = kNoMode;
    uint32_t best = 0;
    uint32_t cumulative = 0;
    for (uint32_t b = 0; b < kAuthorHistogramSize; ++b) {
        const uint32_t c = m.authorHistogram[b];
        if (c == 0) continue;
        m.papersPerAuthor100 += mulDivRound(c, 100, b);
        const uint32_t end = cumulative + c;
        if (cumulative < half && half <= end) m.medianAuthorsPerPaper10 = b * 10;
        if (even && cumulative <= half && half < end)
            m.medianAuthorsPerPaper10 = (m.medianAuthorsPerPaper10 >> 1) + b * 5;
        cumulative = end;
        if (c > best) {
            best = c;
            m.authorsPerPaperMode = b;
        } else if (c == best) {
            m.authorsPerPaperMode = kNoMode;
        }
    }
}

namespace {

// One paper in one order: the sort key, its rank for ties, whether it is
// used, and its index into the per-paper arrays.
struct Entry {
    uint32_t key;
    int32_t rank;
    uint32_t paper;
    uint32_t used;
};

// Differences taken in 32 bits and read as signed, as the orders of the
// records do (values 2^31 apart compare wrongly, alike in both forms).
inline int diff(uint32_t a, uint32_t b) { return int32_t(a - b); }

struct CitesRisingLargerRankFirst {
    int operator()(const Entry& a, const Entry& b) const {
        const int d = diff(a.key, b.key);
        return d != 0 ? d : diff(uint32_t(b.rank), uint32_t(a.rank));
    }
};
struct KeyFalling {
    int operator()(const Entry& a, const Entry& b) const { return diff(b.key, a.key); }
};
struct KeyRising {
    int operator()(const Entry& a, const Entry& b) const { return diff(a.key, b.key); }
};

// The C library's merge sort step for step: halves of n / 2 and the rest,
// the left element taken while it compares at or below the right one. With
// the same comparisons in the same order the result is the same order even
// where a comparator is not consistent, so both forms agree on every input.
template <class Compare>
void mergeSort(Entry* b, uint32_t n, Entry* tmp, Compare compare) {
    if (n <= 1) return;
    uint32_t n1 = n / 2;
    uint32_t n2 = n - n1;
    Entry* b1 = b;
    Entry* b2 = b + n1;
    mergeSort(b1, n1, tmp, compare);
    mergeSort(b2, n2, tmp, compare);
    Entry* out = tmp;
    while (n1 > 0 && n2 > 0) {
        if (compare(*b1, *b2) <= 0) {
            *out++ = *b1++;
            --n1;
        } else {
            *out++ = *b2++;
            --n2;
        }
    }
    if (n1 > 0) std::memcpy(out, b1, size_t(n1) * sizeof(Entry));
    std::memcpy(b, tmp, size_t(n - n2) * sizeof(Entry));
}

// A stable sort by one 32-bit value per entry, rising or falling, in
// least-significant-byte-first counting passes (a byte every value shares
// needs no pass). Ties keep their order.
template <class Value>
void radixSort(Entry*& b, uint32_t n, Entry*& tmp, Value value, bool falling) {
    uint32_t counts[4][256] = {};
    const uint32_t flip = falling ? 0xFFFFFFFFu : 0u;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t v = value(b[i]) ^ flip;
        for (uint32_t d = 0; d < 4; ++d) ++counts[d][(v >> (8 * d)) & 0xFF];
    }
    const uint32_t first = value(b[0]) ^ flip;
    for (uint32_t d = 0; d < 4; ++d) {
        if (counts[d][(first >> (8 * d)) & 0xFF] == n) continue;
        uint32_t offset = 0;
        for (uint32_t& c : counts[d]) {
            const uint32_t here = c;
            c = offset;
            offset += here;
        }
        for (uint32_t i = 0; i < n; ++i) tmp[counts[d][((value(b[i]) ^ flip) >> (8 * d)) & 0xFF]++] = b[i];
        Entry* const swap = b;
        b = tmp;
        tmp = swap;
    }
}

// The orders of the calculation compare values by their 32-bit difference
// read as signed. While every value (and rank) is below 2^31 that is the
// plain order, and any stable sort gives the merge sort's result: then the
// counting passes run instead, which on large lists take a fraction of the
// time. Entries and scratch may trade places.
bool valuesBelowHalfRange(const Entry* b, uint32_t n, bool ranks) {
    uint32_t all = 0;
    for (uint32_t i = 0; i < n; ++i) all |= b[i].key | (ranks ? uint32_t(b[i].rank) : 0u);
    return (all & 0x80000000u) == 0;
}

constexpr uint32_t kRadixSortFrom = 1024;

// Below this many entries a stable insertion sort beats the merge sort's
// recursion and copies; per-author and per-source groups are mostly this
// small, and thousands of them are calculated in one report.
constexpr uint32_t kInsertionSortBelow = 32;

template <class Compare>
void insertionSort(Entry* b, uint32_t n, Compare compare) {
    for (uint32_t i = 1; i < n; ++i) {
        const Entry e = b[i];
        uint32_t j = i;
        for (; j > 0 && compare(b[j - 1], e) > 0; --j) b[j] = b[j - 1];
        b[j] = e;
    }
}

template <class Compare>
void sortEntries(Entry*& b, uint32_t n, Entry*& tmp, Compare compare) {
    if (n <= 1) return;
    constexpr bool kWithRanks = std::is_same_v<Compare, CitesRisingLargerRankFirst>;
    const bool plainOrder = valuesBelowHalfRange(b, n, kWithRanks);
    if (n < kInsertionSortBelow && plainOrder) {
        insertionSort(b, n, compare);
        return;
    }
    // Short lists are sorted faster than the passes' counters are cleared.
    if (n < kRadixSortFrom || !plainOrder) {
        mergeSort(b, n, tmp, compare);
        return;
    }
    const auto key = [](const Entry& e) { return e.key; };
    if constexpr (kWithRanks) {
        radixSort(b, n, tmp, [](const Entry& e) { return uint32_t(e.rank); }, true);
        radixSort(b, n, tmp, key, false);
    } else {
        radixSort(b, n, tmp, key, std::is_same_v<Compare, KeyFalling>);
    }
}

// What the main walk reads of a paper.
struct PaperInput {
    uint32_t ecc;
    int32_t year;
    uint32_t authors;
    uint32_t spare;
};

// The compact copy: entries and per-paper arrays, in one allocation.
class Work {
public:
    static constexpr size_t kBytesPerPaper =
        2 * sizeof(Entry) + sizeof(PaperInput) + 2 * sizeof(VroPublication*) + 4 * sizeof(uint32_t) + sizeof(uint8_t);
    static_assert(kBytesPerPaper <= kCalculationRoomPerPublication, "a list reserves enough");

    // room holds n * kBytesPerPaper bytes at least and stays the caller's.
    Work(uint32_t n, unsigned char* room) noexcept : n_(n) {
        unsigned char* p = room;
        entries = take<Entry>(p);
        scratch = take<Entry>(p);
        input = take<PaperInput>(p);
        publications = take<VroPublication*>(p);
        ordered = take<VroPublication*>(p);
        sc100 = take<uint32_t>(p);
        citesPerAuthor = take<uint32_t>(p);
        citesPerYear100 = take<uint32_t>(p);
        age = take<int32_t>(p);
        inHCore = take<uint8_t>(p);
    }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    Entry* entries = nullptr;
    Entry* scratch = nullptr;
    PaperInput* input = nullptr;
    VroPublication** publications = nullptr;
    VroPublication** ordered = nullptr;
    uint32_t* sc100 = nullptr;
    uint32_t* citesPerAuthor = nullptr;
    uint32_t* citesPerYear100 = nullptr;
    int32_t* age = nullptr;
    uint8_t* inHCore = nullptr;

    // Paper i's numbers into the copy, from a record or a list's numbers.
    template <class Paper>
    void load(uint32_t i, const Paper& p) noexcept {
        entries[i] = {p.Cites, p.Rank, i, p.Use >= 1 ? 1u : 0u};
        input[i] = {p.ECC, p.Year, p.authorCount, 0};
        sc100[i] = p.sc100;
        citesPerAuthor[i] = p.citesPerAuthor;
        citesPerYear100[i] = p.citesPerYear100;
        age[i] = p.age;
        inHCore[i] = 0;
    }
    // The h-core bit and the derived values back into paper i.
    template <class Paper>
    void store(uint32_t i, Paper& p) const noexcept {
        p.status = (p.status & ~kStatusInHCore) | (inHCore[i] ? kStatusInHCore : 0u);
        p.sc100 = sc100[i];
        p.citesPerAuthor = citesPerAuthor[i];
        p.citesPerYear100 = citesPerYear100[i];
        p.age = age[i];
    }
    // Puts the papers in the entries' order, in place, cycle by cycle; the
    // h-core bits (stored already) make room for the marks.
    template <class Paper>
    void permute(Paper* papers) noexcept {
        uint8_t* const done = inHCore;
        std::memset(done, 0, n_);
        for (uint32_t start = 0; start < n_; ++start) {
            if (done[start]) continue;
            const Paper first = papers[start];
            for (uint32_t j = start;;) {
                done[j] = 1;
                const uint32_t k = entries[j].paper;
                if (k == start) {
                    papers[j] = first;
                    break;
                }
                papers[j] = papers[k];
                j = k;
            }
        }
    }

    // Re-keys the entries, kept in their current order, from one array.
    template <class Value>
    void keyFrom(const Value* values) noexcept {
        for (uint32_t i = 0; i < n_; ++i) entries[i].key = uint32_t(values[entries[i].paper]);
    }

private:
    template <class T>
    T* take(unsigned char*& p) noexcept {
        T* t = reinterpret_cast<T*>(p);
        p += size_t(n_) * sizeof(T);
        return t;
    }
    uint32_t n_;
};

// Step 7 on the entries in citation order.
void citationMedianAndMode(const Entry* entries, uint32_t count, uint32_t n, VroMetrics& m) {
    m.citesPerPaperMode = kNoMode;
    if (n == 0) return;
    const uint32_t second = n / 2 + 1;
    const uint32_t first = (n & 1) ? second : n / 2;
    uint32_t k = 0;
    // Run lengths in order: the longest run gives the mode, a tie none.
    uint32_t runValue = 0;
    uint32_t runCount = 0;
    uint32_t best = 0;
    auto closeRun = [&]() {
        if (runCount > best) {
            best = runCount;
            m.citesPerPaperMode = runValue;
        } else if (runCount == best) {
            m.citesPerPaperMode = kNoMode;
        }
    };
    for (uint32_t i = 0; i < count; ++i) {
        if (!entries[i].used) continue;
        ++k;
        const uint32_t c = entries[i].key;
        if (k == first) m.medianCitesPerPaper10 = c * 10;
        if (k == second) m.medianCitesPerPaper10 = uint32_t((uint64_t(c * 10) + m.medianCitesPerPaper10) >> 1);
        if (runCount != 0 && runValue != c) {
            closeRun();
            runCount = 0;
        }
        runCount += 1;
        runValue = c;
    }
    if (runCount != 0) closeRun();
}

// Steps 9 to 11 on entries sorted by the value falling.
template <class Reaches>
uint32_t rankIndex(const Entry* entries, uint32_t count, Reaches reaches) {
    uint32_t index = 0;
    uint32_t k = 0;
    for (uint32_t i = 0; i < count; ++i) {
        if (!entries[i].used) continue;
        ++k;
        if (reaches(entries[i].key, k)) index = k;
    }
    return index;
}

}  // namespace

namespace {

// writeBack: the derived fields and the final order go back into the list.
void calculate(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options, int64_t now,
               bool writeBack) noexcept {
    if (metrics == nullptr) return;
    // A list of numbers only has its import ended here.
    const bool numbersOnly = list.keepsNumbersOnly();
    if (numbersOnly) list.endImport();
    VroPublicationNumbers* const numbers = numbersOnly ? list.numbers() : nullptr;
    const uint32_t count = list.count();

    VroMetrics& m = *metrics;
    resetMetrics(m);
    m.metricsVersion = kMetricsVersion;
    if (count == 0) return;
    Work work(count, list.calculationRoom());

    const uint32_t cap = (options && options->maxAuthors != 0) ? options->maxAuthors : kMaxAuthors;
    const int32_t year = referenceYearOf(now);
    list.referenceYear = year;
    m.referenceYear = year;

    // The copy, in list order; records lie in memory in the order they were
    // added, so this pass reads them front to back.
    for (uint32_t i = 0; i < count; ++i) {
        if (numbers != nullptr) {
            work.publications[i] = nullptr;
            work.load(i, numbers[i]);
        } else {
            work.publications[i] = list.at(i);
            work.load(i, *work.publications[i]);
        }
    }

    sortEntries(work.entries, count, work.scratch, CitesRisingLargerRankFirst{});

    // Main walk: most cited first; among equal counts the smaller Rank first.
    uint32_t n = 0;
    uint32_t position = 0;
    uint32_t citeTotal = 0;
    uint32_t estimatedTotal = 0;
    uint32_t authorSum = 0;
    uint32_t hCoreAuthorSum = 0;
    double inverseAuthorSum = 0.0;
    for (uint32_t idx = count; idx-- > 0;) {
        const Entry& e = work.entries[idx];
        if (!e.used) continue;
        const uint32_t id = e.paper;
        const PaperInput& in = work.input[id];
        const uint32_t c = e.key;
        ++n;
        ++position;
        m.totalPapers += 1;

        estimatedTotal += in.ecc;
        citeTotal += c;
        const uint32_t a = in.authors < cap ? in.authors : cap;
        authorSum += a;
        uint32_t& perAuthor = work.citesPerAuthor[id];
        if (a != 0) {
            inverseAuthorSum += 1.0 / double(a);
            perAuthor = mulDivRound(c, 1000, a);
            m.citesPerAuthor100 += perAuthor;
        }
        m.authorHistogram[a < kAuthorHistogramSize ? a : kAuthorHistogramSize - 1] += 1;

        if (c >= position) {
            work.inHCore[id] = 1;
            m.hIndex = position;
            m.hSetCites += c;
            hCoreAuthorSum += a;
        }
        if (citeTotal >= position * position) {
            m.gIndex = position;
            m.gSetCites += c;
        }
        if (double(c) >= inverseAuthorSum) m.hmIndex100 = roundToUnsigned(inverseAuthorSum * 100.0);

        uint32_t perYear = 0;
        int32_t age = 0;
        uint32_t score = c * 100;
        if (in.year >= kFirstCountedYear) {
            age = int32_t(uint32_t(year) - uint32_t(in.year));
            if (age < 1) age = 1;
            if (age > m.citingYears) m.citingYears = age;
            if (m.firstYear == 0 || in.year < m.firstYear) m.firstYear = in.year;
            if (in.year > m.lastYear) m.lastYear = in.year;
            score = roundToUnsigned(std::pow(double(age), -1.0) * (double(c) * 400.0));
            m.totalSc += score;
            m.awcr100 += mulDivRound(c, 10000, uint32_t(age));
            m.awcrPerAuthor100 += mulDivRound(perAuthor, 100, uint32_t(age));
            perYear = mulDivRound(c, 100, uint32_t(age));
            if (perYear >= 100) m.acc1 += 1;
            if (perYear >= 200) m.acc2 += 1;
            if (perYear >= 500) m.acc5 += 1;
            if (perYear >= 1000) m.acc10 += 1;
            if (perYear >= 2000) m.acc20 += 1;
        }
        work.citesPerYear100[id] = perYear;
        work.age[id] = age;
        work.sc100[id] = score;
        perAuthor = (perAuthor + 500) / 1000;
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

    citationMedianAndMode(work.entries, count, n, m);
    authorStatisticsFromHistogram(m);

    // Each order starts from the one before, as the sorts of the list do.
    work.keyFrom(work.sc100);
    sortEntries(work.entries, count, work.scratch, KeyFalling{});
    m.hcIndex = rankIndex(work.entries, count, [](uint32_t v, uint32_t k) { return v >= 100 * k; });
    work.keyFrom(work.citesPerAuthor);
    sortEntries(work.entries, count, work.scratch, KeyFalling{});
    m.hINormalized = rankIndex(work.entries, count, [](uint32_t v, uint32_t k) { return v >= k; });
    work.keyFrom(work.citesPerYear100);
    sortEntries(work.entries, count, work.scratch, KeyFalling{});
    m.hAIndex = rankIndex(work.entries, count, [](uint32_t v, uint32_t k) { return v >= 100 * k - 50; });

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

    if (!writeBack) return;
    for (uint32_t i = 0; i < count; ++i) work.entries[i].key = uint32_t(work.entries[i].rank);
    sortEntries(work.entries, count, work.scratch, KeyRising{});

    // Back into the records: every inHCore bit, and the derived values
    // (unchanged for unused papers, whose copies were never rewritten).
    if (numbers != nullptr) {
        for (uint32_t i = 0; i < count; ++i) work.store(i, numbers[i]);
        work.permute(numbers);
    } else {
        for (uint32_t i = 0; i < count; ++i) work.store(i, *work.publications[i]);
        for (uint32_t i = 0; i < count; ++i) work.ordered[i] = work.publications[work.entries[i].paper];
        list.setOrder(work.ordered);
    }
    list.sortKey = kSortKeyRank;
}

}  // namespace

void computeMetrics(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options,
                    int64_t now) noexcept {
    calculate(list, metrics, options, now, true);
}

void computeMetricsOnly(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options,
                        int64_t now) noexcept {
    calculate(list, metrics, options, now, false);
}
