// Decode throughput of the encodings the import path uses: UTF-8 and
// windows-1252 bytes into 16-bit text (what the text reader does) and into
// narrow text. The input is 1 MiB of mixed Latin text with a share of
// non-ASCII characters, decoded in 4,096-unit pieces like the reader's.
//
// With Google Benchmark the figures are its bytes_per_second counters; without
// it a plain timed loop prints MB/s per case.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "foundation/encodings.h"

#ifdef VARO_HAVE_GOOGLE_BENCHMARK
#include <benchmark/benchmark.h>
#endif

namespace {

constexpr size_t kInputBytes = 1 << 20;
constexpr uint32_t kPiece = 4096;

// Author lists and titles: mostly ASCII, roughly one character in twenty
// accented or typographic.
std::vector<uint8_t> makeInput(uint32_t codePage) {
    const char* line =
        "M\xC3\xBCller, J.; G\xC3\xB3mez, A.; Smith, B. \xE2\x80\x9C" "Citation analysis of "
        "na\xC3\xAFve r\xC3\xA9sum\xC3\xA9s\xE2\x80\x9D, Journal \xE2\x80\x93 2019, 12(3), 45\xE2\x80\x93" "67\n";
    std::string narrow;
    while (narrow.size() < kInputBytes) narrow += line;
    if (codePage == kCodePageUtf8) return std::vector<uint8_t>(narrow.begin(), narrow.end());
    charenc* enc = nullptr;
    if (getEncoding(codePage, &enc) != kResultOk) return {};
    std::vector<uint8_t> bytes(narrow.size());
    uint32_t count = uint32_t(narrow.size()), size = uint32_t(bytes.size());
    (void)enc->encodeFromUtf8(narrow.data(), &count, bytes.data(), &size);
    bytes.resize(size);
    enc->release();
    return bytes;
}

// Decodes the whole input once; returns the units produced.
template <class Text>
uint64_t decodeAll(const charenc* enc, const std::vector<uint8_t>& input, Text* out) {
    uint64_t produced = 0;
    size_t at = 0;
    while (at < input.size()) {
        uint32_t size = uint32_t(std::min<size_t>(input.size() - at, kPiece));
        uint32_t count = kPiece * 4;
        ResultCode rc;
        if constexpr (sizeof(Text) == 2)
            rc = enc->decodeToUtf16(input.data() + at, &size, out, &count);
        else
            rc = enc->decodeToUtf8(input.data() + at, &size, out, &count);
        if (size == 0 || (rc != kResultOk && rc != kErrIncompleteInput && rc != kErrIllegalSequence)) break;
        at += size;
        produced += count;
    }
    return produced;
}

struct Case {
    const char* name;
    uint32_t codePage;
    bool narrow;
};
const Case kCases[] = {
    {"utf-8 to UTF-16", kCodePageUtf8, false},
    {"windows-1252 to UTF-16", kCodePageWindows1252, false},
    {"utf-8 to UTF-8 (copy)", kCodePageUtf8, true},
    {"windows-1252 to UTF-8", kCodePageWindows1252, true},
};

uint64_t runCase(const Case& c, const charenc* enc, const std::vector<uint8_t>& input) {
    static char16_t wide[kPiece * 4];
    static char narrow[kPiece * 4];
    return c.narrow ? decodeAll(enc, input, narrow) : decodeAll(enc, input, wide);
}

}  // namespace

#ifdef VARO_HAVE_GOOGLE_BENCHMARK

static void decodeBenchmark(benchmark::State& state, Case c) {
    std::vector<uint8_t> input = makeInput(c.codePage);
    charenc* enc = nullptr;
    if (getEncoding(c.codePage, &enc) != kResultOk) {
        state.SkipWithError("no encoding");
        return;
    }
    for (auto _ : state) benchmark::DoNotOptimize(runCase(c, enc, input));
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.size()));
    enc->release();
}

int main(int argc, char** argv) {
    for (const Case& c : kCases) benchmark::RegisterBenchmark(c.name, decodeBenchmark, c);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

#else

int main() {
    for (const Case& c : kCases) {
        std::vector<uint8_t> input = makeInput(c.codePage);
        charenc* enc = nullptr;
        if (getEncoding(c.codePage, &enc) != kResultOk) return 1;
        constexpr int kRounds = 50;
        uint64_t sink = 0;
        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < kRounds; ++i) sink += runCase(c, enc, input);
        std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        double mb = double(input.size()) * kRounds / 1e6;
        std::printf("%-26s %8.1f MB/s  (%llu units)\n", c.name, mb / took.count(), (unsigned long long)sink);
        enc->release();
    }
    return 0;
}

#endif
