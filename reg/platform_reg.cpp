// platform-reg: an operator's view of the registry files of an application directory, with the
// commands and the output layout of the Windows `reg` command, and of the profile functions on
// any INI file. Every read and write goes through CRegKey and the profile functions; the
// registry's own document is consulted only to enumerate keys and value names, so what this
// tool shows is what the applications themselves would read.
#include "reg/reg_text.h"

#include <platform/exception.h>
#include <platform/ini_file.h>
#include <platform/loader.h>
#include <platform/locations.h>
#include <platform/profile.h>
#include <platform/registry.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using reg_text::Failure;
using reg_text::kAccessDenied;
using reg_text::kFileNotFound;
using reg_text::kInvalidData;
using reg_text::kPathNotFound;
using reg_text::Type;
using reg_text::Value;

const char kUsage[] =
    "Usage:\n"
    "  platform-reg [--dir APPDIR] query  FILE KEY [/v NAME]\n"
    "  platform-reg [--dir APPDIR] add    FILE KEY [/v NAME [/t TYPE] [/d DATA]] [/f]\n"
    "  platform-reg [--dir APPDIR] delete FILE KEY [/v NAME] [/f]\n"
    "  platform-reg [--dir APPDIR] export FILE [KEY]\n"
    "  platform-reg profile get FILE SECTION KEY [DEFAULT]\n"
    "  platform-reg profile set FILE SECTION KEY VALUE\n"
    "  platform-reg --help\n"
    "\n"
    "FILE names a registry file in APPDIR/user_data/ (APPDIR defaults to this program's own\n"
    "directory); KEY is a key path such as Settings\\Network. TYPE is REG_SZ (the default),\n"
    "REG_DWORD (DATA decimal or 0x-hexadecimal, 0 when /d is left out) or REG_BINARY (DATA two\n"
    "hexadecimal digits a byte). One name can hold one value of each type. add without /v\n"
    "creates the key alone; add creates the registry file and APPDIR/user_data/ when missing.\n"
    "delete without /v deletes the key with all its subkeys. export writes the file, or KEY and\n"
    "its subkeys, in the .reg layout to standard output.\n"
    "\n"
    "add and delete ask before overwriting or deleting unless /f is given; without /f they\n"
    "refuse when standard input is not a terminal.\n"
    "\n"
    "profile reads or writes KEY in SECTION of the INI file FILE, a path taken as given\n"
    "(relative to the current directory); --dir does not apply to it. get prints the value, or\n"
    "DEFAULT when the section or key is missing.\n"
    "\n"
    "Exit status: 0 done; 2 value (or registry file) not found; 3 key or directory not found;\n"
    "5 not done: refused at the prompt, no terminal to ask on, or a file that could not be\n"
    "written; 13 bad arguments or data.\n";

// ---------------------------------------------------------------------------------------------
// Files and directories.

bool IsDirectory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool FileExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

std::string DataDir() {
    return zulplatform::GetDefaultAppDataDir().GetString();
}

std::string RegistryPath(const std::string& file) {
    return DataDir() + file;
}

// A registry file that exists but cannot be read as registry text would make CRegKey see an
// empty or partial key set and the save refuse silently: say so before acting on it.
void RequireReadableIfPresent(const std::string& file) {
    std::string const path = RegistryPath(file);
    if (!FileExists(path))
        return;
    CIniFile document;
    if (!document.Load(path.c_str()))
        throw Failure{kInvalidData, "the registry file " + path +
                                        " cannot be read or does not hold valid registry text"};
}

// The registry files live in the data directory, which nothing else creates.
void EnsureDataDir() {
    std::string const data = DataDir();
    if (IsDirectory(data))
        return;
    std::string const app = zulplatform::GetAppDir();
    if (!IsDirectory(app))
        throw Failure{kPathNotFound, "the application directory " + app + " does not exist"};
    if (mkdir(data.c_str(), 0777) != 0 && errno != EEXIST)
        throw Failure{kAccessDenied,
                      "cannot create the data directory " + data + ": " + std::strerror(errno)};
}

// ---------------------------------------------------------------------------------------------
// Keys and values through CRegKey.

std::string KeyNotFound(const std::string& file, const std::string& key) {
    std::string const path = RegistryPath(file);
    if (!FileExists(path))
        return "the registry file " + path + " does not exist (key " + key + ")";
    return "the key " + key + " does not exist in " + path;
}

void OpenKey(zulwin::CRegKey& reg, const std::string& file, const std::string& key) {
    int const rc = reg.Open(file.c_str(), key.c_str());
    if (rc == kPathNotFound)
        throw Failure{kPathNotFound, KeyNotFound(file, key)};
    if (rc != 0)
        throw Failure{rc, "cannot open the key " + key + " of " + RegistryPath(file)};
}

// Reads one typed value; false when the key holds no value of that name and type.
bool ReadValue(zulwin::CRegKey& reg, const std::string& name, Type type, Value& out) {
    out = Value{name, type, 0, std::string()};
    int rc = 0;
    unsigned int size = 0;
    switch (type) {
    case Type::Dword:
        rc = reg.QueryDWORDValue(name.c_str(), out.dword);
        break;
    case Type::String:
        rc = reg.QueryStringValue(name.c_str(), nullptr, &size);
        if (rc == 0) {
            std::vector<char> buffer(std::max(size, 2u));
            size = static_cast<unsigned int>(buffer.size());
            rc = reg.QueryStringValue(name.c_str(), buffer.data(), &size);
            if (rc == 0)
                out.data.assign(buffer.data());
        }
        break;
    case Type::Binary:
        rc = reg.QueryBinaryValue(name.c_str(), nullptr, &size);
        if (rc == 0) {
            std::vector<char> buffer(std::max(size, 1u));
            size = static_cast<unsigned int>(buffer.size());
            rc = reg.QueryBinaryValue(name.c_str(), buffer.data(), &size);
            if (rc == 0)
                out.data.assign(buffer.data(), size);
        }
        break;
    }
    if (rc == kFileNotFound)
        return false;
    if (rc != 0)
        throw Failure{rc, "cannot read the value " + reg_text::DisplayName(name)};
    return true;
}

// The values of `name` the key holds, one per type present, in the order a listing shows them.
std::vector<Value> ReadAllTypes(zulwin::CRegKey& reg, const std::string& name) {
    std::vector<Value> found;
    for (Type type : {Type::Binary, Type::Dword, Type::String}) {
        Value value;
        if (ReadValue(reg, name, type, value))
            found.push_back(value);
    }
    return found;
}

// The registry document of the file, for enumerating keys and value names.
std::unique_ptr<zulwin::_CIniFileMapping> MapFile(const std::string& file) {
    std::unique_ptr<zulwin::_CIniFileMapping> mapping(zulwin::_GetIniFileMapping(file.c_str()));
    if (!mapping)
        throw Failure{kAccessDenied, "cannot read " + RegistryPath(file)};
    return mapping;
}

std::vector<std::string> Sections(const CIniFile& document) {
    std::vector<char const*> names;
    document.QuerySections(names);
    return std::vector<std::string>(names.begin(), names.end());
}

// The typed value names of a key, in the document's order; entries without a type tag are not
// registry values and are left out.
std::vector<std::pair<std::string, Type>> ValueNames(const CIniFile& document,
                                                     const std::string& key) {
    std::vector<char const*> entries;
    document.QueryKeys(key.c_str(), entries);
    std::vector<std::pair<std::string, Type>> names;
    for (char const* entry : entries) {
        std::string name;
        Type type;
        if (reg_text::SplitEntryName(entry, name, type))
            names.emplace_back(name, type);
    }
    return names;
}

// Every value of the key, read through CRegKey.
std::vector<Value> KeyValues(const std::string& file, const CIniFile& document,
                             const std::string& key) {
    zulwin::CRegKey reg;
    OpenKey(reg, file, key);
    std::vector<Value> values;
    for (auto const& [name, type] : ValueNames(document, key)) {
        Value value;
        if (ReadValue(reg, name, type, value))
            values.push_back(value);
    }
    reg.Close();
    return values;
}

// The document's spelling of `key` and of every key below it, the key first.
std::vector<std::string> KeyTree(const CIniFile& document, const std::string& key) {
    std::vector<std::string> tree;
    for (const std::string& section : Sections(document))
        if (reg_text::SameKey(section, key))
            tree.insert(tree.begin(), section);
        else if (reg_text::IsBelow(section, key))
            tree.push_back(section);
    return tree;
}

// ---------------------------------------------------------------------------------------------
// Asking the operator.

// True when the operator answers yes. Standard input that is not a terminal is refused rather
// than read: a script's input was not written as an answer to this question.
bool Confirm(const std::string& question) {
    if (isatty(STDIN_FILENO) == 0)
        throw Failure{kAccessDenied, question +
                                         ": standard input is not a terminal to ask on; give /f "
                                         "to go ahead without asking"};
    for (;;) {
        std::fprintf(stderr, "%s (Yes/No)? ", question.c_str());
        std::fflush(stderr);
        char line[256];
        if (std::fgets(line, sizeof line, stdin) == nullptr)
            return false;
        switch (reg_text::ParseAnswer(line)) {
        case reg_text::Answer::Yes:
            return true;
        case reg_text::Answer::No:
            return false;
        case reg_text::Answer::Unclear:
            break;
        }
    }
}

void ConfirmOrCancel(bool force, const std::string& question) {
    if (!force && !Confirm(question))
        throw Failure{kAccessDenied, "cancelled at the prompt; nothing was changed"};
}

void Done() {
    std::printf("The operation completed successfully.\n");
}

// ---------------------------------------------------------------------------------------------
// Commands.

struct Args {
    std::vector<std::string> positional;
    std::string name, type, data;
    bool hasName = false, hasType = false, hasData = false, force = false;
};

// Splits the command's arguments into positional ones and the /v /t /d /f switches (also
// written with "-" or in capitals).
Args ParseSwitches(const std::vector<std::string>& argv, const char* allowed) {
    Args args;
    for (std::size_t i = 0; i < argv.size(); ++i) {
        const std::string& a = argv[i];
        char const option = reg_text::SwitchLetter(a);
        if (option == 0) {
            args.positional.push_back(a);
            continue;
        }
        if (std::strchr(allowed, option) == nullptr)
            throw Failure{kInvalidData, "the switch " + a + " does not belong to this command"};
        if (option == 'f') {
            args.force = true;
            continue;
        }
        if (i + 1 == argv.size())
            throw Failure{kInvalidData, "the switch " + a + " needs a value"};
        std::string& target = option == 'v' ? args.name : option == 't' ? args.type : args.data;
        bool& seen = option == 'v' ? args.hasName : option == 't' ? args.hasType : args.hasData;
        if (seen)
            throw Failure{kInvalidData, "the switch " + a + " is given twice"};
        seen = true;
        target = argv[++i];
    }
    return args;
}

void RequirePositional(const Args& args, std::size_t least, std::size_t most, const char* what) {
    if (args.positional.size() < least || args.positional.size() > most)
        throw Failure{kInvalidData, std::string("usage: ") + what};
}

std::string CheckedFile(const std::string& file) {
    std::string problem;
    if (!reg_text::ValidFileName(file, problem))
        throw Failure{kInvalidData, problem};
    return file;
}

std::string CheckedKey(const std::string& key) {
    std::string normal, problem;
    if (!reg_text::NormaliseKey(key, normal, problem))
        throw Failure{kInvalidData, problem};
    return normal;
}

std::string CheckedName(const std::string& name) {
    std::string problem;
    if (!reg_text::ValidValueName(name, problem))
        throw Failure{kInvalidData, problem};
    return name;
}

int Query(const std::vector<std::string>& argv) {
    Args const args = ParseSwitches(argv, "v");
    RequirePositional(args, 2, 2, "query FILE KEY [/v NAME]");
    std::string const file = CheckedFile(args.positional[0]);
    std::string const key = CheckedKey(args.positional[1]);
    std::vector<Value> values;
    std::vector<std::string> subkeys;
    if (args.hasName) {
        zulwin::CRegKey reg;
        OpenKey(reg, file, key);
        values = ReadAllTypes(reg, args.name);
        reg.Close();
        if (values.empty())
            throw Failure{kFileNotFound, "the key " + key + " holds no value named " +
                                             reg_text::DisplayName(args.name)};
    } else {
        auto const mapping = MapFile(file);
        values = KeyValues(file, mapping->ini, key);
        for (const std::string& section : Sections(mapping->ini))
            if (reg_text::IsChild(section, key))
                subkeys.push_back(section);
    }
    std::fputs(reg_text::FormatQuery(key, values, subkeys).c_str(), stdout);
    return 0;
}

int Add(const std::vector<std::string>& argv) {
    Args const args = ParseSwitches(argv, "vtdf");
    RequirePositional(args, 2, 2, "add FILE KEY [/v NAME [/t TYPE] [/d DATA]] [/f]");
    std::string const file = CheckedFile(args.positional[0]);
    std::string const key = CheckedKey(args.positional[1]);
    if (!args.hasName && (args.hasType || args.hasData))
        throw Failure{kInvalidData, "/t and /d need the value's name: /v NAME"};
    Value value;
    if (args.hasName) {
        value.name = CheckedName(args.name);
        std::string problem;
        if (!reg_text::ParseType(args.hasType ? args.type : "REG_SZ", value.type, problem) ||
            !reg_text::ParseData(value.type, args.hasData, args.data, value, problem))
            throw Failure{kInvalidData, problem};
    }
    EnsureDataDir();
    RequireReadableIfPresent(file);
    // Asked before anything is created, so that a refusal leaves no new key behind either.
    if (args.hasName) {
        zulwin::CRegKey existing;
        Value old;
        bool const exists = existing.Open(file.c_str(), key.c_str()) == 0 &&
                            ReadValue(existing, value.name, value.type, old);
        existing.Close();
        if (exists)
            ConfirmOrCancel(args.force, "The value " + reg_text::DisplayName(value.name) + " (" +
                                            reg_text::TypeName(value.type) + ") exists in " + key +
                                            "; overwrite it");
    }
    zulwin::CRegKey reg;
    reg.Create(file.c_str(), key.c_str());
    if (args.hasName) {
        switch (value.type) {
        case Type::Dword:
            reg.SetDWORDValue(value.name.c_str(), value.dword);
            break;
        case Type::String:
            reg.SetStringValue(value.name.c_str(), value.data.c_str());
            break;
        case Type::Binary:
            reg.SetBinaryValue(value.name.c_str(), value.data.data(), value.data.size());
            break;
        }
    }
    reg.Close();

    // A save that fails is silent: read the file again to know.
    zulwin::CRegKey check;
    Value stored;
    bool const saved =
        check.Open(file.c_str(), key.c_str()) == 0 &&
        (!args.hasName || (ReadValue(check, value.name, value.type, stored) && stored == value));
    check.Close();
    if (!saved)
        throw Failure{kAccessDenied, "the change could not be saved to " + RegistryPath(file)};
    Done();
    return 0;
}

// Removes sections or entries through the profile functions, which save the file at once.
void RemoveEntry(const std::string& path, const std::string& section, const char* entry) {
    zulwin::WritePrivateProfileString(section.c_str(), entry, nullptr, path.c_str());
}

int Delete(const std::vector<std::string>& argv) {
    Args const args = ParseSwitches(argv, "vf");
    RequirePositional(args, 2, 2, "delete FILE KEY [/v NAME] [/f]");
    std::string const file = CheckedFile(args.positional[0]);
    std::string const key = CheckedKey(args.positional[1]);
    std::string const path = RegistryPath(file);
    RequireReadableIfPresent(file);
    zulwin::CRegKey reg;
    OpenKey(reg, file, key);
    bool gone = false;
    if (args.hasName) {
        std::vector<Value> const values = ReadAllTypes(reg, args.name);
        reg.Close();
        if (values.empty())
            throw Failure{kFileNotFound, "the key " + key + " holds no value named " +
                                             reg_text::DisplayName(args.name)};
        ConfirmOrCancel(args.force,
                        "Delete the value " + reg_text::DisplayName(args.name) + " of " + key);
        for (const Value& v : values)
            RemoveEntry(path, key, reg_text::EntryName(v.name, v.type).c_str());
        OpenKey(reg, file, key);
        gone = ReadAllTypes(reg, args.name).empty();
        reg.Close();
    } else {
        reg.Close();
        ConfirmOrCancel(args.force, "Delete the key " + key + " with all its subkeys");
        std::vector<std::string> tree = KeyTree(MapFile(file)->ini, key);
        // The deepest keys go first, so that an interrupted delete still leaves the key itself
        // and running it again finishes the work.
        std::reverse(tree.begin() + 1, tree.end());
        std::rotate(tree.begin(), tree.begin() + 1, tree.end());
        for (const std::string& section : tree)
            RemoveEntry(path, section, nullptr);
        gone = KeyTree(MapFile(file)->ini, key).empty();
    }
    if (!gone)
        throw Failure{kAccessDenied, "the change could not be saved to " + path};
    Done();
    return 0;
}

int Export(const std::vector<std::string>& argv) {
    Args const args = ParseSwitches(argv, "");
    RequirePositional(args, 1, 2, "export FILE [KEY]");
    std::string const file = CheckedFile(args.positional[0]);
    std::string const path = RegistryPath(file);
    if (!FileExists(path))
        throw Failure{kFileNotFound, "the registry file " + path + " does not exist"};
    RequireReadableIfPresent(file);
    auto const mapping = MapFile(file);
    std::vector<std::string> sections;
    if (args.positional.size() == 2) {
        std::string const key = CheckedKey(args.positional[1]);
        sections = KeyTree(mapping->ini, key);
        if (sections.empty())
            throw Failure{kPathNotFound, KeyNotFound(file, key)};
    } else {
        sections = Sections(mapping->ini);
    }
    std::string out = reg_text::kExportHeader;
    for (const std::string& section : sections)
        if (!section.empty())
            out += reg_text::FormatExportKey(section, KeyValues(file, mapping->ini, section));
    std::fputs(out.c_str(), stdout);
    return 0;
}

int Profile(const std::vector<std::string>& argv) {
    if (argv.empty())
        throw Failure{kInvalidData, "usage: profile get|set FILE SECTION KEY ..."};
    std::vector<std::string> const rest(argv.begin() + 1, argv.end());
    if (argv[0] == "get") {
        if (rest.size() < 3 || rest.size() > 4)
            throw Failure{kInvalidData, "usage: profile get FILE SECTION KEY [DEFAULT]"};
        const std::string& file = rest[0];
        if (rest.size() == 3 && !FileExists(file))
            throw Failure{kFileNotFound, "the file " + file + " does not exist"};
        char const* fallback = rest.size() == 4 ? rest[3].c_str() : "";
        // The function cuts the value to the buffer; grow it until the value fits.
        for (unsigned long size = 256;; size *= 4) {
            std::vector<char> buffer(size);
            unsigned long const n = zulwin::GetPrivateProfileString(
                rest[1].c_str(), rest[2].c_str(), fallback, buffer.data(), size, file.c_str());
            if (n + 1 < size) {
                std::printf("%s\n", buffer.data());
                return 0;
            }
        }
    }
    if (argv[0] == "set") {
        if (rest.size() != 4)
            throw Failure{kInvalidData, "usage: profile set FILE SECTION KEY VALUE"};
        const std::string& file = rest[0];
        std::string problem;
        if (!reg_text::ValidProfileText(rest[1], rest[2], rest[3], problem))
            throw Failure{kInvalidData, problem};
        std::string const dir = file.find('/') == std::string::npos
                                    ? std::string(".")
                                    : file.substr(0, file.rfind('/') + 1);
        if (!IsDirectory(dir))
            throw Failure{kPathNotFound, "the directory " + dir + " does not exist"};
        zulwin::WritePrivateProfileString(rest[1].c_str(), rest[2].c_str(), rest[3].c_str(),
                                          file.c_str());
        // The write reports nothing: a file it could not save keeps its old value.
        std::string const sentinel = rest[3] + "\x01";
        std::vector<char> buffer(rest[3].size() + 3);
        zulwin::GetPrivateProfileString(rest[1].c_str(), rest[2].c_str(), sentinel.c_str(),
                                        buffer.data(), buffer.size(), file.c_str());
        if (rest[3] != buffer.data())
            throw Failure{kAccessDenied, "the value could not be saved to " + file +
                                             " (no permission, or the file is not valid INI "
                                             "text)"};
        return 0;
    }
    throw Failure{kInvalidData, "profile takes get or set, not " + argv[0]};
}

int Run(std::vector<std::string> argv) {
    for (const std::string& a : argv)
        if (a == "--help" || a == "-h" || a == "/?") {
            std::fputs(kUsage, stdout);
            return 0;
        }
    if (!argv.empty() && (argv[0] == "--dir" || argv[0].rfind("--dir=", 0) == 0)) {
        std::string dir;
        if (argv[0] == "--dir") {
            if (argv.size() < 2 || argv[1].empty())
                throw Failure{kInvalidData, "--dir needs the application directory"};
            dir = argv[1];
            argv.erase(argv.begin(), argv.begin() + 2);
        } else {
            dir = argv[0].substr(6);
            argv.erase(argv.begin());
        }
        if (!IsDirectory(dir))
            throw Failure{kPathNotFound, "the application directory " + dir + " does not exist"};
        if (!zulplatform::SetAppDir(dir.c_str()))
            throw Failure{kInvalidData, "cannot use " + dir + " as the application directory"};
    }
    if (argv.empty())
        throw Failure{kInvalidData, "no command given (see platform-reg --help)"};
    std::string command = argv[0];
    std::transform(command.begin(), command.end(), command.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    std::vector<std::string> const rest(argv.begin() + 1, argv.end());
    if (command == "query")
        return Query(rest);
    if (command == "add")
        return Add(rest);
    if (command == "delete")
        return Delete(rest);
    if (command == "export")
        return Export(rest);
    if (command == "profile")
        return Profile(rest);
    throw Failure{kInvalidData, "unknown command " + argv[0] + " (see platform-reg --help)"};
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const Failure& failure) {
        std::fprintf(stderr, "ERROR: %s\n", failure.message.c_str());
        return failure.code;
    } catch (const zulplatform::CException& e) {
        std::fprintf(stderr,
                     "ERROR: the file layer failed (%s, code %d); nothing may have "
                     "been saved\n",
                     e.GetCode() == 11 ? "the file is held by another writer" : "write error",
                     e.GetCode());
        return kAccessDenied;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "ERROR: %s\n", e.what());
        return kAccessDenied;
    }
}
