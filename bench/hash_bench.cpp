// HashCString against the standard hashes of std::string and std::string_view on the same
// bytes, side by side. The string_view hash reads the bytes where they are, without the string
// object around them, as HashCString does.

#include <platform/strings.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Printable ASCII, so the CString holds exactly the same bytes as the std::string.
std::string SampleText(std::size_t length) {
    std::mt19937 rng(static_cast<unsigned>(length));
    std::uniform_int_distribution<int> printable(0x21, 0x7E);
    std::string s(length, ' ');
    for (char& c : s)
        c = static_cast<char>(printable(rng));
    return s;
}

void BM_HashCString(benchmark::State& state) {
    zulwin::CString const text(SampleText(static_cast<std::size_t>(state.range(0))).c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(&text);
        benchmark::DoNotOptimize(zulplatform::HashCString(text));
    }
}

void BM_StdHashString(benchmark::State& state) {
    std::string const text = SampleText(static_cast<std::size_t>(state.range(0)));
    std::hash<std::string> const hasher;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&text);
        benchmark::DoNotOptimize(hasher(text));
    }
}

void BM_StdHashStringView(benchmark::State& state) {
    std::string const text = SampleText(static_cast<std::size_t>(state.range(0)));
    std::string_view const view(text);
    std::hash<std::string_view> const hasher;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&view);
        benchmark::DoNotOptimize(hasher(view));
    }
}

// The fastest repetition is the steadiest figure on a shared machine; run with
// --benchmark_repetitions=N to get it.
using bench_support::Fastest;

} // namespace

// Registered pairwise so each size reads as one comparison.
BENCHMARK(BM_HashCString)->Arg(16)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StdHashString)->Arg(16)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StdHashStringView)->Arg(16)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_HashCString)->Arg(256)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StdHashString)->Arg(256)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_StdHashStringView)->Arg(256)->ComputeStatistics("min", Fastest);

BENCHMARK_MAIN();
