// CString::Format against the plain C route (snprintf into a stack buffer, then into a
// std::string) for short results, the common case of log lines and keys; and the editing
// operations against the same edits on std::string, over texts of growing size. Each format runs
// through both routes with the same arguments; compare the pairs by name. On a busy machine run
// with --benchmark_enable_random_interleaving=true --benchmark_repetitions=15 so that load
// changes hit both sides of a pair alike.
#include <platform/strings.h>

#include <benchmark/benchmark.h>

#include <algorithm>
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

// Editing. Every round copies the text and edits the copy, on both sides. The text is mostly
// ASCII with some two- and three-byte characters, so the CString loops keep their code-point
// bound up to date (std::string has no such bound: the last few hits, beyond the code-point
// count, are edited there and not in the CString; the labels give both counts). Sizes from 16 KiB
// to 1 MiB: linear work shows as time growing with the size, four times per step.
std::string EditText(std::size_t size) {
    static const char* const words[] = {
        "the", "server",       "caf\xC3\xA9", "log", "entry", "price",  "\xE2\x82\xAC",
        "42",  "na\xC3\xAFve", "the",         "key", "value", "request"};
    std::string text;
    std::size_t i = 0;
    while (text.size() < size) {
        text += words[(i * 7 + i / 13) % std::size(words)];
        text += ++i % 11 == 0 ? ",\n" : " ";
    }
    return text;
}

template <typename Edit> void RunEditCString(benchmark::State& state, Edit edit) {
    const zulwin::CString text(EditText(static_cast<std::size_t>(state.range(0))).c_str());
    long result = 0;
    for (auto _ : state) {
        zulwin::CString s(text);
        result = edit(s);
        benchmark::DoNotOptimize(s.GetString());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetLabel(std::to_string(result));
}

template <typename Edit> void RunEditStdString(benchmark::State& state, Edit edit) {
    const std::string text = EditText(static_cast<std::size_t>(state.range(0)));
    long result = 0;
    for (auto _ : state) {
        std::string s(text);
        result = edit(s);
        benchmark::DoNotOptimize(s.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetLabel(std::to_string(result));
}

void ReplaceText_CString(benchmark::State& state) {
    RunEditCString(state, [](zulwin::CString& s) { return s.Replace("the", "THE!"); });
}
// The linear way to do it on std::string: one pass into a new string.
void ReplaceText_stdstring(benchmark::State& state) {
    RunEditStdString(state, [](std::string& s) {
        std::string out;
        out.reserve(s.size() + s.size() / 8);
        long count = 0;
        std::size_t from = 0;
        for (std::size_t at; (at = s.find("the", from)) != std::string::npos; from = at + 3) {
            out.append(s, from, at - from);
            out += "THE!";
            ++count;
        }
        out.append(s, from, std::string::npos);
        s.swap(out);
        return count;
    });
}

void ReplaceChar_CString(benchmark::State& state) {
    RunEditCString(state, [](zulwin::CString& s) { return s.Replace('e', 'E'); });
}
void ReplaceChar_stdstring(benchmark::State& state) {
    RunEditStdString(state, [](std::string& s) {
        long const count = std::count(s.begin(), s.end(), 'e');
        std::replace(s.begin(), s.end(), 'e', 'E');
        return count;
    });
}

void Remove_CString(benchmark::State& state) {
    RunEditCString(state, [](zulwin::CString& s) { return s.Remove(' '); });
}
void Remove_stdstring(benchmark::State& state) {
    RunEditStdString(state, [](std::string& s) {
        auto const end = std::remove(s.begin(), s.end(), ' ');
        long const count = s.end() - end;
        s.erase(end, s.end());
        return count;
    });
}

// Ten edits in the middle of the text per round.
void InsertDelete_CString(benchmark::State& state) {
    RunEditCString(state, [](zulwin::CString& s) {
        int const middle = static_cast<int>(s.GetLength() / 2);
        for (int i = 0; i < 5; ++i) {
            s.Insert(middle + i, "inserted text");
            s.Delete(middle - i, 7);
        }
        return static_cast<long>(s.GetLength());
    });
}
void InsertDelete_stdstring(benchmark::State& state) {
    RunEditStdString(state, [](std::string& s) {
        std::size_t const middle = s.size() / 2;
        for (std::size_t i = 0; i < 5; ++i) {
            s.insert(middle + i, "inserted text");
            s.erase(middle - i, 7);
        }
        return static_cast<long>(s.size());
    });
}

// Every token, each as a string of its own.
void Tokenize_CString(benchmark::State& state) {
    RunEditCString(state, [](zulwin::CString& s) {
        long count = 0;
        int pos = 0;
        for (zulwin::CString token = s.Tokenize(" ,\n", pos); pos >= 0;
             token = s.Tokenize(" ,\n", pos)) {
            benchmark::DoNotOptimize(token.GetString());
            ++count;
        }
        return count;
    });
}
void Tokenize_stdstring(benchmark::State& state) {
    RunEditStdString(state, [](std::string& s) {
        long count = 0;
        for (std::size_t start = s.find_first_not_of(" ,\n"); start != std::string::npos;) {
            std::size_t const end = s.find_first_of(" ,\n", start);
            std::string const token = s.substr(start, end - start);
            benchmark::DoNotOptimize(token.data());
            ++count;
            start = end == std::string::npos ? end : s.find_first_not_of(" ,\n", end);
        }
        return count;
    });
}

// Every hit, each search starting after the previous hit. Find may not search from a start at
// or beyond the code-point count, and a CString keeps no count: each call walks the text up to
// its start to learn that the start is below the count. So this row grows with the square of the
// size, while the std::string one grows linearly.
void FindFromStart_CString(benchmark::State& state) {
    RunEditCString(state, [](zulwin::CString& s) {
        long count = 0;
        for (int at = s.Find("request"); at >= 0; at = s.Find("request", at + 1))
            ++count;
        return count;
    });
}
void FindFromStart_stdstring(benchmark::State& state) {
    RunEditStdString(state, [](std::string& s) {
        long count = 0;
        for (std::size_t at = s.find("request"); at != std::string::npos;
             at = s.find("request", at + 1))
            ++count;
        return count;
    });
}

void EditSizes(benchmark::internal::Benchmark* b) {
    b->RangeMultiplier(4)->Range(16 << 10, 1 << 20)->Unit(benchmark::kMicrosecond);
}
} // namespace

BENCHMARK(KeyValue_CString);
BENCHMARK(KeyValue_snprintf);
BENCHMARK(HexIdFloat_CString);
BENCHMARK(HexIdFloat_snprintf);
BENCHMARK(LogLine_CString);
BENCHMARK(LogLine_snprintf);

BENCHMARK(ReplaceText_CString)->Apply(EditSizes);
BENCHMARK(ReplaceText_stdstring)->Apply(EditSizes);
BENCHMARK(ReplaceChar_CString)->Apply(EditSizes);
BENCHMARK(ReplaceChar_stdstring)->Apply(EditSizes);
BENCHMARK(Remove_CString)->Apply(EditSizes);
BENCHMARK(Remove_stdstring)->Apply(EditSizes);
BENCHMARK(InsertDelete_CString)->Apply(EditSizes);
BENCHMARK(InsertDelete_stdstring)->Apply(EditSizes);
BENCHMARK(Tokenize_CString)->Apply(EditSizes);
BENCHMARK(Tokenize_stdstring)->Apply(EditSizes);
BENCHMARK(FindFromStart_CString)->Apply(EditSizes);
BENCHMARK(FindFromStart_stdstring)->Apply(EditSizes);

BENCHMARK_MAIN();
