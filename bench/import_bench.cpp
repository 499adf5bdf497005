// Import throughput: generates a large export per layout in a temporary
// file, imports it once through the import driver and prints MB/s and the
// peak resident memory. Each layout runs in a child process of its own, so
// each peak belongs to one import.
//
// Usage: import_bench [megabytes]   (default 64 per layout)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/strings.h"
#include "import/import_driver.h"
#include "model/publication.h"

namespace {

// One record of each layout; %d is the record number, used to vary the values.
struct Layout {
    const char* name;
    const char* header;
    const char* record;
};

const Layout kLayouts[] = {
    {"ris", "",
     "TY  - JOUR\nAU  - Varga, Ilona\nAU  - Moreau, Paul\nAU  - Osei, Kwame\n"
     "TI  - On the measurement of things number %d in a field of study\n"
     "JO  - Journal of Imaginary Metrics\nPY  - %d\nVL  - 12\nIS  - 3\nSP  - 201\nEP  - 219\n"
     "DO  - 10.1000/example.%d\nN1  - Export Date: 1 May 2020; Cited By: %d\n"
     "AB  - An abstract long enough to look like one, written for record %d of the benchmark.\nER  - \n\n"},
    {"wos-tagged", "FN Example Export Service\nVR 1.0\n",
     "PT J\nAU Varga, I\n   Moreau, P\n   Osei, K\nTI On the measurement of things number %d\n"
     "   in a field of study\nSO JOURNAL OF IMAGINARY METRICS\nPY %d\nVL 12\nIS 3\nBP 201\nEP 219\n"
     "DI 10.1000/example.%d\nTC %d\nAB An abstract long enough to look like one, written for record %d.\nER\n\n"},
    {"scopus-csv",
     "Authors,Title,Year,Source title,Volume,Issue,Art. No.,Page start,Page end,Page count,Cited by,DOI,Link,"
     "Document Type,Source,EID\n",
     "\"Varga I., Moreau P., Osei K.\",On the measurement of things number %d,%d,Journal of Imaginary Metrics,"
     "12,3,,201,219,19,%d,10.1000/example.%d,https://example.org/record?id=%d,Article,Scopus,2-s2.0-1\n"},
    {"endnote-tagged", "",
     "%%0 Journal Article\n%%A Varga, Ilona\n%%A Moreau, Paul\n%%A Osei, Kwame\n"
     "%%T On the measurement of things number %d\n%%J Journal of Imaginary Metrics\n%%D %d\n"
     "%%R 10.1000/example.%d\n%%1 %d cites: https://example.org/cites?id=%d\n\n"},
};

// Streams the export into file record by record, so that generating it
// leaves no trace in the peak memory; returns the bytes written or 0.
size_t generate(const Layout& layout, size_t bytes, FILE* file) {
    size_t written = std::fputs(layout.header, file) < 0 ? 0 : std::char_traits<char>::length(layout.header);
    for (int i = 0; written < bytes; ++i) {
        const int n = std::fprintf(file, layout.record, i, 1990 + i % 35, i, i % 500, i);
        if (n <= 0) return 0;
        written += size_t(n);
    }
    return written;
}

// Runs in the child: writes the export, imports it, prints one line.
int benchOne(const Layout& layout, size_t bytes) {
    char path[] = "/tmp/vro_import_bench_XXXXXX";
    const int fd = mkstemp(path);
    if (fd < 0) return 1;
    FILE* file = fdopen(fd, "wb");
    const size_t size = file != nullptr ? generate(layout, bytes, file) : 0;
    if (file == nullptr || std::fclose(file) != 0 || size == 0) {
        unlink(path);
        return 1;
    }

    struct rusage before {};
    getrusage(RUSAGE_SELF, &before);
    VroPublicationList list;
    XpString filter;
    uint32_t code = 0, mask = 0;
    const auto start = std::chrono::steady_clock::now();
    const ResultCode rc = importPublications(path, list, &code, filter, &mask);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    struct rusage after {};
    getrusage(RUSAGE_SELF, &after);
    unlink(path);

    const double megabytes = double(size) / (1024.0 * 1024.0);
    std::printf("%-15s %-26s rc %4d  %8u records  %7.1f MB  %7.3f s  %7.1f MB/s  peak %7.1f MB (%.1f before)\n",
                layout.name, filter.data(), rc, unsigned(list.count()), megabytes, seconds, megabytes / seconds,
                double(after.ru_maxrss) / 1024.0, double(before.ru_maxrss) / 1024.0);
    return rc == kResultOk ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    const long megabytes = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 64;
    if (megabytes <= 0) {
        std::fprintf(stderr, "usage: %s [megabytes]\n", argv[0]);
        return 2;
    }
    int failures = 0;
    for (const Layout& layout : kLayouts) {
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            // _exit skips the stdio flush, so the child's figures go out first.
            const int status = benchOne(layout, size_t(megabytes) << 20);
            std::fflush(stdout);
            _exit(status);
        }
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            ++failures;
    }
    return failures == 0 ? 0 : 1;
}
