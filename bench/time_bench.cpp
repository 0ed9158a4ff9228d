// Calendar conversions and time-stamp text against the C library's gmtime_r, timegm, snprintf
// and sscanf, on the same instants: 2^20 random instants over the whole range (1601 to 30827)
// and, separately, over 1970 to 2100.
#include <platform/time.h>

#include <benchmark/benchmark.h>

#include <time.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kCount = std::size_t{1} << 20;
constexpr std::uint64_t kMax = 0x7FFF35F4F06C58F0;
constexpr std::uint64_t kEpoch = 116444736000000000;
constexpr std::uint64_t k2100 = kEpoch + 4102444800ull * 10000000;

struct Inputs {
    std::vector<_FILETIME> fileTimes;
    std::vector<time_t> unixTimes;
    std::vector<_SYSTEMTIME> records;
    std::vector<tm> brokenDown;
    std::vector<zulplatform::CTimeStamp> stamps;
};

Inputs Make(std::uint64_t from, std::uint64_t to) {
    Inputs in;
    std::mt19937_64 rng(from ^ to);
    std::uniform_int_distribution<std::uint64_t> any(from, to);
    for (std::size_t i = 0; i < kCount; ++i) {
        std::uint64_t const v = any(rng);
        _FILETIME const ft{static_cast<std::uint32_t>(v), static_cast<std::uint32_t>(v >> 32)};
        in.fileTimes.push_back(ft);
        time_t const t = static_cast<time_t>(v / 10000000) - 11644473600LL;
        in.unixTimes.push_back(t);
        _SYSTEMTIME st{};
        zulwin::FileTimeToSystemTime(&ft, &st);
        in.records.push_back(st);
        tm b{};
        gmtime_r(&t, &b);
        in.brokenDown.push_back(b);
        in.stamps.emplace_back(ft);
    }
    return in;
}

const Inputs& Wide() {
    static const Inputs in = Make(0, kMax);
    return in;
}

const Inputs& Narrow() {
    static const Inputs in = Make(kEpoch, k2100);
    return in;
}

const Inputs& Pick(const benchmark::State& state) {
    return state.range(0) == 0 ? Wide() : Narrow();
}

void Label(benchmark::State& state) {
    state.SetLabel(state.range(0) == 0 ? "1601-30827" : "1970-2100");
    state.SetItemsProcessed(state.iterations());
}

void BM_FileTimeToSystemTime(benchmark::State& state) {
    const Inputs& in = Pick(state);
    std::size_t i = 0;
    for (auto _ : state) {
        _SYSTEMTIME st;
        zulwin::FileTimeToSystemTime(&in.fileTimes[i], &st);
        benchmark::DoNotOptimize(st);
        i = (i + 1) & (kCount - 1);
    }
    Label(state);
}

void BM_gmtime_r(benchmark::State& state) {
    const Inputs& in = Pick(state);
    std::size_t i = 0;
    for (auto _ : state) {
        tm b;
        gmtime_r(&in.unixTimes[i], &b);
        benchmark::DoNotOptimize(b);
        i = (i + 1) & (kCount - 1);
    }
    Label(state);
}

void BM_SystemTimeToFileTime(benchmark::State& state) {
    const Inputs& in = Pick(state);
    std::size_t i = 0;
    for (auto _ : state) {
        _FILETIME ft;
        zulwin::SystemTimeToFileTime(&in.records[i], &ft);
        benchmark::DoNotOptimize(ft);
        i = (i + 1) & (kCount - 1);
    }
    Label(state);
}

void BM_timegm(benchmark::State& state) {
    const Inputs& in = Pick(state);
    std::size_t i = 0;
    for (auto _ : state) {
        tm b = in.brokenDown[i];
        benchmark::DoNotOptimize(timegm(&b));
        i = (i + 1) & (kCount - 1);
    }
    Label(state);
}

void BM_TimeStampToString(benchmark::State& state) {
    const Inputs& in = Pick(state);
    std::size_t i = 0;
    for (auto _ : state) {
        zulwin::CString text = in.stamps[i].ToString();
        benchmark::DoNotOptimize(text);
        i = (i + 1) & (kCount - 1);
    }
    Label(state);
}

int Milliseconds(const _FILETIME& ft) {
    std::uint64_t const v = static_cast<std::uint64_t>(ft.dwHighDateTime) << 32 | ft.dwLowDateTime;
    return static_cast<int>(v % 10000000 / 10000);
}

void BM_gmtime_r_snprintf(benchmark::State& state) {
    const Inputs& in = Pick(state);
    std::size_t i = 0;
    for (auto _ : state) {
        tm b;
        gmtime_r(&in.unixTimes[i], &b);
        char buffer[64];
        int const n =
            std::snprintf(buffer, sizeof buffer, "%04u-%02d-%02dT%02d:%02d:%02d.%03d",
                          static_cast<unsigned>(b.tm_year + 1900), b.tm_mon + 1, b.tm_mday,
                          b.tm_hour, b.tm_min, b.tm_sec, Milliseconds(in.fileTimes[i]));
        std::string text(buffer, static_cast<std::size_t>(n));
        benchmark::DoNotOptimize(text);
        i = (i + 1) & (kCount - 1);
    }
    Label(state);
}

const char kText[] = "2024-05-06T07:08:09.123456789";

void BM_TimeStampParse(benchmark::State& state) {
    for (auto _ : state) {
        zulplatform::CTimeStamp const ts(static_cast<const char*>(kText));
        benchmark::DoNotOptimize(ts);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_sscanf_timegm(benchmark::State& state) {
    for (auto _ : state) {
        short y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
        long long fraction = 0;
        std::sscanf(kText, "%hd-%hd-%hdT%hd:%hd:%hd.%lld", &y, &mo, &d, &h, &mi, &s, &fraction);
        tm b{};
        b.tm_year = y - 1900;
        b.tm_mon = mo - 1;
        b.tm_mday = d;
        b.tm_hour = h;
        b.tm_min = mi;
        b.tm_sec = s;
        benchmark::DoNotOptimize(timegm(&b));
        benchmark::DoNotOptimize(fraction);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_FileTimeToSystemTime)->Arg(0)->Arg(1);
BENCHMARK(BM_gmtime_r)->Arg(0)->Arg(1);
BENCHMARK(BM_SystemTimeToFileTime)->Arg(0)->Arg(1);
BENCHMARK(BM_timegm)->Arg(0)->Arg(1);
BENCHMARK(BM_TimeStampToString)->Arg(0)->Arg(1);
BENCHMARK(BM_gmtime_r_snprintf)->Arg(0)->Arg(1);
BENCHMARK(BM_TimeStampParse);
BENCHMARK(BM_sscanf_timegm);

BENCHMARK_MAIN();
