// CString, its editing loops and CStringArray: the rules a model would not show, random bytes
// through every entry point against simple models, and the Replace and Remove loops against a
// plain model that applies every round to a std::string by the same rules (search from the
// position, bounded by the code-point count and ending at the first NUL; edit there; resume at
// the start of what was put in), on texts drawn from a small alphabet so that hits are dense,
// overlap and cascade.
#include "support/utf8_reference.h"

#include <platform/exception.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <string>
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

// The bytes `edit` leaves in a string that held `start`, then "=" and what `edit` returned, or
// "=throw" and the int or the CException code it threw.
template <typename F> std::string Edit(const std::string& start, F edit) {
    CString s = Raw(start);
    try {
        const std::string result = std::to_string(edit(s));
        return Bytes(s) + "=" + result;
    } catch (int code) {
        return Bytes(s) + "=throw " + std::to_string(code);
    } catch (const zulplatform::CException& e) {
        return Bytes(s) + "=throw " + std::to_string(e.GetCode());
    }
}

// Every token of a Tokenize loop with the position after it: "a@2 b@4 @-1".
std::string Tokens(const CString& s, const char* delimiters, int pos) {
    std::string out;
    for (int round = 0; round == 0 || (pos != -1 && round < 1000); ++round) {
        const CString token = s.Tokenize(delimiters, pos);
        out += (round ? " " : "") + Bytes(token) + "@" + std::to_string(pos);
    }
    return out;
}

// Up to `maxPieces` pieces of `pieces`; an empty piece is a NUL byte, left out unless allowed.
template <std::size_t N>
std::string Draw(std::mt19937& rng, const char* const (&pieces)[N], int maxPieces,
                 bool allowNul = false) {
    std::string out;
    for (int n = static_cast<int>(rng() % (maxPieces + 1)); n > 0; --n) {
        const char* piece = pieces[rng() % N];
        if (*piece != 0 || allowNul)
            out += *piece != 0 ? std::string(piece) : "\0"s;
    }
    return out;
}

// Bytes biased to what matters: ASCII, delimiters, white space, valid multi-byte text, stray
// continuations, forbidden and 5/6-byte leads, surrogates, cut sequences.
// clang-format off
const char* const kAnyPieces[] = {"a", ",", " ", "\t", "\b", "\v", "\r\n", "\xC3\xA9", "\xE2\x82\xAC",
    "\xF0\x9F\x98\x80", "\x80", "\xC0", "\xF5", "\xFF", "\xFC", "\xE0\x80\x80", "\xED\xA0\x80", "\xC3",
    "\xE2\x82", "\xF0\x9F\x98"};
// Pieces that make hits overlap and multi-byte sequences straddle the edits: ASCII, valid
// sequences, their parts, leads of every length, an occasional NUL.
const char* const kEditPieces[] = {"a", "b", "a", "ab", "ba", "\xC3\xA9", "\xC3", "\xA9", "\xE2\x82\xAC",
    "\xE2", "\x82", "\xF0\x9F\x98\x80", "\xF0", "\xFC", "\xFF", ""};
// clang-format on

using Outcome = std::pair<std::string, int>; // the bytes and the count

// Round by round; nothing when the rounds do not end within `maxRounds`.
std::optional<Outcome> ModelReplace(std::string b, const std::string& from, const std::string& to,
                                    int maxRounds) {
    if (b.empty() || from == to)
        return Outcome{b, 0};
    int count = 0;
    for (unsigned long pos = 0; test_support::RefFindFrom(b, from.c_str(), pos); ++count) {
        if (count == maxRounds)
            return std::nullopt;
        b.replace(pos, std::min(from.size(), b.size() - pos), to);
    }
    return Outcome{b, count};
}

// The elements' exact bytes (embedded NULs included), each followed by '|'.
std::string Joined(CStringArray const& array) {
    std::string out;
    for (long i = 0; i < array.GetCount(); ++i)
        out += std::string(array[i].GetString(), array[i].GetLength()) + "|";
    return out;
}

} // namespace

// Substrings, insertion, deletion, text entering through a pointer, searching and the editing
// loops are checked against models by the randomized tests below; these are the rules a model
// would not show.
TEST(CString, ConstructionComparisonSearchAndTokens) {
    const CString x("x");
    EXPECT_EQ("???", Bytes(CString("\xC3\xA9\xE9"))); // every high byte goes once one is invalid
    EXPECT_EQ("\xE9x", Bytes('\xE9' + x));            // char + CString keeps the byte raw,
    EXPECT_EQ("x?", Bytes(x + '\xE9'));               // CString + char validates it
    // Appending itself, then assigning a pointer into its own bytes.
    EXPECT_EQ("bab=0", Edit("ab", [](CString& t) { return t += t, t = t.GetString() + 1, 0; }));
    const CString multi("\xC3\xA9\xC3\xA9\xC3\xA9x"); // 4 code points, 7 bytes
    // The start of Find is bounded by the code-point count; FindOneOf takes the set in order.
    EXPECT_EQ(6, multi.Find('x', 3));
    EXPECT_EQ(-1, multi.Find('x', 4));
    EXPECT_EQ(5, CString("abcdef").FindOneOf("fb"));
    EXPECT_EQ("a@4 b@7 @-1", Tokens(",,a,,b,,", ",", 0));
    EXPECT_EQ("\xC3\xA9@3 x?@6 @-1", Tokens(Raw("\xC3\xA9,x\xE9"), ",", 0)); // tokens validated
}

TEST(CString, EditingFormattingResourcesAndBuffers) {
    // Arguments that point into the string's own bytes.
    EXPECT_EQ("xx=2", Edit("abcabc", [](CString& s) { return s.Replace(s.GetString() + 3, "x"); }));
    EXPECT_EQ("yzxyz=5", Edit("xyz", [](CString& s) { return s.Insert(0, s.GetString() + 1); }));
    EXPECT_EQ("ab\0\0\0=0"s, Edit("ab", [](CString& s) { return s.Truncate(5), 0; }));
    // A negative length throws the int 0x80070057.
    EXPECT_EQ("ab=throw -2147024809", Edit("ab", [](CString& s) { return s.Truncate(-1), 0; }));
    // White space is CR, LF, tab, backspace and space; vertical tab and form feed are not.
    EXPECT_EQ("\fab\v", Bytes(CString("\r\n\t\b \fab\v \b\t\r\n").Trim()));
    CString s(std::string(1022, 'q').c_str());
    s.Format("<%s>", s.GetString()); // 1024 bytes: the longest result of the first pass
    s.Format("<%s>", s.GetString()); // its own text as the argument, on the second pass
    EXPECT_EQ("<<" + std::string(1022, 'q') + ">>", Bytes(s));
    EXPECT_EQ("a\0b\xE9=0"s, Edit("", [](CString& t) { return t.Format("a%cb%c", 0, 0xE9), 0; }));
}

// Random bytes through every entry point: where a simple rule says what must come out, the
// result is compared with it; everywhere the string must stay intact and NUL-terminated.
TEST(CStringRandom, EveryEntryPointAgainstSimpleModels) {
    std::mt19937 rng(20240611u);
    const auto pick = [&](int lo, int hi) { return lo + static_cast<int>(rng() % (hi - lo + 1)); };
    const char* const sets[] = {",", " ;", "\xC3\xA9", "a\x80", "", nullptr};
    for (int round = 0; round < 3000; ++round) {
        CString s = Raw(Draw(rng, kAnyPieces, 8) + std::string(pick(0, 1), '\0') +
                        Draw(rng, kAnyPieces, 3));
        for (int step = 0; step < 12; ++step) {
            const std::string old = Bytes(s), arg = Draw(rng, kAnyPieces, 3);
            const int len = int(old.size()), a = pick(-3, len + 3), b = pick(-3, len + 3),
                      at = std::max(a, 0);
            const char* const set = sets[pick(0, 5)];
            SCOPED_TRACE(testing::PrintToString(old) + " with " + testing::PrintToString(arg));
            // Reading: pieces are validated and whole copies exact.
            EXPECT_EQ(RefAccept(old.substr(std::min(at, len), std::max(b, 0)).c_str()),
                      Bytes(s.Mid(a, b)));
            EXPECT_EQ(a >= len ? old : RefAccept(old.substr(0, at).c_str()), Bytes(s.Left(a)));
            EXPECT_EQ(a >= len ? old : RefAccept(old.substr(len - at).c_str()), Bytes(s.Right(a)));
            EXPECT_EQ(RefAccept(arg.c_str()), Bytes(CString(arg.c_str())));
            EXPECT_NE(std::string::npos, Tokens(s, set, a).find("@-1")); // the loop ends, with -1
            // Editing: `model` holds what the edit must leave.
            std::string model = old;
            if (pick(0, 1) == 0) {
                if (a >= 0 && a <= len)
                    model.insert(a, arg);
                EXPECT_EQ(static_cast<int>(model.size()), s.Insert(a, arg.c_str()));
            } else {
                if (a >= 0 && a < len && b != 0)
                    model.erase(a, b < 0 ? std::string::npos : b);
                EXPECT_EQ(static_cast<int>(model.size()), s.Delete(a, b));
            }
            EXPECT_EQ(model, Bytes(s));
            ASSERT_EQ('\0', s.GetString()[s.GetLength()]);
        }
    }
}

TEST(CStringEditModel, ReplaceAndRemoveMatchRoundByRound) {
    std::mt19937 rng(4711);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = Draw(rng, kEditPieces, 24, true), from = Draw(rng, kEditPieces, 3),
                          to = Draw(rng, kEditPieces, 3);
        SCOPED_TRACE(testing::PrintToString(text) + " " + testing::PrintToString(from) + " -> " +
                     testing::PrintToString(to));
        // Replace(text), Replace(char) and Remove(char) as rounds of the text model. A
        // replacement holding the searched text may replay without end; such a call is compared
        // only when the model's rounds end.
        const auto check = [&](std::optional<Outcome> want, auto edit) {
            CString s = Raw(text);
            if (want) {
                EXPECT_EQ(want->second, edit(s));
                EXPECT_EQ(want->first, Bytes(s));
            }
        };
        const char c = from.empty() ? '\0' : from[0], d = to.empty() ? 'a' : to.back();
        if (!from.empty())
            check(ModelReplace(text, from, to, 200),
                  [&](CString& s) { return s.Replace(from.c_str(), to.c_str()); });
        check(c == 0 ? Outcome{text, 0} : ModelReplace(text, {c}, {d}, 1 << 20),
              [&](CString& s) { return s.Replace(c, d); });
        check(ModelReplace(text, {c}, "", 1 << 20), [&](CString& s) { return s.Remove(c); });
    }
}

// A replacement that contains the searched text is found again inside itself; where the rounds
// would never end (plain ASCII) the search resumes after each inserted text instead.
TEST(CStringEditModel, ReplacementContainingTheSearchedText) {
    CString s("xaxa");
    EXPECT_EQ(2, s.Replace("a", "aa"));
    EXPECT_EQ("xaaxaa", Bytes(s));
    EXPECT_EQ(0, s.Replace("", "b")); // an empty text would match forever
}

// Find from a start: the count bound is only walked as far as the start, with the same verdict.
TEST(CStringEditModel, FindFromEveryStart) {
    std::mt19937 rng(5);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = Draw(rng, kEditPieces, 16, true), what = Draw(rng, kEditPieces, 2);
        const CString s = Raw(text);
        for (int start = -2; start <= static_cast<int>(text.size()) + 2; ++start) {
            auto pos = static_cast<unsigned long>(static_cast<long>(start));
            const bool found = test_support::RefFindFrom(text, what.c_str(), pos);
            ASSERT_EQ(found ? static_cast<int>(pos) : -1, s.Find(what.c_str(), start))
                << testing::PrintToString(text + "|" + what) << " " << start;
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
    EXPECT_EQ(Joined(array), "\xE9\xE9|b||\xE9\xE9|b||");
    EXPECT_EQ(Joined(copy), "\xE9\xE9|b||");
    array.RemoveAt(4, 9); // the count is clamped to the end
    array.RemoveAt(-1, 1);
    array.RemoveAt(1, 0);
    EXPECT_EQ(Joined(array), "\xE9\xE9|b||\xE9\xE9|");
    // Range errors throw the code -1; GetCount() itself is out of range.
    EXPECT_EQ("=throw -1", Edit("", [&](CString&) { return array[-1].GetLength(); }));
    EXPECT_EQ("=throw -1", Edit("", [&](CString&) { return std::as_const(array)[4].GetLength(); }));
}
