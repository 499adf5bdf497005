// Times computeMetrics on synthetic publication lists of 10,000, 100,000 and
// 1,000,000 papers and prints the time per publication and the peak memory.
// The calculation is five sorts and a few walks, so the time per publication
// should grow no faster than log n.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <random>

#include "metrics/metrics_calc.h"
#include "model/publication.h"

namespace {

void fill(VroPublicationList& list, uint32_t n, std::mt19937& rng) {
    std::geometric_distribution<uint32_t> cites(0.05);
    for (uint32_t i = 0; i < n; ++i) {
        VroPublication* p = list.add();
        p->Rank = int32_t(i + 1);
        p->Use = 1;
        p->Cites = p->ECC = p->CitesCount = cites(rng);
        p->Year = 1980 + int32_t(rng() % 46);
        const uint32_t authors = 1 + rng() % 8;
        for (uint32_t a = 0; a < authors; ++a) (void)p->addAuthor(u"Author", 6);
    }
}

}  // namespace

int main() {
    std::mt19937 rng(42);
    const int64_t now = 1781524800;  // mid 2026
    std::printf("%12s %10s %14s\n", "papers", "runs", "ns/paper");
    for (uint32_t n : {10000u, 100000u, 1000000u}) {
        VroPublicationList list;
        fill(list, n, rng);
        const int runs = n >= 1000000 ? 3 : 10;
        VroMetrics metrics;
        const MetricsCalcOptions options{50};
        double best = 1e300;
        for (int r = 0; r < runs; ++r) {
            // Each run starts from the rank order the previous one left.
            const auto start = std::chrono::steady_clock::now();
            computeMetrics(list, &metrics, &options, now);
            const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
            if (took.count() < best) best = took.count();
        }
        std::printf("%12u %10d %14.1f   (h=%u g=%u)\n", n, runs, best / n, metrics.hIndex, metrics.gIndex);
    }
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("peak resident memory: %.1f MiB\n", double(usage.ru_maxrss) / 1024.0);
    return 0;
}
