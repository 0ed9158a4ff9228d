// CString, its editing loops and CStringArray: the rules a model would not show, substrings of
// random bytes against the acceptance rule, and the Replace and Remove loops against a plain
// model that applies every round to a std::string by the same rules (search from the position,
// bounded by the code-point count and ending at the first NUL; edit there; resume at the start
// of what was put in), on texts drawn from a small alphabet so that hits are dense, overlap and
// cascade. fuzz/cstring_fuzz.cpp runs every other entry point against its model.
#include "support/utf8_reference.h"

#include <platform/exception.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <utility>

using namespace std::string_literals;
using test_support::RefAccept;
using zulwin::CString;
using zulwin::CStringArray;

namespace {

std::string Bytes(const CString& s) {
    return s.GetUtf8().str();
}

// A string holding exactly `bytes` (embedded NULs and invalid UTF-8 included).
CString Raw(const std::string& bytes) {
    CString s('\0', bytes.size());
    std::copy(bytes.begin(), bytes.end(), s.GetBuffer());
    return s;
}

// Pieces that make hits overlap and multi-byte sequences straddle the cuts and edits: ASCII,
// valid sequences, their parts, leads of every length, forbidden bytes, a NUL.
// clang-format off
const std::string kPieces[] = {"a", "b", "a", "ab", "ba", "\xC3\xA9", "\xC3", "\xA9", "\xE2\x82\xAC",
    "\xE2", "\x82", "\xF0\x9F\x98\x80", "\xF0", "\xFC", "\xFF", "\xED\xA0\x80", "\0"s};
// clang-format on

// Up to `maxPieces` pieces; as a C string argument it ends at the first NUL.
std::string Draw(std::mt19937& rng, int maxPieces) {
    std::string out;
    for (int n = static_cast<int>(rng() % (maxPieces + 1)); n > 0; --n)
        out += kPieces[rng() % std::size(kPieces)];
    return out;
}

// The int or the CException code `run` throws, 0 if none.
template <typename F> long Thrown(F run) try { return run(), 0; } catch (int code) {
    return code;
} catch (const zulplatform::CException& e) {
    return e.GetCode();
}

using Outcome = std::pair<int, std::string>; // the count and the bytes

// Round by round; nothing when the rounds do not end within `maxRounds`.
std::optional<Outcome> ModelReplace(std::string b, const std::string& from, const std::string& to,
                                    int maxRounds) {
    if (b.empty() || from == to)
        return Outcome{0, b};
    int count = 0;
    for (unsigned long pos = 0; test_support::RefFindFrom(b, from.c_str(), pos); ++count) {
        if (count == maxRounds)
            return std::nullopt;
        b.replace(pos, std::min(from.size(), b.size() - pos), to);
    }
    return Outcome{count, b};
}

} // namespace

TEST(CString, ConstructionComparisonSearchAndTokens) {
    EXPECT_EQ("???", Bytes(CString("\xC3\xA9\xE9"))); // every high byte goes once one is invalid
    // char + CString keeps the byte raw, CString + char validates it.
    EXPECT_EQ("\xE9x|x?", Bytes('\xE9' + CString("x")) + "|" + Bytes(CString("x") + '\xE9'));
    CString self("ab"); // appending itself, then assigning a pointer into its own bytes
    self += self;
    self = self.GetString() + 1;
    EXPECT_EQ("bab", Bytes(self));
    const CString multi("\xC3\xA9\xC3\xA9\xC3\xA9x"); // 4 code points, 7 bytes
    // The start of Find is bounded by the code-point count; FindOneOf takes the set in order.
    EXPECT_EQ(6, multi.Find('x', 3));
    EXPECT_EQ(-1, multi.Find('x', 4));
    EXPECT_EQ(5, CString("abcdef").FindOneOf("fb"));
}

TEST(CString, EditingFormattingResourcesAndBuffers) {
    CString s("abcabc"), t("xyz"), u("ab");
    EXPECT_EQ(2, s.Replace(s.GetString() + 3, "x")); // arguments into the string's own bytes
    EXPECT_EQ(5, t.Insert(0, t.GetString() + 1));
    u.Truncate(5);
    EXPECT_EQ("xx|yzxyz|ab\0\0\0"s, Bytes(s) + "|" + Bytes(t) + "|" + Bytes(u));
    EXPECT_EQ(Thrown([&] { u.Truncate(-1); }), -2147024809); // 0x80070057
    // White space is CR, LF, tab, backspace and space; vertical tab and form feed are not.
    EXPECT_EQ("\fab\v", Bytes(CString("\r\n\t\b \fab\v \b\t\r\n").Trim()));
    s = std::string(1022, 'q').c_str();
    s.Format("<%s>", s.GetString()); // 1024 bytes: the longest result of the first pass
    s.Format("<%s>", s.GetString()); // its own text as the argument, on the second pass
    EXPECT_EQ("<<" + std::string(1022, 'q') + ">>", Bytes(s));
    s.Format("a%cb%c", 0, 0xE9);
    EXPECT_EQ("a\0b\xE9"s, Bytes(s));
}

// Pieces of random bytes: validated by the acceptance rule, by byte positions; whole copies exact.
TEST(CStringRandom, EveryEntryPointAgainstSimpleModels) {
    std::mt19937 rng(20240611u);
    for (int round = 0; round < 20000; ++round) {
        const std::string old = Draw(rng, 12);
        const CString s = Raw(old);
        const int len = int(old.size()), a = int(rng() % (len + 7)) - 3,
                  b = int(rng() % (len + 7)) - 3, at = std::max(a, 0);
        SCOPED_TRACE(testing::PrintToString(std::make_tuple(old, a, b)));
        EXPECT_EQ(RefAccept(old.substr(std::min(at, len), std::max(b, 0)).c_str()),
                  Bytes(s.Mid(a, b)));
        EXPECT_EQ(a >= len ? old : RefAccept(old.substr(0, at).c_str()), Bytes(s.Left(a)));
        EXPECT_EQ(a >= len ? old : RefAccept(old.substr(len - at).c_str()), Bytes(s.Right(a)));
    }
}

TEST(CStringEditModel, ReplaceAndRemoveMatchRoundByRound) {
    std::mt19937 rng(4711);
    for (int round = 0; round < 20000; ++round) {
        // Half the replacements are a start of the searched text, and half the texts end with a
        // hit followed by the rest of it, so that a hit begins in a replacement at the very end.
        const std::string from = Draw(rng, 3).c_str();
        const std::size_t k = rng() % (from.size() + 1);
        const std::string to = rng() % 2 ? std::string(Draw(rng, 3).c_str()) : from.substr(0, k),
                          text = Draw(rng, 24) + (rng() % 2 ? from + from.substr(k) : "");
        SCOPED_TRACE(testing::PrintToString(std::make_tuple(text, from, to)));
        // Replace(text), Replace(char) and Remove(char) as rounds of the text model. A
        // replacement holding the searched text may replay without end; such a call is compared
        // only when the model's rounds end.
        const auto check = [&](std::optional<Outcome> want, auto edit) {
            if (CString s = Raw(text); want) { // a braced list runs in order: edit, then bytes
                EXPECT_EQ(*want, (Outcome{edit(s), Bytes(s)}));
            }
        };
        const char c = from.empty() ? '\0' : from[0], d = to.empty() ? 'a' : to.back();
        if (!from.empty())
            check(ModelReplace(text, from, to, 200),
                  [&](CString& s) { return s.Replace(from.c_str(), to.c_str()); });
        check(c == 0 ? Outcome{0, text} : ModelReplace(text, {c}, {d}, 1 << 20),
              [&](CString& s) { return s.Replace(c, d); });
        check(ModelReplace(text, {c}, "", 1 << 20), [&](CString& s) { return s.Remove(c); });
    }
}

// Where the rounds would never end (plain ASCII) the search resumes after each inserted text.
TEST(CStringEditModel, ReplacementContainingTheSearchedText) {
    CString s("xaxa");
    EXPECT_EQ(Outcome(2, "xaaxaa"), (Outcome{s.Replace("a", "aa"), Bytes(s)}));
}

// Find from a start: the count bound is only walked as far as the start, with the same verdict.
TEST(CStringEditModel, FindFromEveryStart) {
    std::mt19937 rng(5);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = Draw(rng, 16), what = Draw(rng, 2).c_str();
        for (int start = -2; start <= static_cast<int>(text.size()) + 2; ++start) {
            auto pos = static_cast<unsigned long>(static_cast<long>(start));
            const int want = test_support::RefFindFrom(text, what.c_str(), pos) ? int(pos) : -1;
            ASSERT_EQ(want, Raw(text).Find(what.c_str(), start))
                << testing::PrintToString(std::make_tuple(text, what, start));
        }
    }
}

TEST(CStringArray, AddSetSizeCopyAppendAndRangeErrors) {
    CStringArray array, copy;
    EXPECT_EQ(array.Add(zulwin::CString('\xE9', 2)), 0); // raw bytes are kept exactly
    EXPECT_EQ(array.Add("b"), 1);
    array.SetSize(3, 0);
    copy.SetSize(5, 99); // Copy must shrink it
    copy.Copy(array);
    EXPECT_EQ(array.Append(array), 3); // appending to itself duplicates
    array.RemoveAt(4, 9);              // the count is clamped to the end
    std::string joined;
    for (const CStringArray* a : {&array, &copy})
        for (long i = 0; i < a->GetCount(); ++i)
            joined += Bytes((*a)[i]) + "|";
    EXPECT_EQ(joined, "\xE9\xE9|b||\xE9\xE9|\xE9\xE9|b||");
    // Range errors throw the code -1; GetCount() itself is out of range.
    EXPECT_EQ(Thrown([&] { array[-1]; }) + Thrown([&] { std::as_const(array)[4]; }), -2);
}
