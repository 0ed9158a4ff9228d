// CString::Format against the plain C route (snprintf into a stack buffer, then into a
// std::string) for short results, the common case of log lines and keys. Each format runs
// through both routes with the same arguments; compare the pairs by name. On a busy machine run
// with --benchmark_enable_random_interleaving=true --benchmark_repetitions=15 so that load
// changes hit both sides of a pair alike.
#include <platform/strings.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace {

// Both routes reuse their destination across iterations, as a caller formatting in a loop does.
template <typename FormatCall> void RunCString(benchmark::State& state, FormatCall call) {
    zulwin::CString out;
    for (auto _ : state) {
        call(out);
        benchmark::DoNotOptimize(out.GetString());
    }
    state.SetLabel(std::to_string(out.GetLength()) + " bytes");
}

template <typename SnprintfCall> void RunSnprintf(benchmark::State& state, SnprintfCall call) {
    std::string out;
    for (auto _ : state) {
        char buffer[1025];
        const int n = call(buffer, sizeof buffer);
        out.assign(buffer, n < 0 ? 0 : static_cast<std::size_t>(n));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetLabel(std::to_string(out.size()) + " bytes");
}

void KeyValue_CString(benchmark::State& state) {
    RunCString(state, [](zulwin::CString& out) { out.Format("%s=%d", "timeout", 30); });
}
void KeyValue_snprintf(benchmark::State& state) {
    RunSnprintf(state, [](char* buf, std::size_t size) {
        return std::snprintf(buf, size, "%s=%d", "timeout", 30);
    });
}

void HexIdFloat_CString(benchmark::State& state) {
    RunCString(state,
               [](zulwin::CString& out) { out.Format("%08x-%s-%.2f", 0xbeefu, "node", 3.14159); });
}
void HexIdFloat_snprintf(benchmark::State& state) {
    RunSnprintf(state, [](char* buf, std::size_t size) {
        return std::snprintf(buf, size, "%08x-%s-%.2f", 0xbeefu, "node", 3.14159);
    });
}

void LogLine_CString(benchmark::State& state) {
    RunCString(state, [](zulwin::CString& out) {
        out.Format("%s:%u [%s] request %ld took %d ms", "server01.example.org", 8080u, "worker-7",
                   123456789L, 42);
    });
}
void LogLine_snprintf(benchmark::State& state) {
    RunSnprintf(state, [](char* buf, std::size_t size) {
        return std::snprintf(buf, size, "%s:%u [%s] request %ld took %d ms", "server01.example.org",
                             8080u, "worker-7", 123456789L, 42);
    });
}

} // namespace

BENCHMARK(KeyValue_CString);
BENCHMARK(KeyValue_snprintf);
BENCHMARK(HexIdFloat_CString);
BENCHMARK(HexIdFloat_snprintf);
BENCHMARK(LogLine_CString);
BENCHMARK(LogLine_snprintf);

BENCHMARK_MAIN();
