// The report writers with a fuzzed record and label: the first bytes fill the
// metrics record, the rest is the UTF-16 label; all three formats are written
// into memory and their shape checked.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/fuzz_support.h"
#include "model/metrics_record.h"
#include "report/report_writers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    VroMetrics metrics;
    std::memset(&metrics, 0, sizeof metrics);
    const size_t used = std::min(size, sizeof metrics);
    std::memcpy(&metrics, data, used);
    std::u16string label((size - used) / 2, u'\0');
    std::memcpy(label.data(), data + used, label.size() * 2);

    for (int format = 0; format < 3; ++format) {
        XpHolder<vt::MemoryStream> stream;
        XpHolder<XpTextWriter> writer;
        openMemoryWriter(stream, writer);
        const ResultCode rc = format == 0 ? formatPlainReport(metrics, writer.get(), label.c_str())
                                          : formatCsvReport(metrics, writer.get(), label.c_str(), format == 2);
        // A label with a lone surrogate (85) or one that ends in a high half
        // (537) is reported; nothing else may fail on a memory stream.
        if (rc != 0 && rc != 85 && rc != 537) __builtin_trap();
        if (writer->flush() != 0) __builtin_trap();
        const std::string out = stream->content();
        if (rc == 0 && (out.empty() || out.back() != '\n')) __builtin_trap();
    }
    return 0;
}
