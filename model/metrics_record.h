// The metrics record: the result of one calculation, and its schema.
//
// Contract: VroMetrics is exactly 96 consecutive 32-bit words: the 45 named
// fields below in this order, then the 51-bucket histogram of papers by
// capped author count (bucket 50 also takes every count above 50). Fractions
// are scaled integers with the factor at the end of the name (a100 is a/100).
// The four year fields are signed; all others unsigned. 0xFFFFFFFF in a mode
// field means "no unique mode". kMetricsSchema describes the named fields, one
// row per field in record order; rows 42 and 43 share identifier 36 on purpose.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t kAuthorHistogramSize = 51;
inline constexpr uint32_t kMetricsVersion = 20210310;
inline constexpr uint32_t kNoMode = 0xFFFFFFFFu;

struct VroMetrics {
    uint32_t metricsVersion;
    uint32_t totalPapers;
    uint32_t totalCites;
    uint32_t estimatedTotalCites;
    uint32_t hSetCites;
    uint32_t gSetCites;
    uint32_t meanCitesPerPaper100;
    uint32_t medianCitesPerPaper10;
    uint32_t citesPerPaperMode;
    uint32_t papersPerAuthor100;
    uint32_t citesPerAuthor100;
    uint32_t citesPerAuthorYear100;
    uint32_t citesPerYear100;
    uint32_t meanAuthorsPerPaper100;
    uint32_t medianAuthorsPerPaper10;
    uint32_t authorsPerPaperMode;
    uint32_t acc1;
    uint32_t acc2;
    uint32_t acc5;
    uint32_t acc10;
    uint32_t acc20;
    int32_t firstYear;
    int32_t lastYear;
    int32_t referenceYear;
    int32_t citingYears;
    uint32_t hIndex;
    uint32_t a100;
    uint32_t m100;
    uint32_t hCoverage1000;
    uint32_t gIndex;
    uint32_t gh100;
    uint32_t gCoverage1000;
    uint32_t hcIndex;
    uint32_t ac100;
    uint32_t totalSc;
    uint32_t hNormalized100;
    uint32_t hAIndex;
    uint32_t awcr100;
    uint32_t awcrRoot100;
    uint32_t awcrPerAuthor100;
    uint32_t hIBatista100;
    uint32_t hINormalized;
    uint32_t hIAnnual100;
    uint32_t hmIndex100;
    uint32_t eIndex100;
    uint32_t authorHistogram[kAuthorHistogramSize];
};

static_assert(sizeof(VroMetrics) == 96 * 4, "the record is 96 consecutive 32-bit words");
static_assert(offsetof(VroMetrics, authorHistogram) == 45 * 4, "45 named fields precede the histogram");

// Sets all 96 words to zero (also metricsVersion and both mode fields).
void resetMetrics(VroMetrics& metrics) noexcept;
inline void resetMetrics(VroMetrics* metrics) noexcept {
    if (metrics) resetMetrics(*metrics);
}

// Value type codes of the schema.
inline constexpr uint32_t kSchemaTypeInt32 = 2;
inline constexpr uint32_t kSchemaTypeUInt32 = 11;

struct VroMetricsSchemaRow {
    const char* name;       // camelCase, the record's field name
    const char* snakeName;  // snake_case
    uint32_t code;          // identifier * 16 + type
    uint32_t position;      // index of the 32-bit field in the record
    uint32_t minimum;
    uint32_t maximum;

    constexpr uint32_t identifier() const { return code >> 4; }
    constexpr uint32_t type() const { return code & 15; }
};

inline constexpr uint32_t kMetricsSchemaRows = 45;
extern const VroMetricsSchemaRow kMetricsSchema[kMetricsSchemaRows];

// The value of a named field by its position, read as the unsigned word.
uint32_t metricsWord(const VroMetrics& metrics, uint32_t position) noexcept;
