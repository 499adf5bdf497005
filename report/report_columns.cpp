// Columns of the metrics reports: one value as the reports print it.
#include "report/report_columns.h"

#include "foundation/printf_engine.h"

const char* formatReportValue(const VroMetrics& metrics, const VroReportColumn& column,
                              char (&buffer)[24]) noexcept {
    const uint32_t value = metricsWord(metrics, column.field);
    if (column.form == VroColumnForm::kMode && value >= kNoMode) {
        (void)bufferPrintf(buffer, sizeof buffer, "%s", "multi");
    } else if (column.scale == 100) {
        (void)bufferPrintf(buffer, sizeof buffer, "%u.%02u", value / 100, value % 100);
    } else if (column.scale == 10) {
        (void)bufferPrintf(buffer, sizeof buffer, "%u.%01u", value / 10, value % 10);
    } else if (column.field < kMetricsSchemaRows && kMetricsSchema[column.field].type() == kSchemaTypeInt32) {
        (void)bufferPrintf(buffer, sizeof buffer, "%d", int32_t(value));
    } else {
        (void)bufferPrintf(buffer, sizeof buffer, "%u", value);
    }
    return buffer;
}
