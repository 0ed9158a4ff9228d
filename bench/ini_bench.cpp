// INI documents against SimpleIni (CSimpleIniA, case-insensitive names) and inih, side by side
// on 1 MiB of UTF-8 text of 100 sections x 100 keys:
//  - parsing: CIniFile::FromText, CSimpleIniA::LoadData, ini_parse_string with an empty handler;
//  - a present value looked up with names in another case than stored: CIniFile::ReadValue and
//    CSimpleIniA::GetValue;
//  - writing the text: CIniFile::ToText into a CString, CSimpleIniA::Save into a std::string;
//  - GetPrivateProfileString of one key of a 100-key file (whole call: open, parse, look up).
// Run with --benchmark_repetitions=N and read the "min" rows on a shared machine.

#include <platform/config.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#if PLATFORM_BENCH_HAVE_SIMPLEINI
// Debian's SimpleIni is built on ICU (its pkg-config file requires icu-io); the reference
// converter it otherwise defaults to is not packaged.
#define SI_CONVERT_ICU
#include <SimpleIni.h>
#endif
#if PLATFORM_BENCH_HAVE_INIH
#include <ini.h>
#endif

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

using bench_support::Fastest;

std::string const& Text() {
    static std::string const text = [] {
        std::string t;
        std::string const value(90, 'x');
        for (int s = 0; s < 100; ++s) {
            t += "[Section" + std::to_string(s) + "]\n";
            for (int k = 0; k < 100; ++k)
                t += "Key" + std::to_string(k) + " = " + value + std::to_string(s * 100 + k) + "\n";
            t += "\n";
        }
        return t;
    }();
    return text;
}

// Lookups in another case than stored, spread over the document.
struct Query {
    std::string section;
    std::string key;
};
std::vector<Query> const& Queries() {
    static std::vector<Query> const queries = [] {
        std::vector<Query> q;
        for (int i = 0; i < 64; ++i)
            q.push_back({"SECTION" + std::to_string((i * 37) % 100),
                         "kEY" + std::to_string((i * 53) % 100)});
        return q;
    }();
    return queries;
}

void BM_CIniFileParse(benchmark::State& state) {
    CIniFile ini;
    for (auto _ : state) {
        if (!ini.FromText(Text().c_str()))
            state.SkipWithError("FromText failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}

void BM_CIniFileReadValue(benchmark::State& state) {
    CIniFile ini;
    ini.FromText(Text().c_str());
    zulwin::CString value;
    std::size_t i = 0;
    for (auto _ : state) {
        Query const& q = Queries()[i++ & 63];
        benchmark::DoNotOptimize(ini.ReadValue(q.section.c_str(), q.key.c_str(), value));
    }
}

void BM_CIniFileToText(benchmark::State& state) {
    CIniFile ini;
    ini.FromText(Text().c_str());
    for (auto _ : state) {
        zulwin::CString text;
        ini.ToText(text);
        benchmark::DoNotOptimize(text.GetString());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}

void BM_GetPrivateProfileString(benchmark::State& state) {
    char dir[] = "/tmp/ini-bench-XXXXXX";
    if (mkdtemp(dir) == nullptr) {
        state.SkipWithError("no temporary directory");
        return;
    }
    std::string const path = std::string(dir) + "/profile.ini";
    {
        std::ofstream out(path);
        out << "[Settings]\n";
        for (int k = 0; k < 100; ++k)
            out << "Key" << k << " = value number " << k << "\n";
    }
    char buffer[64];
    for (auto _ : state)
        benchmark::DoNotOptimize(zulwin::GetPrivateProfileString("settings", "key57", "", buffer,
                                                                 sizeof buffer, path.c_str()));
    unlink(path.c_str());
    rmdir(dir);
}

#if PLATFORM_BENCH_HAVE_SIMPLEINI
void BM_SimpleIniParse(benchmark::State& state) {
    for (auto _ : state) {
        CSimpleIniA ini;
        ini.SetUnicode(true);
        if (ini.LoadData(Text().data(), Text().size()) < 0)
            state.SkipWithError("LoadData failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}

void BM_SimpleIniGetValue(benchmark::State& state) {
    CSimpleIniA ini;
    ini.SetUnicode(true);
    ini.LoadData(Text().data(), Text().size());
    std::size_t i = 0;
    for (auto _ : state) {
        Query const& q = Queries()[i++ & 63];
        benchmark::DoNotOptimize(ini.GetValue(q.section.c_str(), q.key.c_str(), nullptr));
    }
}

void BM_SimpleIniSave(benchmark::State& state) {
    CSimpleIniA ini;
    ini.SetUnicode(true);
    ini.LoadData(Text().data(), Text().size());
    for (auto _ : state) {
        std::string text;
        ini.Save(text);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}
#endif

#if PLATFORM_BENCH_HAVE_INIH
int EmptyHandler(void*, char const*, char const*, char const*) {
    return 1;
}

void BM_InihParseString(benchmark::State& state) {
    for (auto _ : state) {
        if (ini_parse_string(Text().c_str(), EmptyHandler, nullptr) != 0)
            state.SkipWithError("ini_parse_string failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Text().size()));
}
#endif

} // namespace

BENCHMARK(BM_CIniFileParse)->ComputeStatistics("min", Fastest);
#if PLATFORM_BENCH_HAVE_SIMPLEINI
BENCHMARK(BM_SimpleIniParse)->ComputeStatistics("min", Fastest);
#endif
#if PLATFORM_BENCH_HAVE_INIH
BENCHMARK(BM_InihParseString)->ComputeStatistics("min", Fastest);
#endif
BENCHMARK(BM_CIniFileReadValue)->ComputeStatistics("min", Fastest);
#if PLATFORM_BENCH_HAVE_SIMPLEINI
BENCHMARK(BM_SimpleIniGetValue)->ComputeStatistics("min", Fastest);
#endif
BENCHMARK(BM_CIniFileToText)->ComputeStatistics("min", Fastest);
#if PLATFORM_BENCH_HAVE_SIMPLEINI
BENCHMARK(BM_SimpleIniSave)->ComputeStatistics("min", Fastest);
#endif
BENCHMARK(BM_GetPrivateProfileString)->ComputeStatistics("min", Fastest);

int main(int argc, char** argv) {
#if !PLATFORM_BENCH_HAVE_SIMPLEINI
    std::fprintf(stderr, "note: built without SimpleIni (libsimpleini-dev); its comparisons are "
                         "left out\n");
#endif
#if !PLATFORM_BENCH_HAVE_INIH
    std::fprintf(stderr, "note: built without inih (libinih-dev); its comparison is left out\n");
#endif
    return bench_support::RunBenchmarks(argc, argv);
}
