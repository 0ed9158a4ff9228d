#include <platform/files.h>
#include <platform/module.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

using namespace std::string_literals;
using zulwin::CString;

namespace {

const auto Bytes = [](const CString& s) { return s.GetUtf8().str(); };

// A string holding exactly `bytes` (embedded NULs and invalid UTF-8 included).
CString Raw(const std::string& bytes) {
    CString s('\0', bytes.size());
    std::copy(bytes.begin(), bytes.end(), s.GetBuffer());
    return s;
}

// What a validated route must make of `bytes`: up to the first NUL, and if that is not valid
// UTF-8, every byte of 0x80 and above turned into '?'.
std::string Accepted(std::string s) {
    s = s.c_str();
    if (!utf8_private::IsValidString(s.c_str()))
        std::replace_if(
            s.begin(), s.end(), [](char c) { return (c & 0x80) != 0; }, '?');
    return s;
}

// What the length-limited constructor must keep: the longest valid prefix of at most n bytes.
std::string LongestValidPrefix(const std::string& bytes, size_t n) {
    std::string prefix = bytes.substr(0, std::min(n, std::strlen(bytes.c_str())));
    while (!utf8_private::IsValidString(prefix.c_str()))
        prefix.pop_back();
    return prefix;
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

struct TextModule : zulplatform::IModule {
    const char* LoadString(unsigned int id) const override { return id == 1 ? "caf\xE9" : ""; }
    const char* GetModuleFileName() const override { return "text-module"; }
    const zulplatform::VersionRecord_t* GetVersionInfo() const override { return nullptr; }
};

// Bytes biased to what matters: ASCII, delimiters, white space, valid multi-byte text, stray
// continuations, forbidden and 5/6-byte leads, surrogates, cut sequences.
std::string RandomBytes(std::mt19937& rng, int maxPieces) {
    // clang-format off
    static const char* const pieces[] = {"a", ",", " ", "\t", "\b", "\v", "\r\n", "\xC3\xA9",
        "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80", "\xC0", "\xF5", "\xFF", "\xFC", "\xE0\x80\x80",
        "\xED\xA0\x80", "\xC3", "\xE2\x82", "\xF0\x9F\x98"};
    // clang-format on
    std::string out;
    for (int n = static_cast<int>(rng() % (maxPieces + 1)); n > 0; --n)
        out += pieces[rng() % std::size(pieces)];
    return out;
}

} // namespace

// Substrings, insertion, deletion, trimming by a set, appending and formatting are checked
// against models by the randomized test below; these are the rules a model would not show.
TEST(CString, ConstructionComparisonSearchAndTokens) {
    const CString x("x"), a = Raw("a\0b"s), b = Raw("a\0c"s);
    EXPECT_EQ("???", Bytes(CString("\xC3\xA9\xE9"))); // every high byte goes once one is invalid
    EXPECT_EQ("\xE9\xE9", Bytes(CString('\xE9', 2)));
    EXPECT_EQ("\xE9x", Bytes('\xE9' + x));                // char + CString keeps the byte raw,
    EXPECT_EQ("x?", Bytes(x + '\xE9'));                   // CString + char validates it
    EXPECT_EQ("?", Bytes((CString(x) = '\xE9') += '\0')); // NUL appends nothing
    EXPECT_EQ("\xCE\xA9x\xE2\x82\xAC\xF0\x9F\x98\x80", Bytes(u'\u03A9' + x + u"\u20ac\U0001F600"));
    EXPECT_EQ("x", Bytes(x + static_cast<const char*>(nullptr) + static_cast<const char16_t*>(0)));
    // Appending itself, then assigning a pointer into its own bytes.
    EXPECT_EQ("bab=0", Edit("ab", [](CString& t) { return t += t, t = t.GetString() + 1, 0; }));
    EXPECT_TRUE(a != b && a != CString("a")); // CString equality compares every byte
    EXPECT_TRUE(a == "a" && "a" == b && a <= b && a >= b && a.Compare("a") == 0); // up to NUL
    EXPECT_TRUE(CString("z") < CString("\xC3\xA9"));                              // unsigned bytes
    EXPECT_EQ(0, CString("\xC3\x84Z").CompareNoCase("\xC3\xA4z"));
    EXPECT_EQ(0, CString("AB?").CompareNoCase("ab\xE9")); // the argument is validated first
    const CString six("abcdef"), multi("\xC3\xA9\xC3\xA9\xC3\xA9x"); // 4 code points, 7 bytes
    // The start of Find is bounded by the code-point count; FindOneOf takes the set in order.
    const std::pair<int, int> found[] = {
        {multi.Find("x"), 6},        {multi.Find('x', 3), 6},
        {multi.Find('x', 4), -1},    {six.Find("a", -1), -1},
        {six.Find("", 2), 2},        {six.Find(nullptr, 0), -1},
        {six.FindOneOf("fb"), 5},    {six.FindOneOf(nullptr), -1},
        {six.ReverseFind('\0'), -1}, {Raw("ab\0b"s).ReverseFind('b'), 3}};
    for (const auto& f : found)
        EXPECT_EQ(f.second, f.first) << "case " << &f - found;
    EXPECT_EQ("a@2 b@4 @-1", Tokens("a,b", ",", 0));
    EXPECT_EQ("a@4 b@7 @-1", Tokens(",,a,,b,,", ",", 0));
    EXPECT_EQ("cdef@6 @-1", Tokens("abcdef", "", 2));
    EXPECT_EQ("\xC3\xA9@3 x?@6 @-1", Tokens(Raw("\xC3\xA9,x\xE9"), ",", 0)); // tokens validated
    EXPECT_EQ("abc=throw -1", Edit("abc", [](CString& s) { return s.SpanIncluding(nullptr)[0]; }));
}

TEST(CString, EditingFormattingResourcesAndBuffers) {
    const std::string e3 = "\xC3\xA9\xC3\xA9\xC3\xA9"; // 3 code points in 6 bytes
    // Searches in Replace and Remove stop at the code-point count: the a at byte 8 is not reached.
    EXPECT_EQ(e3 + "b a=1", Edit(e3 + "a a", [](CString& s) { return s.Replace('a', 'b'); }));
    EXPECT_EQ(e3 + "bb bb=2", Edit(e3 + "a a", [](CString& s) { return s.Replace("a", "bb"); }));
    EXPECT_EQ(e3 + "aa=1", Edit(e3 + "aaa", [](CString& s) { return s.Remove('a'); }));
    EXPECT_EQ("a=2", Edit("abb", [](CString& s) { return s.Replace("ab", "a"); })); // no skip
    EXPECT_EQ("xx=2", Edit("abcabc", [](CString& s) { return s.Replace(s.GetString() + 3, "x"); }));
    EXPECT_EQ("=3", Edit("abc", [](CString& s) { return s.Remove('\0'); }));
    EXPECT_EQ("x\xE9yz=4", Edit("xyz", [](CString& s) { return s.Insert(1, '\xE9'); })); // raw
    EXPECT_EQ("yzxyz=5", Edit("xyz", [](CString& s) { return s.Insert(0, s.GetString() + 1); }));
    EXPECT_EQ("a?=0", Edit("abc", [](CString& s) { return s.SetAt(1, '\xE9'), s.SetAt(2, 0), 0; }));
    EXPECT_EQ("ab\0\0\0=0"s, Edit("ab", [](CString& s) { return s.Truncate(5), 0; }));
    // A negative length throws the int 0x80070057.
    EXPECT_EQ("ab=throw -2147024809", Edit("ab", [](CString& s) { return s.Truncate(-1), 0; }));
    // White space is CR, LF, tab, backspace and space; vertical tab and form feed are not.
    EXPECT_EQ("ab", Bytes(CString("ab \b\t\r\n").TrimRight()));
    EXPECT_EQ("\fab\v", Bytes(CString("\fab\v").Trim()));
    CString s(std::string(1022, 'q').c_str());
    s.Format("<%s>", s.GetString()); // 1024 bytes: the longest result of the first pass
    s.Format("<%s>", s.GetString()); // its own text as the argument, on the second pass
    EXPECT_EQ("<<" + std::string(1022, 'q') + ">>", Bytes(s));
    TextModule module;
    EXPECT_EQ("caf?=1", Edit("old", [&](CString& t) { return t.LoadString(&module, 1); }));
    EXPECT_EQ("=0", Edit("old", [&](CString& t) { return t.LoadString(&module, 2); }));
    EXPECT_EQ("=0", Edit("old", [](CString& t) { return t.LoadString(nullptr, 1); }));
    // No module of the library has a string 0xFFFFFFF0.
    EXPECT_EQ("=0", Edit("old", [](CString& t) { return t.Format(0xFFFFFFF0u, 1), 0; }));
    EXPECT_EQ("old=0", Edit("old", [](CString& t) { return t.AppendFormat(0xFFFFFFF0u, 1), 0; }));
    EXPECT_EQ("=0", Edit("old", [](CString& t) { return t.Format((const char*)nullptr), 0; }));
    EXPECT_EQ("a\0b\xE9=0"s, Edit("", [](CString& t) { return t.Format("a%cb%c", 0, 0xE9), 0; }));
    EXPECT_EQ("abc\0\0\0=0"s, Edit("abc", [](CString& t) { return t.GetBufferSetLength(6)[5]; }));
    EXPECT_EQ("hi=0", Edit("hi\0jk"s, [](CString& t) { return t.ReleaseBuffer(), 0; }));
    EXPECT_EQ("hi\0j=0"s, Edit("hi\0jk"s, [](CString& t) { return t.ReleaseBuffer(4), 0; }));
    EXPECT_THROW(s.GetBufferSetLength(-2), std::length_error);
}

// Random bytes through every entry point: where a simple rule says what must come out, the
// result is compared with it; everywhere the string must stay intact and NUL-terminated.
TEST(CStringRandom, EveryEntryPointAgainstSimpleModels) {
    std::mt19937 rng(20240611u);
    const auto pick = [&](int lo, int hi) { return lo + static_cast<int>(rng() % (hi - lo + 1)); };
    const char* const sets[] = {",", " ;", "\xC3\xA9", "a\x80", "", nullptr};
    for (int round = 0; round < 3000; ++round) {
        CString s = Raw(RandomBytes(rng, 8) + std::string(pick(0, 1), '\0') + RandomBytes(rng, 3));
        for (int step = 0; step < 12; ++step) {
            const std::string old = Bytes(s), arg = RandomBytes(rng, 3), to = RandomBytes(rng, 2);
            const int len = int(old.size()), a = pick(-3, len + 3), b = pick(-3, len + 3);
            const int at = std::max(a, 0);
            const char c = arg.empty() ? '\0' : arg[0], *const set = sets[pick(0, 5)];
            SCOPED_TRACE(testing::PrintToString(old) + " with " + testing::PrintToString(arg));
            // Reading: pieces are validated and whole copies exact; searches hit what they say.
            EXPECT_EQ(Accepted(old.substr(std::min(at, len), std::max(b, 0))), Bytes(s.Mid(a, b)));
            EXPECT_EQ(a >= len ? old : Accepted(old.substr(0, at)), Bytes(s.Left(a)));
            EXPECT_EQ(a >= len ? old : Accepted(old.substr(len - at)), Bytes(s.Right(a)));
            EXPECT_EQ(Accepted(arg) + LongestValidPrefix(arg, a & 15),
                      Bytes(CString(arg.c_str()) + CString(arg.c_str(), a & 15)));
            const int hit = s.Find(arg.c_str(), a), one = s.FindOneOf(set), last = s.ReverseFind(c);
            EXPECT_TRUE(hit == -1 || (hit >= a && old.find(arg.c_str(), hit) == size_t(hit)));
            EXPECT_TRUE((one == -1 || std::strchr(set, old.at(one))) &&
                        (last == -1 || old.at(last) == c));
            EXPECT_NE(std::string::npos, Tokens(s, set, a).find("@-1")); // the loop ends, with -1
            // Editing: `model` holds what the edit must leave.
            std::string model = old;
            switch (pick(0, 5)) {
            case 0:
                if (a >= 0 && a <= len)
                    model.insert(a, arg);
                EXPECT_EQ(static_cast<int>(model.size()), s.Insert(a, arg.c_str()));
                break;
            case 1:
                if (a >= 0 && a < len && b != 0)
                    model.erase(a, b < 0 ? std::string::npos : b);
                EXPECT_EQ(static_cast<int>(model.size()), s.Delete(a, b));
                break;
            case 2: // text is validated, a CString appended exactly, formatted text taken as is
                s = s + arg.c_str() + Raw(to);
                s.AppendFormat("%s|%d", to.c_str(), a);
                model += Accepted(arg) + to + to + "|" + std::to_string(a);
                break;
            case 3: // a set trims bytes at both ends; a NUL byte is never in a set
                s.Trim(set);
                if (set != nullptr && *set != '\0') {
                    model.erase(0, model.find_first_not_of(set));
                    model.erase(model.find_last_not_of(set) + 1);
                }
                break;
            case 4: { // Replace(char): only bytes equal to the old one change, each to the new one
                const int count = s.Replace(c, to[0]);
                const std::string after = Bytes(s);
                for (size_t i = 0; i < model.size() && i < after.size(); ++i)
                    model[i] = model[i] == c && after[i] == to[0] ? to[0] : model[i];
                EXPECT_EQ(count, std::count(old.begin(), old.end(), c) -
                                     std::count(model.begin(), model.end(), c));
                break;
            }
            default: // no model: these must only keep the string intact
                s.CompareNoCase(arg.c_str());
                s.Remove(c);
                if (to.find(arg) == std::string::npos) // else the search would never end
                    s.Replace(arg.c_str(), to.c_str());
                s.SetAt(static_cast<unsigned long>(a), c);
                s += s.SpanIncluding(set ? set : "");
                pick(0, 1) ? s.MakeLower() : s.MakeUpper();
                s = '\xFC' + s.Mid(a, b) + s + '\xFC';
                model = Bytes(s);
                break;
            }
            EXPECT_EQ(model, Bytes(s));
            ASSERT_EQ('\0', s.GetString()[s.GetLength()]);
            if (s.GetLength() > 256)
                s = Raw(RandomBytes(rng, 8));
        }
    }
}
