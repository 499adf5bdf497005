#include "model/metrics_record.h"

#include <cstring>

void resetMetrics(VroMetrics& metrics) noexcept { std::memset(&metrics, 0, sizeof metrics); }

uint32_t metricsWord(const VroMetrics& metrics, uint32_t position) noexcept {
    uint32_t word = 0;
    if (position < sizeof(VroMetrics) / 4)
        std::memcpy(&word, reinterpret_cast<const unsigned char*>(&metrics) + position * 4, 4);
    return word;
}

namespace {

constexpr uint32_t kU = kSchemaTypeUInt32;
constexpr uint32_t kI = kSchemaTypeInt32;
constexpr uint32_t kMaxU = 4294967295u;
constexpr uint32_t kMaxI = 2147483647u;

constexpr VroMetricsSchemaRow row(const char* name, const char* snake, uint32_t id, uint32_t type, uint32_t position) {
    return {name, snake, id * 16 + type, position, 0, type == kI ? kMaxI : kMaxU};
}

}  // namespace

// Row 43 repeats identifier 36 of row 42: the published schema has it so, and
// readers of stored records depend on the codes as they are.
const VroMetricsSchemaRow kMetricsSchema[kMetricsSchemaRows] = {
    row("metricsVersion", "metrics_version", 40, kU, 0),
    row("totalPapers", "papers_total", 42, kU, 1),
    row("totalCites", "cites_total", 22, kU, 2),
    row("estimatedTotalCites", "est_cites_total", 23, kU, 3),
    row("hSetCites", "cites_h", 15, kU, 4),
    row("gSetCites", "cites_g", 14, kU, 5),
    row("meanCitesPerPaper100", "cites_per_paper_mean_100", 18, kU, 6),
    row("medianCitesPerPaper10", "cites_per_paper_median_10", 19, kU, 7),
    row("citesPerPaperMode", "cites_per_paper_mode", 20, kU, 8),
    row("papersPerAuthor100", "papers_per_author_100", 41, kU, 9),
    row("citesPerAuthor100", "cites_per_author_100", 16, kU, 10),
    row("citesPerAuthorYear100", "cites_author_year_100", 17, kU, 11),
    row("citesPerYear100", "cites_per_year_100", 21, kU, 12),
    row("meanAuthorsPerPaper100", "authors_per_paper_mean_100", 8, kU, 13),
    row("medianAuthorsPerPaper10", "authors_per_paper_median_10", 9, kU, 14),
    row("authorsPerPaperMode", "authors_per_paper_mode", 10, kU, 15),
    row("acc1", "acc1", 3, kU, 16),
    row("acc2", "acc2", 4, kU, 17),
    row("acc5", "acc5", 5, kU, 18),
    row("acc10", "acc10", 6, kU, 19),
    row("acc20", "acc20", 7, kU, 20),
    row("firstYear", "year_first", 45, kI, 21),
    row("lastYear", "year_last", 46, kI, 22),
    row("referenceYear", "year_ref", 47, kI, 23),
    row("citingYears", "years", 48, kI, 24),
    row("hIndex", "h", 29, kU, 25),
    row("a100", "a_100", 1, kU, 26),
    row("m100", "m_100", 39, kU, 27),
    row("hCoverage1000", "h_coverage_1000", 31, kU, 28),
    row("gIndex", "g", 25, kU, 29),
    row("gh100", "g_h_100", 28, kU, 30),
    row("gCoverage1000", "g_coverage_1000", 27, kU, 31),
    row("hcIndex", "hc", 34, kU, 32),
    row("ac100", "ac_100", 2, kU, 33),
    row("totalSc", "Sc_total", 43, kU, 34),
    row("hNormalized100", "h_norm_100", 32, kU, 35),
    row("hAIndex", "hA", 33, kU, 36),
    row("awcr100", "AWCR_100", 11, kU, 37),
    row("awcrRoot100", "AWCR_sqrt_100", 12, kU, 38),
    row("awcrPerAuthor100", "AWCRPA_100", 13, kU, 39),
    row("hIBatista100", "hI_100", 35, kU, 40),
    row("hINormalized", "hI_norm", 36, kU, 41),
    row("hIAnnual100", "hI_annual_100", 36, kU, 42),
    row("hmIndex100", "hm_100", 38, kU, 43),
    row("eIndex100", "e_100", 24, kU, 44),
};
