// File search and file copy against the usual tools, side by side:
//  - a recursive CFileSearch for "*.h" under /usr/include against the same work done by hand:
//    a readdir walk that, like the search, takes the type from the directory listing and stats
//    only links and entries of unknown type (following links), matching with fnmatch. For
//    reference also an nftw walk, which stats every entry and so does more work than the
//    search, and a whole `find` run, which adds a process start;
//  - CopyFile of a 256 MiB file and `cp` of the same file on the same file system.
// Run with --benchmark_repetitions=N and read the "min" rows on a shared machine.

#include <platform/files.h>

#include "bench/bench_support.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <ftw.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

const char* const kSearchRoot = "/usr/include";
const char* const kPattern = "*.h";
constexpr long kCopySize = 256L << 20;

using bench_support::Fastest;

// ---------------------------------------------------------------------------------------------
// Recursive search

class CountingCallback : public zulplatform::CFileSearch::IFsCallback {
public:
    bool OnFile(const char*) override {
        ++files;
        return false;
    }
    long files = 0;
};

void BM_FindFile(benchmark::State& state) {
    long files = 0;
    for (auto _ : state) {
        CountingCallback callback;
        zulplatform::CFileSearch().FindFile(kSearchRoot, kPattern, &callback, true);
        files = callback.files;
        benchmark::DoNotOptimize(files);
    }
    state.counters["files"] = static_cast<double>(files);
}

long g_nftwFiles = 0;

int CountHeader(const char* path, const struct stat*, int type, struct FTW* ftw) {
    if (type == FTW_F && ::fnmatch(kPattern, path + ftw->base, 0) == 0)
        ++g_nftwFiles;
    return 0;
}

void BM_NftwWalk(benchmark::State& state) {
    for (auto _ : state) {
        g_nftwFiles = 0;
        // No FTW_PHYS: entries are stat'ed through their links, like the search; but nftw stats
        // every entry, where the search takes most types from the listing.
        ::nftw(kSearchRoot, CountHeader, 64, 0);
        benchmark::DoNotOptimize(g_nftwFiles);
    }
    state.counters["files"] = static_cast<double>(g_nftwFiles);
}

// Counts the non-directories under the open directory `dir` whose names match, descending
// into subdirectories (through links, as the search does; `depth` stops a link cycle).
long WalkListing(DIR* dir, int depth) {
    long files = 0;
    int const fd = ::dirfd(dir);
    while (const struct dirent* entry = ::readdir(dir)) {
        const char* const name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        bool isDir = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            struct stat st;
            if (::fstatat(fd, name, &st, 0) != 0)
                continue;
            isDir = S_ISDIR(st.st_mode);
        }
        if (!isDir) {
            files += ::fnmatch(kPattern, name, 0) == 0;
            continue;
        }
        if (depth == 0)
            continue;
        int const sub = ::openat(fd, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (sub < 0)
            continue;
        if (DIR* const subDir = ::fdopendir(sub)) {
            files += WalkListing(subDir, depth - 1);
            ::closedir(subDir);
        } else {
            ::close(sub);
        }
    }
    return files;
}

void BM_ReaddirWalk(benchmark::State& state) {
    long files = 0;
    for (auto _ : state) {
        DIR* const root = ::opendir(kSearchRoot);
        if (root == nullptr) {
            state.SkipWithError("cannot open the search root");
            break;
        }
        files = WalkListing(root, 64);
        ::closedir(root);
        benchmark::DoNotOptimize(files);
    }
    state.counters["files"] = static_cast<double>(files);
}

void BM_FindProcess(benchmark::State& state) {
    const std::string command =
        std::string("find ") + kSearchRoot + " -name '" + kPattern + "' -type f > /dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0)
            state.SkipWithError("find failed");
    }
}

// ---------------------------------------------------------------------------------------------
// Copy

// The source file, made once per run in a private directory that is removed at the end.
class CopyArea {
public:
    static CopyArea& Get() {
        static CopyArea area;
        s_made = true;
        return area;
    }
    // Removes the files if they were ever made.
    static void Cleanup() {
        if (s_made)
            Get().Remove();
    }
    bool Ready() const { return m_ready; }
    const std::string& Source() const { return m_source; }
    const std::string& Target() const { return m_target; }
    void RemoveTarget() const { ::unlink(m_target.c_str()); }

    void Remove() {
        // Also run by the destructor at exit, so it must be harmless twice.
        if (m_dir.empty())
            return;
        ::unlink(m_source.c_str());
        ::unlink(m_target.c_str());
        ::rmdir(m_dir.c_str());
        m_dir.clear();
    }

private:
    CopyArea() {
        char pattern[] = "/tmp/files_bench.XXXXXX";
        if (::mkdtemp(pattern) == nullptr)
            return;
        m_dir = pattern;
        m_source = m_dir + "/source.bin";
        m_target = m_dir + "/target.bin";
        m_ready = Fill();
    }
    ~CopyArea() { Remove(); }

    // Varied bytes, so that nothing along the way can shortcut runs of zeros.
    bool Fill() {
        std::FILE* out = std::fopen(m_source.c_str(), "wb");
        if (out == nullptr)
            return false;
        std::vector<unsigned char> block(1 << 20);
        unsigned int x = 12345;
        bool ok = true;
        for (long written = 0; ok && written < kCopySize; written += long(block.size())) {
            for (unsigned char& b : block) {
                x = x * 1103515245u + 12345u;
                b = static_cast<unsigned char>(x >> 24);
            }
            ok = std::fwrite(block.data(), 1, block.size(), out) == block.size();
        }
        return std::fclose(out) == 0 && ok;
    }

    static inline bool s_made = false;
    std::string m_dir;
    std::string m_source;
    std::string m_target;
    bool m_ready = false;
};

template <class Copy> void RunCopy(benchmark::State& state, Copy copy) {
    CopyArea& area = CopyArea::Get();
    if (!area.Ready()) {
        state.SkipWithError("cannot create the source file");
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        area.RemoveTarget();
        state.ResumeTiming();
        if (!copy(area)) {
            state.SkipWithError("copy failed");
            break;
        }
    }
    area.RemoveTarget();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kCopySize);
}

void BM_CopyFile(benchmark::State& state) {
    RunCopy(state, [](const CopyArea& area) {
        return zulwin::CopyFile(area.Source().c_str(), area.Target().c_str(), 0) == 1;
    });
}

void BM_CpProcess(benchmark::State& state) {
    RunCopy(state, [](const CopyArea& area) {
        const std::string command = "cp '" + area.Source() + "' '" + area.Target() + "'";
        return std::system(command.c_str()) == 0;
    });
}

} // namespace

BENCHMARK(BM_FindFile)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->ComputeStatistics("min", Fastest);
BENCHMARK(BM_ReaddirWalk)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->ComputeStatistics("min", Fastest);
BENCHMARK(BM_NftwWalk)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->ComputeStatistics("min", Fastest);
BENCHMARK(BM_FindProcess)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->ComputeStatistics("min", Fastest);

BENCHMARK(BM_CopyFile)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime()
    ->ComputeStatistics("min", Fastest);
BENCHMARK(BM_CpProcess)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3)
    ->UseRealTime()
    ->ComputeStatistics("min", Fastest);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // Remove the copy area's files now rather than rely on the order of static destruction.
    CopyArea::Cleanup();
    return 0;
}
