// The metrics calculation: one publication list in, one metrics record out.
//
// Contract: computeMetrics zeroes the record, sets metricsVersion 20210310
// and, for a non-empty list, fills every metric from the publications whose
// Use is at least 1 (the others are invisible, but their inHCore bit is still
// cleared). It rewrites each used publication's derived fields (sc100,
// citesPerAuthor, citesPerYear100, age, inHCore), stores the reference year
// (the UTC year of `now`) in the list and the record, and leaves the list
// sorted by Rank with sortKey 6. Nothing can fail and nothing is allocated:
// the list holds the calculation's room (calculationRoom()), reserved as it
// grew. A null record does nothing.
// All arithmetic is 32-bit unsigned as the record's fields are, wrapping where
// a sum overflows; fractions are rounded half up through mulDivRound
// (model/fixed_point.h).
#pragma once

#include <cstdint>

#include "model/metrics_record.h"

class VroPublicationList;

struct MetricsCalcOptions {
    uint32_t maxAuthors;  // cap on the authors counted per paper; 0 means 50
};

// A double rounded to the nearest integer, ties to even (the floating-point
// unit's default mode), negatives raised to 0; a value beyond 32 bits keeps
// the low 32 bits of its 64-bit form.
uint32_t roundToUnsigned(double value) noexcept;

// Works on a compact copy of the values it reads (a few numbers per
// publication), sorted in the same order, with the same ties and in the same
// merge order as the C library's sort, so that every result matches the
// calculation over the records; the derived fields and the final order are
// written back at the end.
void computeMetrics(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options,
                    int64_t now) noexcept;
// computeMetrics without writing the derived fields and the order back:
// the same metrics, the list's publications left as they were. For lists
// made only to be calculated over, such as the many small ones of groups.
void computeMetricsOnly(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options,
                        int64_t now) noexcept;

// Steps of the calculation that read no paper: the UTC year of now, and the
// author statistics of step 8 (papersPerAuthor100, median and mode of authors
// per paper) from the record's histogram and totalPapers.
int32_t referenceYearOf(int64_t now) noexcept;
void authorStatisticsFromHistogram(VroMetrics& m) noexcept;
