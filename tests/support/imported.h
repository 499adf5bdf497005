// An export imported through the driver and calculated as the program
// calculates it (authors counted up to 50), as on `now` (0: today).
#pragma once

#include <cstdint>
#include <string>

#include "foundation/strings.h"
#include "import/import_driver.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"

namespace vt {

struct Imported {
    ResultCode rc = -1;
    std::string name;  // the importer's
    VroPublicationList list;
    VroMetrics metrics{};

    explicit Imported(const std::string& path, int64_t now = 0) {
        XpString filter;
        rc = importPublications(path.c_str(), list, nullptr, filter, nullptr);
        name = filter.data();
        resetMetrics(metrics);
        const MetricsCalcOptions options{50};
        computeMetrics(list, &metrics, &options, now);
    }
    VroPublication& at(uint32_t i) { return *list.at(i); }
    uint32_t withCountField() const { return list.countWithStatus(kStatusCountGiven); }
};

}  // namespace vt
