// The editing loops of CString against a plain model that applies every round to a std::string
// by the same rules: search from the position (bounded by the code-point count, ending at the
// first NUL), edit there, resume at the start of what was put in. The string is rebuilt in one
// pass; these tests make sure that gives the very same bytes and counts, on texts and arguments
// drawn from a small alphabet so that hits are dense, overlap and cascade.
#include "support/utf8_reference.h"

#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <string>

using namespace std::string_literals;
using test_support::RefLength;
using zulwin::CString;

namespace {

std::string Bytes(const CString& s) {
    return s.GetUtf8().str();
}

CString Raw(const std::string& bytes) {
    CString s('\0', bytes.size());
    std::copy(bytes.begin(), bytes.end(), s.GetBuffer());
    return s;
}

// The search of the editing loops on the model.
bool ModelFind(const std::string& b, const char* s, unsigned long& pos) {
    if (pos >= RefLength(b))
        return false;
    const char* base = b.c_str();
    const char* hit =
        (s[0] != 0 && s[1] == 0) ? std::strchr(base + pos, s[0]) : std::strstr(base + pos, s);
    if (hit == nullptr)
        return false;
    pos = static_cast<unsigned long>(hit - base);
    return true;
}

struct Outcome {
    std::string bytes;
    int count;
};

// Round by round; nothing when the rounds do not end within `maxRounds`.
std::optional<Outcome> ModelReplace(std::string b, const std::string& from, const std::string& to,
                                    int maxRounds) {
    if (b.empty() || from == to)
        return Outcome{b, 0};
    int count = 0;
    for (unsigned long pos = 0; ModelFind(b, from.c_str(), pos); ++count) {
        if (count == maxRounds)
            return std::nullopt;
        b.replace(pos, std::min(from.size(), b.size() - pos), to);
    }
    return Outcome{b, count};
}

// Applies `edit` at each hit of the character `c`, round by round.
template <class Edit> Outcome ModelEachHit(std::string b, char c, Edit edit) {
    const char text[2] = {c, 0};
    int count = 0;
    for (unsigned long pos = 0; ModelFind(b, text, pos); ++count)
        edit(b, pos);
    return {b, count};
}

Outcome ModelReplaceChar(const std::string& b, char from, char to) {
    if (from == 0 || to == 0 || from == to)
        return {b, 0};
    return ModelEachHit(b, from, [to](std::string& s, unsigned long pos) { s[pos] = to; });
}

Outcome ModelRemove(const std::string& b, char c) {
    return ModelEachHit(b, c, [](std::string& s, unsigned long pos) { s.erase(pos, 1); });
}

// Pieces that make hits overlap and multi-byte sequences straddle the edits: ASCII, valid
// sequences, their parts, leads of every length, an occasional NUL.
std::string Draw(std::mt19937& rng, int maxPieces, bool allowNul) {
    // clang-format off
    static const char* const pieces[] = {"a", "b", "a", "ab", "ba", "\xC3\xA9", "\xC3", "\xA9",
        "\xE2\x82\xAC", "\xE2", "\x82", "\xF0\x9F\x98\x80", "\xF0", "\xFC", "\xFF", "\0"};
    // clang-format on
    std::string out;
    for (int n = static_cast<int>(rng() % (maxPieces + 1)); n > 0; --n) {
        const char* piece = pieces[rng() % std::size(pieces)];
        if (*piece != 0)
            out += piece;
        else if (allowNul)
            out += '\0';
    }
    return out;
}

} // namespace

TEST(CStringEditModel, ReplaceAndRemoveMatchRoundByRound) {
    std::mt19937 rng(4711);
    int replaced = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::string text = Draw(rng, 24, true);
        const std::string from = Draw(rng, 3, false), to = Draw(rng, 3, false);
        SCOPED_TRACE(testing::PrintToString(text) + " " + testing::PrintToString(from) + " -> " +
                     testing::PrintToString(to));
        // A replacement holding the searched text may replay without end; it has its own test.
        if (!from.empty() && to.find(from) == std::string::npos) {
            const auto expected = ModelReplace(text, from, to, 1 << 20);
            ASSERT_TRUE(expected.has_value());
            CString s = Raw(text);
            EXPECT_EQ(expected->count, s.Replace(from.c_str(), to.c_str()));
            EXPECT_EQ(expected->bytes, Bytes(s));
            replaced += expected->count;
        }
        const char c = from.empty() ? '\0' : from[0], d = to.empty() ? 'a' : to.back();
        CString byChar = Raw(text), removed = Raw(text);
        const Outcome byCharExpected = ModelReplaceChar(text, c, d);
        EXPECT_EQ(byCharExpected.count, byChar.Replace(c, d));
        EXPECT_EQ(byCharExpected.bytes, Bytes(byChar));
        const Outcome removedExpected = ModelRemove(text, c);
        EXPECT_EQ(removedExpected.count, removed.Remove(c));
        EXPECT_EQ(removedExpected.bytes, Bytes(removed));
    }
    EXPECT_GT(replaced, 2000); // the texts were dense with hits
}

// A replacement that contains the searched text is found again inside itself. With multi-byte
// characters the rounds may still end, when the position reaches the code-point count; then the
// result is the replayed one. In plain ASCII they never ended; the search now resumes after
// each inserted text.
TEST(CStringEditModel, ReplacementContainingTheSearchedText) {
    std::mt19937 rng(99);
    int ended = 0;
    for (int round = 0; round < 3000; ++round) {
        const std::string text = Draw(rng, 12, false);
        std::string from = Draw(rng, 2, false);
        if (from.empty())
            from = "a";
        const std::string to = Draw(rng, 2, false) + from + Draw(rng, 1, false);
        if (to == from)
            continue;
        SCOPED_TRACE(testing::PrintToString(text) + " " + testing::PrintToString(from) + " -> " +
                     testing::PrintToString(to));
        const auto replayed = ModelReplace(text, from, to, 200);
        if (!replayed)
            continue;
        ++ended;
        CString s = Raw(text);
        EXPECT_EQ(replayed->count, s.Replace(from.c_str(), to.c_str()));
        EXPECT_EQ(replayed->bytes, Bytes(s));
    }
    EXPECT_GT(ended, 300);

    // Plain ASCII: each occurrence of the original text is replaced once.
    CString s("xaxa");
    EXPECT_EQ(2, s.Replace("a", "aa"));
    EXPECT_EQ("xaaxaa", Bytes(s));
    EXPECT_EQ(0, s.Replace("", "b")); // an empty text would match forever
    EXPECT_EQ("xaaxaa", Bytes(s));
}

// Find from a start: the count bound is only walked as far as the start, with the same verdict.
TEST(CStringEditModel, FindFromEveryStart) {
    std::mt19937 rng(5);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = Draw(rng, 16, true), what = Draw(rng, 2, false);
        const CString s = Raw(text);
        for (int start = -2; start <= static_cast<int>(text.size()) + 2; ++start) {
            unsigned long pos = static_cast<unsigned long>(static_cast<long>(start));
            const int expected = ModelFind(text, what.c_str(), pos) ? static_cast<int>(pos) : -1;
            ASSERT_EQ(expected, s.Find(what.c_str(), start))
                << testing::PrintToString(text) << " " << testing::PrintToString(what) << " "
                << start;
        }
    }
}
