#include "app/common/export_metrics.h"

#include "foundation/strings.h"
#include "import/import_driver.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"

ResultCode importAndCalculate(const char* inputPath, VroPublicationList& list, XpString& filterName,
                              VroMetrics& metrics, int64_t now, VroImportDetails* details) noexcept {
    const ResultCode rc = importPublications(inputPath, list, nullptr, filterName, nullptr, details);
    list.endImport();
    if (rc != kResultOk) return rc;
    MetricsCalcOptions calculation{};
    calculation.maxAuthors = kMaxAuthors;
    computeMetrics(list, &metrics, &calculation, now);
    return kResultOk;
}
