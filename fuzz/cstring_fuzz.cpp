// CString construction and editing against a model: the input is a small program of operations,
// each run on a CString and on a plain byte string that implements the operation's rules
// directly (the position functions, the code-point bound of the search, the acceptance rule),
// compared after every step.
#include "support/utf8_reference.h"

#include <platform/cstring.h>
#include <platform/exception.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace test_support;
using zulwin::CString;

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

// Reads the program.
class Input {
public:
    Input(const uint8_t* data, size_t size) : m_p(data), m_end(data + size) {}
    bool Done() const { return m_p == m_end; }
    uint8_t Byte() { return m_p < m_end ? *m_p++ : 0; }
    // Small positions and counts around the string's length, negative ones included.
    int Number() { return static_cast<int8_t>(Byte()); }
    // A text of up to 15 bytes (no NUL inside: it is a C string argument).
    std::string Text() {
        std::size_t n = Byte() % 16;
        std::string s;
        while (n-- > 0 && m_p < m_end) {
            char const c = static_cast<char>(*m_p++);
            if (c != 0)
                s.push_back(c);
        }
        return s;
    }

private:
    const uint8_t* m_p;
    const uint8_t* m_end;
};

// The rules of the position functions and of the search, on a plain byte string.
struct Model {
    std::string b;

    void ReplaceAt(unsigned long pos, const char* s, unsigned long n) {
        if (pos >= b.size() || s == nullptr || n == 0)
            return;
        if (*s == 0)
            b.erase(pos);
        else
            b.replace(pos, std::min<unsigned long>(b.size() - pos, n), s);
    }
    void RemoveAt(unsigned long pos, unsigned long n) {
        unsigned long const len = b.size();
        if (pos >= len || n == 0)
            return;
        if (pos == 0 && n == len) {
            b.clear();
            return;
        }
        unsigned long const count = pos + n > len ? len - pos : n; // modulo 2^64 on purpose
        if (count == ~0UL)
            b.erase(pos);
        else
            b.erase(pos, count);
    }
    void InsertAt(unsigned long pos, const char* s) {
        if (s != nullptr && pos <= b.size())
            b.insert(pos, s);
    }
    bool Find(const char* s, unsigned long& pos) const {
        return test_support::RefFindFrom(b, s, pos);
    }
};

unsigned long Widen(long v) {
    return static_cast<unsigned long>(v);
}

std::string Bytes(const CString& s) {
    return std::string(s.GetString(), static_cast<std::size_t>(s.GetLength()));
}

// The piece [first, first + n) through the acceptance rule (which stops at a NUL).
std::string Piece(const std::string& b, std::size_t first, std::size_t n) {
    return RefAccept(b.substr(first, n).c_str());
}

bool InSet(const std::string& set, char c) {
    return set.find(c) != std::string::npos;
}

int Sign(int v) {
    return (v > 0) - (v < 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    CString s;
    Model m;
    // The start: validated text, or raw bytes through the buffer.
    if (in.Byte() % 2 == 0) {
        std::string const t = in.Text();
        s = t.c_str();
        m.b = RefAccept(t.c_str());
    } else {
        std::size_t const n = in.Byte() % 24;
        char* buffer = s.GetBufferSetLength(static_cast<int>(n));
        for (std::size_t i = 0; i < n; ++i)
            buffer[i] = static_cast<char>(in.Byte());
        m.b.assign(buffer, n);
    }
    Check(Bytes(s) == m.b);

    // Repeated replacements can grow the text geometrically; past a few pages the model's
    // quadratic search only slows the run down without reaching new code.
    for (int step = 0; step < 64 && !in.Done() && m.b.size() <= 4096; ++step) {
        long const len = static_cast<long>(m.b.size());
        switch (in.Byte() % 24) {
        case 0: { // Replace(char, char)
            char const o = static_cast<char>(in.Byte()), n = static_cast<char>(in.Byte());
            int count = 0;
            if (!m.b.empty() && o != 0 && n != 0 && o != n) {
                char const ot[2] = {o, 0}, nt[2] = {n, 0};
                for (unsigned long pos = 0; m.Find(ot, pos); ++count)
                    m.ReplaceAt(pos, nt, 1);
            }
            Check(s.Replace(o, n) == count);
            break;
        }
        case 1: { // Replace(text, text)
            std::string const o = in.Text(), n = in.Text();
            // Pairs whose replacement contains the searched text never end, by design.
            if (o.empty() || n.find(o) != std::string::npos)
                break;
            int count = 0;
            if (!m.b.empty())
                for (unsigned long pos = 0; m.Find(o.c_str(), pos); ++count) {
                    m.RemoveAt(pos, o.size());
                    m.InsertAt(pos, n.c_str());
                }
            Check(s.Replace(o.c_str(), n.c_str()) == count);
            break;
        }
        case 2: { // Remove
            char const c = static_cast<char>(in.Byte() % 4 == 0 ? 0 : in.Byte());
            int count = 0;
            if (!m.b.empty()) {
                char const t[2] = {c, 0};
                for (unsigned long pos = 0; m.Find(t, pos); ++count)
                    m.RemoveAt(pos, 1);
            }
            Check(s.Remove(c) == count);
            break;
        }
        case 3: { // Insert text
            int const pos = in.Number();
            std::string const t = in.Text();
            m.InsertAt(Widen(pos), t.c_str());
            Check(s.Insert(pos, t.c_str()) == static_cast<int>(m.b.size()));
            break;
        }
        case 4: { // Insert char
            int const pos = in.Number();
            char const c[2] = {static_cast<char>(in.Byte()), 0};
            m.InsertAt(Widen(pos), c);
            Check(s.Insert(pos, c[0]) == static_cast<int>(m.b.size()));
            break;
        }
        case 5: { // Delete
            int const pos = in.Number(), count = in.Number();
            m.RemoveAt(Widen(pos), Widen(count));
            Check(s.Delete(pos, count) == static_cast<int>(m.b.size()));
            break;
        }
        case 6: { // Find with a start
            std::string const t = in.Text();
            int const start = in.Number();
            unsigned long pos = Widen(start);
            int const expected = m.Find(t.c_str(), pos) ? static_cast<int>(pos) : -1;
            Check(s.Find(t.c_str(), start) == expected);
            break;
        }
        case 7: { // Mid
            int const first = in.Number();
            long const count = in.Number();
            long const from = first < 0 ? 0 : first;
            std::string expected;
            if (count >= 0 && from <= len)
                expected = Piece(m.b, static_cast<std::size_t>(from),
                                 static_cast<std::size_t>(std::min(len - from, count)));
            Check(Bytes(s.Mid(first, count)) == expected);
            break;
        }
        case 8: { // Left, Right
            long const n = in.Number();
            std::string const left = n < 1 ? "" : n >= len ? m.b : Piece(m.b, 0, n);
            std::string const right = n < 1 ? "" : n < len ? Piece(m.b, len - n, n) : m.b;
            Check(Bytes(s.Left(n)) == left && Bytes(s.Right(n)) == right);
            break;
        }
        case 9: { // TrimLeft / TrimRight with a set
            std::string const set = in.Text();
            bool const left = in.Byte() % 2 == 0;
            if (!set.empty()) {
                if (left) {
                    std::size_t run = 0;
                    while (run < m.b.size() && InSet(set, m.b[run]))
                        ++run;
                    m.b.erase(0, run);
                } else {
                    std::size_t keep = m.b.size();
                    while (keep > 0 && InSet(set, m.b[keep - 1]))
                        --keep;
                    m.b.erase(keep);
                }
            }
            if (left)
                s.TrimLeft(set.c_str());
            else
                s.TrimRight(set.c_str());
            break;
        }
        case 10: { // Trim of white space
            std::string const ws = "\r\n\t\b ";
            std::size_t run = 0;
            while (run < m.b.size() && InSet(ws, m.b[run]))
                ++run;
            m.b.erase(0, run);
            std::size_t keep = m.b.size();
            while (keep > 0 && InSet(ws, m.b[keep - 1]))
                --keep;
            m.b.erase(keep);
            s.Trim();
            break;
        }
        case 11: { // Tokenize until the end
            std::string const delims = in.Text();
            int pos = in.Number(), mpos = pos;
            for (int round = 0; round < 40; ++round) {
                std::string expected;
                if (mpos < 0) {
                    mpos = -1;
                } else if (delims.empty()) {
                    if (mpos < len) {
                        expected = Piece(m.b, mpos, len - mpos);
                        if (len - mpos >= len)
                            expected = m.b; // Right of the whole length is an exact copy
                        mpos = static_cast<int>(len);
                    } else {
                        mpos = -1;
                    }
                } else if (mpos >= len) {
                    mpos = -1;
                } else {
                    long i = mpos;
                    auto isDelim = [&](char c) {
                        return std::strchr(delims.c_str(), c) != nullptr;
                    };
                    while (i < len && isDelim(m.b[i]))
                        ++i;
                    if (i >= len) {
                        mpos = -1;
                    } else {
                        long const start = i;
                        while (i < len && !isDelim(m.b[i]))
                            ++i;
                        expected = RefAccept(m.b.substr(start, i - start).c_str());
                        mpos = static_cast<int>(i + 1);
                    }
                }
                Check(Bytes(s.Tokenize(delims.c_str(), pos)) == expected && pos == mpos);
                if (pos < 0)
                    break;
            }
            break;
        }
        case 12: // MakeLower
            m.b = RefConvert(m.b, true);
            s.MakeLower();
            break;
        case 13: // MakeUpper
            m.b = RefConvert(m.b, false);
            s.MakeUpper();
            break;
        case 14: { // append text
            std::string const t = in.Text();
            m.b += RefAccept(t.c_str());
            s += t.c_str();
            break;
        }
        case 15: { // append char
            char const c = static_cast<char>(in.Byte());
            if (c != 0)
                m.b += static_cast<unsigned char>(c) >= 0x80 ? '?' : c;
            s += c;
            break;
        }
        case 16: { // SetAt
            unsigned long const i = static_cast<unsigned char>(in.Byte()) % 32;
            char const c = static_cast<char>(in.Byte());
            char const t[2] = {static_cast<unsigned char>(c) >= 0x80 ? '?' : c, 0};
            m.ReplaceAt(i, t, 1);
            s.SetAt(i, c);
            break;
        }
        case 17: { // Truncate
            int const n = in.Number();
            bool threw = false;
            try {
                s.Truncate(n);
            } catch (int code) {
                threw = code == static_cast<int>(0x80070057u);
            }
            if (n < 0)
                Check(threw);
            else
                m.b.resize(static_cast<std::size_t>(n));
            break;
        }
        case 18: { // ReverseFind, FindOneOf
            char const c = static_cast<char>(in.Byte());
            std::string const set = in.Text();
            int reverse = -1;
            if (c != 0)
                for (long i = len - 1; i >= 0 && reverse < 0; --i)
                    if (m.b[i] == c)
                        reverse = static_cast<int>(i);
            int oneOf = -1;
            if (!m.b.empty())
                for (char member : set) {
                    char const t[2] = {member, 0};
                    unsigned long pos = 0;
                    if (m.Find(t, pos)) {
                        oneOf = static_cast<int>(pos);
                        break;
                    }
                }
            Check(s.ReverseFind(c) == reverse && s.FindOneOf(set.c_str()) == oneOf);
            break;
        }
        case 19: { // CompareNoCase, Compare
            std::string const t = in.Text();
            Check(Sign(s.CompareNoCase(t.c_str())) ==
                  Sign(std::strcmp(RefConvert(m.b, true).c_str(),
                                   RefConvert(RefAccept(t.c_str()), true).c_str())));
            Check(Sign(s.Compare(t.c_str())) == Sign(std::strcmp(m.b.c_str(), t.c_str())));
            break;
        }
        case 20: { // raw bytes through the buffer, then ReleaseBuffer(-1)
            std::size_t const n = in.Byte() % 24;
            char* buffer = s.GetBufferSetLength(static_cast<int>(n));
            m.b.resize(n);
            for (std::size_t i = 0; i < n; ++i)
                buffer[i] = m.b[i] = static_cast<char>(in.Byte());
            if (in.Byte() % 2 == 0) {
                s.ReleaseBuffer(-1);
                m.b.resize(std::strlen(m.b.c_str()));
            }
            break;
        }
        case 21: { // SpanIncluding
            std::string const set = in.Text();
            std::string expected;
            if (!set.empty() && !m.b.empty()) {
                long const n = static_cast<long>(std::strspn(m.b.c_str(), set.c_str()));
                expected = n < 1 ? "" : n >= len ? m.b : Piece(m.b, 0, n);
            }
            Check(Bytes(s.SpanIncluding(set.c_str())) == expected);
            break;
        }
        case 22: { // assignment of validated text
            std::string const t = in.Text();
            m.b = RefAccept(t.c_str());
            s = t.c_str();
            break;
        }
        default: { // copies and concatenation keep the bytes
            CString const copy(s);
            Check(copy == s && Bytes(copy + s) == m.b + m.b);
            break;
        }
        }
        Check(Bytes(s) == m.b);
    }
    return 0;
}
