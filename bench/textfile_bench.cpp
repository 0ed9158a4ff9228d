// Line reading over a 64 MiB file of 80-byte lines, side by side:
//  - CStdioFile::ReadString into a CString;
//  - std::getline on a std::ifstream into a std::string;
//  - POSIX getline on a FILE* into a reused malloc buffer.
// The file lives in a temporary directory made by the benchmark and removed at its end; it is
// read from the page cache. Run with --benchmark_repetitions=N and read the "min" rows on a
// shared machine.

#include <platform/files.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr long kFileSize = 64L << 20;
constexpr int kLineLength = 80; // line feed included

using bench_support::Fastest;

// The text file, written on first use.
class LineFile {
public:
    static LineFile& Get() {
        static LineFile file;
        s_made = true;
        return file;
    }
    const std::string& Path() const { return m_path; }
    long Lines() const { return m_lines; }
    bool Ready() const { return m_lines != 0; }

    // Removes the file and its directory, if they were made.
    static void Cleanup() {
        if (!s_made)
            return;
        LineFile& f = Get();
        if (!f.m_path.empty())
            std::remove(f.m_path.c_str());
        if (!f.m_dir.empty())
            rmdir(f.m_dir.c_str());
        f.m_path.clear();
        f.m_dir.clear();
    }

private:
    LineFile() {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/platform-bench-XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr)
            return;
        m_dir = pattern;
        m_path = m_dir + "/lines.txt";
        FILE* out = std::fopen(m_path.c_str(), "w");
        if (out == nullptr)
            return;
        std::string line(kLineLength, ' ');
        long lines = 0;
        for (long written = 0; written + kLineLength <= kFileSize; written += kLineLength) {
            // Printable text that changes from line to line.
            for (int i = 0; i < kLineLength - 1; ++i)
                line[i] = static_cast<char>(' ' + (lines * 7 + i * 13) % 95);
            line[kLineLength - 1] = '\n';
            std::fwrite(line.data(), 1, line.size(), out);
            ++lines;
        }
        if (std::fclose(out) == 0)
            m_lines = lines;
    }

    static inline bool s_made = false;
    std::string m_dir, m_path;
    long m_lines = 0;
};

template <class ReadAll> void RunLines(benchmark::State& state, ReadAll&& readAll) {
    LineFile& file = LineFile::Get();
    if (!file.Ready()) {
        state.SkipWithError("cannot write the temporary file");
        return;
    }
    long lines = 0;
    for (auto _ : state) {
        lines = readAll(file.Path());
        benchmark::DoNotOptimize(lines);
    }
    if (lines != file.Lines())
        state.SkipWithError("wrong line count");
    state.SetBytesProcessed(state.iterations() * file.Lines() * kLineLength);
}

void BM_CStdioFileReadString(benchmark::State& state) {
    RunLines(state, [](const std::string& path) {
        zulwin::CStdioFile file(path.c_str(), zulwin::CFile::openRead);
        zulwin::CString line;
        long n = 0;
        while (file.ReadString(line))
            ++n;
        return n;
    });
}

void BM_IfstreamGetline(benchmark::State& state) {
    RunLines(state, [](const std::string& path) {
        std::ifstream in(path);
        std::string line;
        long n = 0;
        while (std::getline(in, line))
            ++n;
        return n;
    });
}

void BM_PosixGetline(benchmark::State& state) {
    RunLines(state, [](const std::string& path) {
        FILE* in = std::fopen(path.c_str(), "r");
        if (in == nullptr)
            return 0L;
        char* buffer = nullptr;
        std::size_t capacity = 0;
        long n = 0;
        while (getline(&buffer, &capacity, in) > 0)
            ++n;
        std::free(buffer);
        std::fclose(in);
        return n;
    });
}

} // namespace

BENCHMARK(BM_CStdioFileReadString)
    ->Unit(benchmark::kMillisecond)
    ->ComputeStatistics("min", Fastest);
BENCHMARK(BM_IfstreamGetline)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", Fastest);
BENCHMARK(BM_PosixGetline)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", Fastest);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    LineFile::Cleanup();
    return 0;
}
