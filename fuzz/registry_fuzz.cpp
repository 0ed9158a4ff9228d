// Registry values read back through CRegKey from a registry file holding the fuzz input as it
// stands (any encoding the INI loader takes). Every typed entry of every key is queried and
// compared with a plain decoding of its text; when the whole file parses, each value is then
// changed, flushed, and must read back as written after the key is opened again.
#include <platform/ini_file.h>
#include <platform/locations.h>
#include <platform/registry.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <vector>

using zulwin::CRegKey;

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

// The registry file of this process, below the application data directory (which nothing
// else creates), removed when the fuzzer exits.
const std::string& FileName() {
    static const std::string name = [] {
        std::string const dir = zulplatform::GetDefaultAppDataDir().GetString();
        mkdir(dir.c_str(), 0770);
        std::string const name = "registry-fuzz-" + std::to_string(getpid());
        static std::string path;
        path = dir + name;
        std::atexit([] { std::remove(path.c_str()); });
        return name;
    }();
    return name;
}

std::string FilePath() {
    return std::string(zulplatform::GetDefaultAppDataDir().GetString()) + FileName();
}

bool EndsWithNoCase(const std::string& s, const char* tag, std::string& stem) {
    std::size_t const n = std::strlen(tag);
    if (s.size() < n || strcasecmp(s.c_str() + s.size() - n, tag) != 0)
        return false;
    stem = s.substr(0, s.size() - n);
    return true;
}

bool AllDigits(const std::string& s) {
    if (s.empty())
        return false;
    for (char c : s)
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
    return true;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

struct Value {
    std::string key, stem, text;
    enum { dword, string, binary } type;
};

void CheckDword(CRegKey& key, const Value& v) {
    unsigned int got = 0;
    Check(key.QueryDWORDValue(v.stem.c_str(), got) == 0);
    if (AllDigits(v.text)) {
        unsigned long long expected = 0;
        for (char c : v.text)
            expected = std::min<unsigned long long>(expected * 10 + (c - '0'), 0xFFFFFFFFull);
        Check(got == expected);
    }
}

void CheckString(CRegKey& key, const Value& v) {
    unsigned int size = 0;
    Check(key.QueryStringValue(v.stem.c_str(), nullptr, &size) == 0);
    Check(size == v.text.size() + 1);
    std::vector<char> buffer(size + 1, '\x7f');
    unsigned int room = size;
    if (room >= 2) {
        Check(key.QueryStringValue(v.stem.c_str(), buffer.data(), &room) == 0);
        Check(room == size && std::strcmp(buffer.data(), v.text.c_str()) == 0);
        Check(buffer[size] == '\x7f');
    }
    room = size - 1;
    if (room >= 2) {
        Check(key.QueryStringValue(v.stem.c_str(), buffer.data(), &room) == 234);
        Check(room == size);
    }
}

std::vector<unsigned char> CheckBinary(CRegKey& key, const Value& v) {
    unsigned int n = 12345;
    Check(key.QueryBinaryValue(v.stem.c_str(), nullptr, &n) == 0);
    Check(n == v.text.size() / 2);
    std::vector<unsigned char> buffer(n + 1, 0xEE);
    if (n > 0) {
        unsigned int small = n - 1;
        Check(key.QueryBinaryValue(v.stem.c_str(), buffer.data(), &small) == 234);
        Check(small == n && buffer[0] == 0xEE);
    }
    unsigned int got = n;
    Check(key.QueryBinaryValue(v.stem.c_str(), buffer.data(), &got) == 0);
    Check(got <= n && buffer[n] == 0xEE);
    // Pairs of hexadecimal digits decode as such; the first pair that is not stops the decoding
    // somewhere at or before it.
    std::size_t i = 0;
    for (; i < n; ++i) {
        int const hi = HexDigit(v.text[2 * i]), lo = HexDigit(v.text[2 * i + 1]);
        if (hi < 0 || lo < 0)
            break;
        Check(i < got && buffer[i] == hi * 16 + lo);
    }
    if (i == n)
        Check(got == n);
    buffer.resize(got);
    return buffer;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string const path = FilePath();
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
    CIniFile ini;
    bool const parses = ini.Load(path.c_str());
    std::vector<Value> values;
    std::vector<const char*> sections;
    ini.QuerySections(sections);
    for (const char* section : sections) {
        std::vector<const char*> keys;
        ini.QueryKeys(section, keys);
        for (const char* name : keys) {
            Value v;
            v.key = section;
            zulwin::CString text;
            Check(ini.ReadValue(section, name, text));
            v.text = text.GetString();
            if (EndsWithNoCase(name, "@DWORD", v.stem))
                v.type = Value::dword;
            else if (EndsWithNoCase(name, "@STRING", v.stem))
                v.type = Value::string;
            else if (EndsWithNoCase(name, "@BINARY", v.stem))
                v.type = Value::binary;
            else
                continue;
            values.push_back(v);
        }
    }

    for (const Value& v : values) {
        CRegKey key;
        Check(key.Open(FileName().c_str(), v.key.c_str()) == 0);
        std::vector<unsigned char> bytes;
        if (v.type == Value::dword)
            CheckDword(key, v);
        else if (v.type == Value::string)
            CheckString(key, v);
        else
            bytes = CheckBinary(key, v);
        if (!parses)
            continue;

        // Changed values, flushed to the file, must read back as written.
        unsigned int dword = 0;
        key.QueryDWORDValue(v.stem.c_str(), dword);
        std::string const text = v.text + "x";
        bytes.push_back(0xA5);
        Check(key.SetDWORDValue(v.stem.c_str(), dword + 1) == 0);
        Check(key.SetStringValue(v.stem.c_str(), text.c_str()) == 0);
        Check(key.SetBinaryValue(v.stem.c_str(), bytes.data(), bytes.size()) == 0);
        Check(key.Flush() == 0);
        Check(key.Close() == 0);

        CRegKey again;
        Check(again.Open(FileName().c_str(), v.key.c_str()) == 0);
        unsigned int dwordBack = 0;
        Check(again.QueryDWORDValue(v.stem.c_str(), dwordBack) == 0 && dwordBack == dword + 1);
        std::vector<char> textBack(text.size() + 2);
        unsigned int room = static_cast<unsigned int>(textBack.size());
        Check(again.QueryStringValue(v.stem.c_str(), textBack.data(), &room) == 0);
        Check(text == textBack.data());
        std::vector<unsigned char> bytesBack(bytes.size());
        unsigned int n = static_cast<unsigned int>(bytesBack.size());
        Check(again.QueryBinaryValue(v.stem.c_str(), bytesBack.data(), &n) == 0);
        Check(n == bytes.size() && bytesBack == bytes);
        break; // one rewrite an input is enough; the file has changed under the others
    }
    return 0;
}
