// The text side of platform-reg, apart from any file: checking what the operator typed against
// what the registry's text form can hold, parsing value data, and laying out the output the way
// the Windows `reg` command does.
#pragma once

#include <string>
#include <vector>

namespace reg_text {

/// Exit statuses: the registry's result codes, plus 5 for a change that was not made (refused
/// at the prompt, no terminal to ask on, or a save that did not happen).
constexpr int kFileNotFound = 2;
constexpr int kPathNotFound = 3;
constexpr int kAccessDenied = 5;
constexpr int kInvalidData = 13;

/// Thrown inside the tool; `main` prints the message on standard error and exits with `code`.
struct Failure {
    int code;
    std::string message;
};

enum class Type { Dword, String, Binary };

/// One value: `dword` for REG_DWORD, `data` (the string, or the bytes) for the others.
struct Value {
    std::string name;
    Type type = Type::String;
    unsigned int dword = 0;
    std::string data;

    bool operator==(const Value& other) const;
};

/// "REG_DWORD", "REG_SZ", "REG_BINARY".
const char* TypeName(Type type);
/// The document's entry name of a value: the name followed by its type tag.
std::string EntryName(const std::string& name, Type type);
/// Splits an entry name at its last "@" into the value name and a known type tag (matched
/// without regard to case); false for entries that are not registry values.
bool SplitEntryName(const std::string& entry, std::string& name, Type& type);
/// "(Default)" for the empty name, else the name.
std::string DisplayName(const std::string& name);

/// The registry file name must stay inside the data directory: no "/", not "." or "..".
bool ValidFileName(const std::string& file, std::string& problem);
/// "A\\B\\" and "\\A\\B" become "A\\B"; empty paths, "]" (which would end the section header
/// early) and control characters are refused.
bool NormaliseKey(const std::string& key, std::string& normal, std::string& problem);
/// Refuses names the text form would not read back: leading white space, "=", a leading
/// ";", "#" or "[", control characters.
bool ValidValueName(const std::string& name, std::string& problem);
/// REG_DWORD, REG_SZ or REG_BINARY, in any letter case.
bool ParseType(const std::string& text, Type& type, std::string& problem);
/// Fills `value.dword` or `value.data` from the /d text: REG_DWORD decimal or "0x" hexadecimal
/// up to 0xffffffff (0 when /d is absent), REG_BINARY pairs of hexadecimal digits, REG_SZ the
/// text itself when the text form keeps it exactly (no leading or trailing white space, no
/// control characters).
bool ParseData(Type type, bool given, const std::string& text, Value& value, std::string& problem);
/// The same limits for a profile write: a non-empty section without "]", a key that is a valid
/// value name and not empty, a value the text form keeps.
bool ValidProfileText(const std::string& section, const std::string& key, const std::string& value,
                      std::string& problem);

/// Same key, without regard to case.
bool SameKey(const std::string& a, const std::string& b);
/// `key` lies below `parent` at any depth.
bool IsBelow(const std::string& key, const std::string& parent);
/// `key` lies directly below `parent`.
bool IsChild(const std::string& key, const std::string& parent);

/// 'v', 't', 'd' or 'f' for the switches /v, -v, /V, ...; 0 for anything else.
char SwitchLetter(const std::string& arg);

enum class Answer { Yes, No, Unclear };
/// y, yes, n, no in any case, surrounding white space ignored.
Answer ParseAnswer(const std::string& line);

/// One value line: four spaces, name, four spaces, type, four spaces, data.
std::string FormatValueLine(const Value& value);
/// A blank line, the key, its values, a blank line; then the subkeys, one a line.
std::string FormatQuery(const std::string& key, const std::vector<Value>& values,
                        const std::vector<std::string>& subkeys);

/// The first line of an export and the blank line after it.
extern const char kExportHeader[];
/// "[KEY]", one line per value ("name"="text", "name"=dword:0000002a, "name"=hex:01,ab; @ for
/// the unnamed value), a blank line.
std::string FormatExportKey(const std::string& key, const std::vector<Value>& values);

} // namespace reg_text
