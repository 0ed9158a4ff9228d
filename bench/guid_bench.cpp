// GUIDs against libuuid, side by side:
//  - parsing the 36-character text: GuidFromString and uuid_parse;
//  - formatting it: guid_t::ToString into a new CString (which allocates) and into a caller's
//    CString, and uuid_unparse_lower into a caller's buffer;
//  - making a random one: CreateGuid (the kernel's /proc file, the only source) and
//    uuid_generate_random (getrandom), reported side by side.
// Run with --benchmark_repetitions=N and read the "min" rows on a shared machine.

#include <platform/system.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#if PLATFORM_BENCH_HAVE_UUID
#include <uuid/uuid.h>
#endif

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kCount = 1024; // distinct values per pass, so no branch predictor learns one

using bench_support::Fastest;

std::vector<zulplatform::guid_t> const& Guids() {
    static std::vector<zulplatform::guid_t> const guids = [] {
        std::mt19937 rng(42);
        std::vector<zulplatform::guid_t> v;
        for (int i = 0; i < kCount; ++i) {
            _GUID g;
            g.Data1 = static_cast<unsigned int>(rng());
            g.Data2 = static_cast<unsigned short>(rng());
            g.Data3 = static_cast<unsigned short>(rng());
            for (unsigned char& b : g.Data4)
                b = static_cast<unsigned char>(rng());
            v.emplace_back(g);
        }
        return v;
    }();
    return guids;
}

// The texts of Guids(), half of them in upper case.
std::vector<std::string> const& Texts() {
    static std::vector<std::string> const texts = [] {
        std::vector<std::string> v;
        for (const auto& g : Guids()) {
            std::string t = g.ToString().GetString();
            if (v.size() % 2)
                for (char& c : t)
                    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            v.push_back(t);
        }
        return v;
    }();
    return texts;
}

void BM_GuidFromString(benchmark::State& state) {
    auto const& texts = Texts();
    _GUID g;
    for (auto _ : state) {
        for (const std::string& t : texts) {
            benchmark::DoNotOptimize(zulplatform::GuidFromString(t, g));
            benchmark::DoNotOptimize(g);
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_GuidToString(benchmark::State& state) {
    auto const& guids = Guids();
    for (auto _ : state) {
        for (const auto& g : guids) {
            zulwin::CString text = g.ToString();
            benchmark::DoNotOptimize(text.GetString());
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_GuidToStringInto(benchmark::State& state) {
    auto const& guids = Guids();
    zulwin::CString text;
    for (auto _ : state) {
        for (const auto& g : guids) {
            g.ToString(text);
            benchmark::DoNotOptimize(text.GetString());
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_CreateGuid(benchmark::State& state) {
    _GUID g;
    for (auto _ : state) {
        if (!zulplatform::CreateGuid(g))
            state.SkipWithError("CreateGuid failed");
        benchmark::DoNotOptimize(g);
    }
    state.SetItemsProcessed(state.iterations());
}

#if PLATFORM_BENCH_HAVE_UUID
void BM_LibuuidParse(benchmark::State& state) {
    auto const& texts = Texts();
    uuid_t u;
    for (auto _ : state) {
        for (const std::string& t : texts) {
            benchmark::DoNotOptimize(uuid_parse(t.c_str(), u));
            benchmark::DoNotOptimize(u);
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_LibuuidUnparseLower(benchmark::State& state) {
    // The same 16 bytes per value, in libuuid's big-endian field order.
    std::vector<std::array<unsigned char, 16>> raw;
    for (const std::string& t : Texts()) {
        uuid_t u;
        uuid_parse(t.c_str(), u);
        std::array<unsigned char, 16> a;
        std::copy(u, u + 16, a.begin());
        raw.push_back(a);
    }
    char text[37];
    for (auto _ : state) {
        for (const auto& u : raw) {
            uuid_unparse_lower(u.data(), text);
            benchmark::DoNotOptimize(text);
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_LibuuidGenerateRandom(benchmark::State& state) {
    uuid_t u;
    for (auto _ : state) {
        uuid_generate_random(u);
        benchmark::DoNotOptimize(u);
    }
    state.SetItemsProcessed(state.iterations());
}
#endif

} // namespace

BENCHMARK(BM_GuidFromString)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_GuidToString)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_GuidToStringInto)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_CreateGuid)->ComputeStatistics("min", Fastest);
#if PLATFORM_BENCH_HAVE_UUID
BENCHMARK(BM_LibuuidParse)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_LibuuidUnparseLower)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_LibuuidGenerateRandom)->ComputeStatistics("min", Fastest);
#endif

int main(int argc, char** argv) {
#if !PLATFORM_BENCH_HAVE_UUID
    std::fprintf(stderr, "note: built without libuuid (uuid-dev); its comparisons are left out\n");
#endif
    return bench_support::RunBenchmarks(argc, argv);
}
