// The text layer's hot paths beside the routines a user would otherwise reach for, on the same
// inputs: 64 KiB each of ASCII, mixed text (Latin-1 accents, Greek, Cyrillic, CJK, emoji, one
// phrase of each in turn) and interleaved text (the same scripts switching every one to three
// words, spaces between them). Pairs to read side by side:
//   Validate/*           vs  StrlenBound/*                (same buffer; strlen only finds the
//                                                           end, so it is a lower bound for any
//                                                           pass over the text, not a peer)
//   MakeLowerReused/*    vs  IcuToLower/*   (and Upper)   (ICU's ucasemap, when available: both
//                                                           write into a buffer kept across
//                                                           rounds, without allocating)
//   CompareNoCase/N/K    vs  Strcasecmp/N/K               (two equal N-byte ASCII strings, the
//                                                           argument K bytes into a longer
//                                                           text; strcasecmp folds ASCII only)
//   ToWide/*             vs  IcuFromUtf8/*                (ICU's u_strFromUTF8, when available)
// MakeLowerFreshCopy/* also pays for a new string each round, as a caller lowering a string it
// received does; MakeLowerInPlace/* maps one string over and over, the mapping alone.
#include <platform/unicode.h>

#include <benchmark/benchmark.h>

#include <cctype>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <strings.h>
#include <vector>

#if PLATFORM_BENCH_HAVE_ICU
#include <unicode/ucasemap.h>
#include <unicode/ustring.h>
#endif

namespace {

constexpr std::size_t kInputSize = 64 * 1024;

std::string Fill(const std::string& unit) {
    std::string s;
    while (s.size() + unit.size() <= kInputSize)
        s += unit;
    return s;
}

const std::string& AsciiText() {
    static const std::string s =
        Fill("The quick brown fox jumps over the lazy dog; Pack my box with five dozen liquor "
             "jugs. 0123456789 [Section] Key=Value\n");
    return s;
}

const std::string& MixedText() {
    static const std::string s = Fill(
        "Fa\xC3\xA7"
        "ade \xC3\x9C"
        "ber Cr\xC3\xA8me Br\xC3\xBBl\xC3\xA9"
        "e, " // Latin-1
        "\xCE\x95\xCE\xBB\xCE\xBB\xCE\xB7\xCE\xBD\xCE\xB9\xCE\xBA\xCE\xAC \xCE\x9A\xCE\xB5" // Greek
        "\xCE\xAF\xCE\xBC\xCE\xB5\xCE\xBD\xCE\xBF, "
        "\xD0\x9A\xD0\xB8\xD1\x80\xD0\xB8\xD0\xBB\xD0\xBB\xD0\xB8\xD1\x86\xD0\xB0 " // Cyrillic
        "\xD0\xA2\xD0\x95\xD0\x9A\xD0\xA1\xD0\xA2, "
        "\xE4\xB8\xAD\xE6\x96\x87\xE6\x96\x87\xE6\x9C\xAC\xE6\xB5\x8B\xE8\xAF\x95 " // CJK
        "\xF0\x9F\x98\x80\xF0\x9F\x8E\x89\xF0\x9F\x9A\x80 "                         // emoji
        "and plain words.\n");
    return s;
}

// Scripts change every few words, so no run of one sequence length lasts long.
const std::string& InterleavedText() {
    static const std::string s = [] {
        static const char* const scripts[][4] = {
            {"caf\xC3\xA9", "na\xC3\xAFve", "s\xC3\xBC\xC3\x9F", "gar\xC3\xA7on"},
            {"\xCE\xB1\xCE\xB2", "\xCE\x9A\xCF\x8C\xCF\x83\xCE\xBC\xCE\xBF\xCF\x82",
             "\xCE\xBB\xCF\x8C\xCE\xB3\xCE\xBF\xCF\x82", "\xCE\xB5"},
            {"\xD0\xB4\xD0\xB0", "\xD0\x9C\xD0\xB8\xD1\x80",
             "\xD1\x81\xD0\xBB\xD0\xBE\xD0\xB2\xD0\xBE", "\xD0\xBD\xD0\xB5\xD1\x82"},
            {"\xE4\xB8\xAD\xE6\x96\x87", "\xE6\x9D\xB1\xE4\xBA\xAC", "\xE6\x97\xA5",
             "\xE6\xBC\xA2\xE5\xAD\x97\xE8\xA1\xA8"},
            {"\xF0\x9F\x98\x80", "\xF0\x9F\x8E\x89", "\xF0\x9F\x9A\x80\xF0\x9F\x91\x8D",
             "\xF0\x9F\x8C\x8D"},
            {"the", "and", "plain", "words"}};
        std::mt19937 rng(2024);
        std::string text;
        for (;;) {
            const auto& script = scripts[rng() % std::size(scripts)];
            for (unsigned words = 1 + rng() % 3; words > 0; --words) {
                std::string const word = script[rng() % 4];
                if (text.size() + word.size() + 1 > kInputSize)
                    return text;
                text += word;
                text += ' ';
            }
        }
    }();
    return s;
}

const std::string& Input(int which) {
    return which == 0 ? AsciiText() : which == 1 ? MixedText() : InterleavedText();
}

void SetLabel(benchmark::State& state, int which) {
    state.SetLabel(which == 0 ? "ascii" : which == 1 ? "mixed" : "interleaved");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(Input(which).size()));
}

void Validate(benchmark::State& state) {
    const std::string& text = Input(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(utf8_private::IsValidString(text.c_str()));
    SetLabel(state, static_cast<int>(state.range(0)));
}
BENCHMARK(Validate)->Arg(0)->Arg(1);

// A lower bound, not a peer: the cost of touching every byte once to find the end.
void StrlenBound(benchmark::State& state) {
    const std::string& text = Input(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const char* p = text.c_str();
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(std::strlen(p));
    }
    SetLabel(state, static_cast<int>(state.range(0)));
}
BENCHMARK(StrlenBound)->Arg(0)->Arg(1);

// Where each round's text comes from: a new copy (allocated), a copy into a string kept across
// rounds (its capacity reused, as ICU's output buffer is), or the same string mapped again.
enum class Source { FreshCopy, Reused, InPlace };

template <bool Lower, Source From> void CaseMap(benchmark::State& state) {
    const std::string& text = Input(static_cast<int>(state.range(0)));
    CUtf8String const source(text.c_str());
    CUtf8String kept(source);
    for (auto _ : state) {
        if (From == Source::FreshCopy) {
            CUtf8String s(source);
            Lower ? s.MakeLower() : s.MakeUpper();
            benchmark::DoNotOptimize(s.c_str());
            continue;
        }
        if (From == Source::Reused)
            kept = source;
        Lower ? kept.MakeLower() : kept.MakeUpper();
        benchmark::DoNotOptimize(kept.c_str());
    }
    SetLabel(state, static_cast<int>(state.range(0)));
}
void MakeLowerFreshCopy(benchmark::State& state) {
    CaseMap<true, Source::FreshCopy>(state);
}
void MakeUpperFreshCopy(benchmark::State& state) {
    CaseMap<false, Source::FreshCopy>(state);
}
void MakeLowerReused(benchmark::State& state) {
    CaseMap<true, Source::Reused>(state);
}
void MakeUpperReused(benchmark::State& state) {
    CaseMap<false, Source::Reused>(state);
}
void MakeLowerInPlace(benchmark::State& state) {
    CaseMap<true, Source::InPlace>(state);
}
void MakeUpperInPlace(benchmark::State& state) {
    CaseMap<false, Source::InPlace>(state);
}
BENCHMARK(MakeLowerFreshCopy)->Arg(0)->Arg(1);
BENCHMARK(MakeUpperFreshCopy)->Arg(0)->Arg(1);
BENCHMARK(MakeLowerReused)->Arg(0)->Arg(1);
BENCHMARK(MakeUpperReused)->Arg(0)->Arg(1);
BENCHMARK(MakeLowerInPlace)->Arg(0)->Arg(1);
BENCHMARK(MakeUpperInPlace)->Arg(0)->Arg(1);

// Two equal ASCII texts in different cases, of range(0) bytes, the argument starting range(1)
// bytes into a longer text (an odd offset stands for a pointer into the middle of one). `Own`
// holds the first text, as the compared object or as the string strcasecmp is given.
template <class Own, class Compare>
void CompareEqualTexts(benchmark::State& state, Compare compare) {
    static const char kLetters[] = "The Quick Brown Fox Jumps Over The Lazy Dog!! 0123456789";
    auto const length = static_cast<std::size_t>(state.range(0));
    auto const offset = static_cast<std::size_t>(state.range(1));
    std::string text;
    for (std::size_t i = 0; i < length; ++i)
        text += kLetters[i % (sizeof kLetters - 1)];
    std::string arg = std::string(offset, '-') + text;
    for (char& c : arg)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    Own const own(text.c_str());
    for (auto _ : state) {
        const char* p = arg.c_str() + offset;
        benchmark::DoNotOptimize(p);
        benchmark::DoNotOptimize(compare(own, p));
    }
}

void CompareNoCase(benchmark::State& state) {
    CompareEqualTexts<CUtf8String>(
        state, [](CUtf8String const& own, const char* p) { return own.CompareNoCase(p); });
}

void Strcasecmp(benchmark::State& state) {
    CompareEqualTexts<std::string>(
        state, [](std::string const& own, const char* p) { return strcasecmp(own.c_str(), p); });
}

BENCHMARK(CompareNoCase)->Args({32, 0})->Args({32, 5})->Args({8, 0})->Args({47, 3});
BENCHMARK(Strcasecmp)->Args({32, 0})->Args({32, 5})->Args({8, 0})->Args({47, 3});

void ToWide(benchmark::State& state) {
    const std::string& text = Input(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::u16string w = CUtf8String::ToWide(text.c_str());
        benchmark::DoNotOptimize(w.data());
    }
    SetLabel(state, static_cast<int>(state.range(0)));
}
BENCHMARK(ToWide)->Arg(0)->Arg(1)->Arg(2);

#if PLATFORM_BENCH_HAVE_ICU
// ICU writes into a buffer the caller keeps, as MakeLowerReused does.
template <bool Lower> void IcuCaseMap(benchmark::State& state) {
    const std::string& text = Input(static_cast<int>(state.range(0)));
    UErrorCode status = U_ZERO_ERROR;
    UCaseMap* map = ucasemap_open("", 0, &status);
    std::vector<char> out(text.size() * 2);
    for (auto _ : state) {
        status = U_ZERO_ERROR;
        int32_t n = Lower ? ucasemap_utf8ToLower(map, out.data(), int32_t(out.size()), text.data(),
                                                 int32_t(text.size()), &status)
                          : ucasemap_utf8ToUpper(map, out.data(), int32_t(out.size()), text.data(),
                                                 int32_t(text.size()), &status);
        benchmark::DoNotOptimize(n);
    }
    ucasemap_close(map);
    if (U_FAILURE(status))
        state.SkipWithError("ICU case mapping failed");
    SetLabel(state, static_cast<int>(state.range(0)));
}
void IcuToLower(benchmark::State& state) {
    IcuCaseMap<true>(state);
}
void IcuToUpper(benchmark::State& state) {
    IcuCaseMap<false>(state);
}
BENCHMARK(IcuToLower)->Arg(0)->Arg(1);
BENCHMARK(IcuToUpper)->Arg(0)->Arg(1);

void IcuFromUtf8(benchmark::State& state) {
    const std::string& text = Input(static_cast<int>(state.range(0)));
    std::vector<UChar> out(text.size() + 1);
    UErrorCode status = U_ZERO_ERROR;
    for (auto _ : state) {
        status = U_ZERO_ERROR;
        int32_t n = 0;
        u_strFromUTF8(out.data(), int32_t(out.size()), &n, text.data(), int32_t(text.size()),
                      &status);
        benchmark::DoNotOptimize(n);
    }
    if (U_FAILURE(status))
        state.SkipWithError("u_strFromUTF8 failed");
    SetLabel(state, static_cast<int>(state.range(0)));
}
BENCHMARK(IcuFromUtf8)->Arg(0)->Arg(1)->Arg(2);
#endif

} // namespace

int main(int argc, char** argv) {
#if !PLATFORM_BENCH_HAVE_ICU
    std::fprintf(stderr, "note: built without ICU; the ICU comparisons are left out\n");
#endif
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
