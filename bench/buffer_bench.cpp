// CGrowableBuffer's hexadecimal text against Boost's, side by side on 1 MiB of random bytes:
//  - ToString into a CString and boost::algorithm::hex_lower into a std::string;
//  - FromString of that text and boost::algorithm::unhex into a std::string.
// Both sides write into an output that lives across iterations. Run with
// --benchmark_repetitions=N and read the "min" rows on a shared machine.

#include <platform/strings.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#if PLATFORM_BENCH_HAVE_BOOST
#include <boost/algorithm/hex.hpp>
#endif

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBytes = 1 << 20;

using bench_support::Fastest;

std::vector<unsigned char> const& Data() {
    static std::vector<unsigned char> const data = [] {
        std::mt19937 rng(1);
        std::vector<unsigned char> v(kBytes);
        for (auto& b : v)
            b = static_cast<unsigned char>(rng());
        return v;
    }();
    return data;
}

std::string const& Text() {
    static std::string const text = [] {
        zulwin::CString out;
        CGrowableBuffer(Data()).ToString(out);
        return std::string(out.GetString());
    }();
    return text;
}

void BM_GrowableBufferToString(benchmark::State& state) {
    CGrowableBuffer const buffer(Data());
    zulwin::CString out;
    for (auto _ : state) {
        buffer.ToString(out);
        benchmark::DoNotOptimize(out.GetString());
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_GrowableBufferFromString(benchmark::State& state) {
    std::string const& text = Text();
    CGrowableBuffer buffer;
    for (auto _ : state) {
        if (!buffer.FromString(text.c_str()))
            state.SkipWithError("FromString failed");
        benchmark::DoNotOptimize(buffer.GetData());
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

#if PLATFORM_BENCH_HAVE_BOOST
void BM_BoostHexLower(benchmark::State& state) {
    auto const& data = Data();
    std::string out;
    for (auto _ : state) {
        out.clear();
        boost::algorithm::hex_lower(data.begin(), data.end(), std::back_inserter(out));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_BoostUnhex(benchmark::State& state) {
    std::string const& text = Text();
    std::string out;
    for (auto _ : state) {
        out.clear();
        boost::algorithm::unhex(text.begin(), text.end(), std::back_inserter(out));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}
#endif

} // namespace

BENCHMARK(BM_GrowableBufferToString)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_GrowableBufferFromString)->ComputeStatistics("min", Fastest);
#if PLATFORM_BENCH_HAVE_BOOST
BENCHMARK(BM_BoostHexLower)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_BoostUnhex)->ComputeStatistics("min", Fastest);
#endif

int main(int argc, char** argv) {
#if !PLATFORM_BENCH_HAVE_BOOST
    std::fprintf(stderr,
                 "note: built without Boost (libboost-dev); its comparisons are left out\n");
#endif
    return bench_support::RunBenchmarks(argc, argv);
}
