// The metrics calculation over the publication records themselves, sorting
// the list for each order: the reference the calculation on its compact copy
// is compared with.
#pragma once

#include <cstdint>

#include "metrics/metrics_calc.h"

void computeMetricsOnRecords(VroPublicationList& list, VroMetrics* metrics, const MetricsCalcOptions* options,
                             int64_t now) noexcept;
