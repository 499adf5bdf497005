// The import path from bytes to both reports: the input is a file as the
// program opens it (by name), then the explanation of an input no format
// accepts, the collation (works, and groups by author, source and year,
// with the authors' identifiers kept), the calculation and the plain and
// CSV writers into memory.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include <vector>

#include "collate/collation.h"
#include "collate/works.h"
#include "fuzz/fuzz_support.h"
#include "import/format_explanation.h"
#include "import/import_driver.h"
#include "metrics/metrics_calc.h"
#include "model/metrics_record.h"
#include "model/publication.h"
#include "report/report_writers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int input = memfd_create("fuzz_import", 0);
    static char path[32];
    if (input < 0 || ftruncate(input, 0) != 0 || pwrite(input, data, size, 0) != ssize_t(size))
        __builtin_trap();  // the input could not be staged: nothing would be tested
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", input);

    VroPublicationList publications;
    publications.retainTexts(0xFFFFFFFFu);
    XpString filter;
    uint32_t format = 0, fields = 0;
    VroImportDetails details;
    (void)importPublications(path, publications, &format, filter, &fields, &details);
    // What varoreport adds: the explanation of an input no format accepts,
    // and whether any record met a count field.
    if (details.lineUnrecognised) {
        XpString why;
        (void)explainUnrecognisedLine(details.unrecognisedLine, why);
    }
    (void)publications.countWithStatus(kStatusCountGiven);
    std::vector<const VroPublication*> pool;
    for (uint32_t i = 0; i < publications.count(); ++i)
        if (publications.at(i) != nullptr) pool.push_back(publications.at(i));
    VroWorks works;
    (void)findWorks(pool.data(), uint32_t(pool.size()), works);
    std::vector<VroGroup> groups;
    VroPublicationList copies;
    for (const VroGroupKind kind : {VroGroupKind::author, VroGroupKind::source, VroGroupKind::year}) {
        (void)groupPublications(pool.data(), uint32_t(pool.size()), kind, groups);
        VroMetrics each;
        for (size_t g = 0; g < groups.size() && g < 8; ++g) {
            std::vector<const VroPublication*> members;
            for (const uint32_t m : groups[g].members) members.push_back(pool[m]);
            (void)calculateOver(members.data(), uint32_t(members.size()), false, 1700000000, copies, each);
        }
    }
    VroMetrics metrics;
    resetMetrics(metrics);
    MetricsCalcOptions options{};
    options.maxAuthors = 50;
    computeMetrics(publications, &metrics, &options, 1700000000);

    XpHolder<vt::MemoryStream> stream;
    XpHolder<XpTextWriter> writer;
    openMemoryWriter(stream, writer);
    if (formatPlainReport(metrics, writer.get(), u"label") != 0 ||
        formatCsvReport(metrics, writer.get(), u"", true) != 0 || writer->flush() != 0)
        __builtin_trap();  // a memory stream accepts every byte
    return 0;
}
