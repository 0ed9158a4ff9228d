#include "reg/reg_text.h"

#include <platform/cstring.h>

#include <cctype>
#include <cstdio>
#include <cstring>

namespace reg_text {
namespace {

struct TypeInfo {
    Type type;
    const char* name;
    const char* tag;
};

constexpr TypeInfo kTypes[] = {
    {Type::Dword, "REG_DWORD", "DWORD"},
    {Type::String, "REG_SZ", "STRING"},
    {Type::Binary, "REG_BINARY", "BINARY"},
};

const TypeInfo& Info(Type type) {
    for (const TypeInfo& info : kTypes)
        if (info.type == type)
            return info;
    return kTypes[1];
}

// Case-insensitive like the document itself, so that the tool finds what CRegKey finds.
bool EqualNoCase(const std::string& a, const std::string& b) {
    return zulwin::CString(a.c_str()).CompareNoCase(b.c_str()) == 0;
}

bool HasControl(const std::string& text) {
    for (unsigned char c : text)
        if (c < 0x20 || c == 0x7f)
            return true;
    return false;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

std::string Hex(const std::string& bytes, const char* separator, bool upper) {
    std::string out;
    char pair[3];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0)
            out += separator;
        std::snprintf(pair, sizeof pair, upper ? "%02X" : "%02x",
                      static_cast<unsigned char>(bytes[i]));
        out += pair;
    }
    return out;
}

// A .reg string: backslash and quote escaped.
std::string Quoted(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        if (c == '\\' || c == '"')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

} // namespace

bool Value::operator==(const Value& other) const {
    return name == other.name && type == other.type && dword == other.dword && data == other.data;
}

const char* TypeName(Type type) {
    return Info(type).name;
}

std::string EntryName(const std::string& name, Type type) {
    return name + "@" + Info(type).tag;
}

bool SplitEntryName(const std::string& entry, std::string& name, Type& type) {
    std::size_t const at = entry.rfind('@');
    if (at == std::string::npos)
        return false;
    for (const TypeInfo& info : kTypes)
        if (EqualNoCase(entry.substr(at + 1), info.tag)) {
            name = entry.substr(0, at);
            type = info.type;
            return true;
        }
    return false;
}

std::string DisplayName(const std::string& name) {
    return name.empty() ? "(Default)" : name;
}

bool ValidFileName(const std::string& file, std::string& problem) {
    if (file.empty() || file == "." || file == ".." || file.find('/') != std::string::npos ||
        HasControl(file)) {
        problem = "the registry file must be a plain file name in the data directory, not \"" +
                  file + "\"";
        return false;
    }
    return true;
}

bool NormaliseKey(const std::string& key, std::string& normal, std::string& problem) {
    if (HasControl(key) || key.find(']') != std::string::npos) {
        problem = "a key path holds no control characters and no \"]\"";
        return false;
    }
    normal.clear();
    std::size_t start = 0;
    while (start <= key.size()) {
        std::size_t end = key.find('\\', start);
        if (end == std::string::npos)
            end = key.size();
        if (end > start) {
            if (!normal.empty())
                normal += '\\';
            normal.append(key, start, end - start);
        }
        start = end + 1;
    }
    if (normal.empty()) {
        problem = "the key path is empty";
        return false;
    }
    return true;
}

bool ValidValueName(const std::string& name, std::string& problem) {
    if (HasControl(name) || name.find('=') != std::string::npos ||
        (!name.empty() && (IsBlank(name[0]) || std::strchr(";#[", name[0]) != nullptr))) {
        problem = "the value name \"" + name +
                  "\" cannot be stored: no \"=\", no control characters, and no white space, "
                  "\";\", \"#\" or \"[\" at its start";
        return false;
    }
    return true;
}

bool ParseType(const std::string& text, Type& type, std::string& problem) {
    for (const TypeInfo& info : kTypes)
        if (EqualNoCase(text, info.name)) {
            type = info.type;
            return true;
        }
    problem = "the type " + text + " is not one of REG_SZ, REG_DWORD, REG_BINARY";
    return false;
}

bool ParseData(Type type, bool given, const std::string& text, Value& value, std::string& problem) {
    value.type = type;
    value.dword = 0;
    value.data.clear();
    switch (type) {
    case Type::Dword: {
        if (!given)
            return true;
        bool const hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
        unsigned long long number = 0;
        bool ok = text.size() > (hex ? 2u : 0u);
        for (std::size_t i = hex ? 2 : 0; ok && i < text.size(); ++i) {
            int const digit =
                hex ? HexDigit(text[i]) : (text[i] >= '0' && text[i] <= '9' ? text[i] - '0' : -1);
            ok = digit >= 0;
            number = number * (hex ? 16 : 10) + static_cast<unsigned>(digit);
            ok = ok && number <= 0xffffffffULL;
        }
        if (!ok) {
            problem = "REG_DWORD data is a number from 0 to 4294967295, in decimal or 0x "
                      "hexadecimal, not \"" +
                      text + "\"";
            return false;
        }
        value.dword = static_cast<unsigned int>(number);
        return true;
    }
    case Type::Binary:
        for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
            int const high = HexDigit(text[i]);
            int const low = HexDigit(text[i + 1]);
            if (high < 0 || low < 0)
                break;
            value.data += static_cast<char>(high * 16 + low);
        }
        if (value.data.size() * 2 != text.size()) {
            problem = "REG_BINARY data is pairs of hexadecimal digits, not \"" + text + "\"";
            return false;
        }
        return true;
    case Type::String:
        if (HasControl(text) ||
            (!text.empty() && (IsBlank(text.front()) || IsBlank(text.back())))) {
            problem = "REG_SZ data cannot be stored with control characters or with white "
                      "space at its start or end";
            return false;
        }
        value.data = text;
        return true;
    }
    return false;
}

bool ValidProfileText(const std::string& section, const std::string& key, const std::string& value,
                      std::string& problem) {
    if (section.empty() || HasControl(section) || section.find(']') != std::string::npos) {
        problem = "the section name must not be empty nor hold \"]\" or control characters";
        return false;
    }
    if (key.empty() || IsBlank(key.back())) {
        problem = "the key name must not be empty nor end in white space";
        return false;
    }
    if (!ValidValueName(key, problem))
        return false;
    Value ignored;
    return ParseData(Type::String, true, value, ignored, problem);
}

bool SameKey(const std::string& a, const std::string& b) {
    return EqualNoCase(a, b);
}

bool IsBelow(const std::string& key, const std::string& parent) {
    return key.size() > parent.size() + 1 && key[parent.size()] == '\\' &&
           EqualNoCase(key.substr(0, parent.size()), parent);
}

bool IsChild(const std::string& key, const std::string& parent) {
    return IsBelow(key, parent) && key.find('\\', parent.size() + 1) == std::string::npos;
}

char SwitchLetter(const std::string& arg) {
    if (arg.size() != 2 || (arg[0] != '/' && arg[0] != '-'))
        return 0;
    char const letter = static_cast<char>(std::tolower(static_cast<unsigned char>(arg[1])));
    return std::strchr("vtdf", letter) != nullptr ? letter : 0;
}

Answer ParseAnswer(const std::string& line) {
    std::size_t begin = 0, end = line.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(line[begin])))
        ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(line[end - 1])))
        --end;
    std::string const word = line.substr(begin, end - begin);
    if (EqualNoCase(word, "y") || EqualNoCase(word, "yes"))
        return Answer::Yes;
    if (EqualNoCase(word, "n") || EqualNoCase(word, "no"))
        return Answer::No;
    return Answer::Unclear;
}

std::string FormatValueLine(const Value& value) {
    std::string data;
    switch (value.type) {
    case Type::Dword: {
        char number[16];
        std::snprintf(number, sizeof number, "0x%x", value.dword);
        data = number;
        break;
    }
    case Type::String:
        data = value.data;
        break;
    case Type::Binary:
        data = Hex(value.data, "", true);
        break;
    }
    return "    " + DisplayName(value.name) + "    " + TypeName(value.type) + "    " + data + "\n";
}

std::string FormatQuery(const std::string& key, const std::vector<Value>& values,
                        const std::vector<std::string>& subkeys) {
    std::string out = "\n" + key + "\n";
    for (const Value& value : values)
        out += FormatValueLine(value);
    out += "\n";
    for (const std::string& subkey : subkeys)
        out += subkey + "\n";
    return out;
}

const char kExportHeader[] = "Windows Registry Editor Version 5.00\n\n";

std::string FormatExportKey(const std::string& key, const std::vector<Value>& values) {
    std::string out = "[" + key + "]\n";
    for (const Value& value : values) {
        out += value.name.empty() ? std::string("@") : Quoted(value.name);
        out += "=";
        switch (value.type) {
        case Type::Dword: {
            char number[16];
            std::snprintf(number, sizeof number, "dword:%08x", value.dword);
            out += number;
            break;
        }
        case Type::String:
            out += Quoted(value.data);
            break;
        case Type::Binary:
            out += "hex:" + Hex(value.data, ",", false);
            break;
        }
        out += "\n";
    }
    return out + "\n";
}

} // namespace reg_text
