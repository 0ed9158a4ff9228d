// What every benchmark program shares: the "min" statistic, which a shared machine needs (the
// fastest repetition is the one least disturbed), and the standard run of the registered
// benchmarks.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

namespace bench_support {

inline double Fastest(std::vector<double> const& v) {
    return *std::min_element(v.begin(), v.end());
}

// Initialises the library with the command line, runs what it selects and shuts it down.
inline int RunBenchmarks(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace bench_support
