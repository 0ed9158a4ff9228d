// Zone conversions against CCTZ and the C library, side by side on the same instants:
//  - UTC to local: CTimeZone::UtcToLocal(CTimeStamp), cctz::convert to a civil time, and
//    localtime_r with TZ already set;
//  - local to UTC: CTimeZone::LocalToUtc(CTimeStamp) and cctz::convert of a civil time;
//  - loading a zone that is already loaded.
// Instants are random over 1970 to 2100, in "America/New_York" (argument 0) and
// "Europe/Berlin" (1). Run with --benchmark_repetitions=N and read the "min" rows.

#include <platform/time_zone.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#if PLATFORM_BENCH_HAVE_CCTZ
#include <cctz/civil_time.h>
#include <cctz/time_zone.h>
#endif

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

namespace {

constexpr int kCount = 1024; // distinct instants per pass
constexpr std::int64_t kEpochTicks = 116444736000000000;
constexpr std::int64_t kTicksPerSecond = 10000000;
const char* const kZones[] = {"America/New_York", "Europe/Berlin"};

using bench_support::Fastest;

// Unix seconds of 1970 to 2100.
std::vector<std::int64_t> const& Instants() {
    static std::vector<std::int64_t> const instants = [] {
        std::mt19937_64 rng(42);
        std::uniform_int_distribution<std::int64_t> dist(0, 4102444800);
        std::vector<std::int64_t> v(kCount);
        for (std::int64_t& t : v)
            t = dist(rng);
        return v;
    }();
    return instants;
}

std::vector<zulplatform::CTimeStamp> Stamps() {
    std::vector<zulplatform::CTimeStamp> v;
    for (std::int64_t t : Instants()) {
        std::uint64_t const ticks = static_cast<std::uint64_t>(t * kTicksPerSecond + kEpochTicks);
        _FILETIME ft{static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
        v.emplace_back(ft);
    }
    return v;
}

CTimeZone Zone(benchmark::State& state) {
    CTimeZone zone;
    if (!zone.Load(kZones[state.range(0)]))
        state.SkipWithError("zone not found");
    state.SetLabel(kZones[state.range(0)]);
    return zone;
}

void BM_UtcToLocal(benchmark::State& state) {
    CTimeZone const zone = Zone(state);
    std::vector<zulplatform::CTimeStamp> const stamps = Stamps();
    for (auto _ : state) {
        for (const zulplatform::CTimeStamp& s : stamps)
            benchmark::DoNotOptimize(zone.UtcToLocal(s));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

// The same instants as local wall times.
void BM_LocalToUtc(benchmark::State& state) {
    CTimeZone const zone = Zone(state);
    std::vector<zulplatform::CTimeStamp> const stamps = Stamps();
    for (auto _ : state) {
        for (const zulplatform::CTimeStamp& s : stamps)
            benchmark::DoNotOptimize(zone.LocalToUtc(s));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_LocaltimeR(benchmark::State& state) {
    setenv("TZ", kZones[state.range(0)], 1);
    tzset();
    state.SetLabel(kZones[state.range(0)]);
    for (auto _ : state) {
        for (std::int64_t t : Instants()) {
            time_t const tt = static_cast<time_t>(t);
            struct tm tm;
            benchmark::DoNotOptimize(localtime_r(&tt, &tm));
        }
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_LoadAgain(benchmark::State& state) {
    CTimeZone zone = Zone(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(zone.Load(kZones[state.range(0)]));
    state.SetItemsProcessed(state.iterations());
}

#if PLATFORM_BENCH_HAVE_CCTZ
cctz::time_zone CctzZone(benchmark::State& state) {
    cctz::time_zone tz;
    if (!cctz::load_time_zone(kZones[state.range(0)], &tz))
        state.SkipWithError("zone not found");
    state.SetLabel(kZones[state.range(0)]);
    return tz;
}

using Seconds = std::chrono::time_point<std::chrono::system_clock, std::chrono::seconds>;

void BM_CctzToCivil(benchmark::State& state) {
    cctz::time_zone const tz = CctzZone(state);
    std::vector<Seconds> points;
    for (std::int64_t t : Instants())
        points.emplace_back(std::chrono::seconds(t));
    for (auto _ : state) {
        for (const Seconds& p : points)
            benchmark::DoNotOptimize(cctz::convert(p, tz));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}

void BM_CctzFromCivil(benchmark::State& state) {
    cctz::time_zone const tz = CctzZone(state);
    std::vector<cctz::civil_second> civil;
    for (std::int64_t t : Instants())
        civil.push_back(cctz::convert(Seconds(std::chrono::seconds(t)), cctz::utc_time_zone()));
    for (auto _ : state) {
        for (const cctz::civil_second& c : civil)
            benchmark::DoNotOptimize(cctz::convert(c, tz));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
#endif

} // namespace

BENCHMARK(BM_UtcToLocal)->Arg(0)->Arg(1)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_LocaltimeR)->Arg(0)->Arg(1)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_LocalToUtc)->Arg(0)->Arg(1)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_LoadAgain)->Arg(0)->Arg(1)->ComputeStatistics("min", Fastest);
#if PLATFORM_BENCH_HAVE_CCTZ
BENCHMARK(BM_CctzToCivil)->Arg(0)->Arg(1)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_CctzFromCivil)->Arg(0)->Arg(1)->ComputeStatistics("min", Fastest);
#endif

int main(int argc, char** argv) {
#if !PLATFORM_BENCH_HAVE_CCTZ
    std::fprintf(stderr, "note: built without CCTZ (libcctz-dev); its comparisons are left out\n");
#endif
    return bench_support::RunBenchmarks(argc, argv);
}
