// CRegKey: registry keys as sections of an INI file in the application data directory, values
// as entries with a type tag.
#include <platform/locations.h>
#include <platform/registry.h>
#include <platform/safe_string.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace zulwin {

namespace {

enum : int {
    kSuccess = 0,
    kFileNotFound = 2,
    kPathNotFound = 3,
    kInvalidHandle = 6,
    kInvalidData = 13,
    kMoreData = 234,
};

} // namespace

namespace {

// Whether `path` names nothing at all, as opposed to something that could not be read.
bool IsMissing(char const* path) {
    struct stat st;
    return ::stat(path, &st) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

// Saves the key's document when it changed, unless the file it stands for could not be read
// when the key was made: that document lacks the file's other keys, and the save would drop
// them as soon as the file reads again.
void SaveChanges(_CIniFileMapping& mapping) {
    if (mapping.ini.IsModified() && !mapping.unreadable)
        mapping.ini.Save(mapping.filePath.GetString());
}

} // namespace

_CIniFileMapping* _GetIniFileMapping(char const* fileName) {
    auto* mapping = new _CIniFileMapping;
    mapping->filePath = zulplatform::GetDefaultAppDataDir() + fileName;
    char const* const path = mapping->filePath.GetString();
    mapping->unreadable = !mapping->ini.Load(path) && !IsMissing(path);
    return mapping;
}

CRegKey::CRegKey(char const* fileName) : m_mapping(_GetIniFileMapping(fileName)) {}

CRegKey::~CRegKey() noexcept(false) {
    Close();
}

int CRegKey::Open(char const* fileName, char const* keyPath, unsigned int) {
    Close();
    m_mapping = _GetIniFileMapping(fileName);
    if (m_mapping == nullptr)
        return kInvalidHandle;
    if (!m_mapping->ini.HasSection(keyPath)) {
        Close();
        return kPathNotFound;
    }
    m_mapping->keyPath = keyPath;
    return kSuccess;
}

int CRegKey::Create(char const* fileName, char const* keyPath) {
    Close();
    m_mapping = _GetIniFileMapping(fileName);
    if (m_mapping == nullptr)
        return kInvalidHandle;
    CString const path(keyPath);
    CString prefix;
    int pos = 0;
    for (CString part = path.Tokenize("\\", pos); pos >= 0; part = path.Tokenize("\\", pos)) {
        if (!prefix.IsEmpty())
            prefix += "\\";
        prefix += part;
        if (!m_mapping->ini.HasSection(prefix.GetString()))
            m_mapping->ini.WriteValue(prefix.GetString(), "", "");
    }
    m_mapping->keyPath = path;
    return kSuccess;
}

int CRegKey::Close() {
    if (m_mapping == nullptr)
        return kSuccess;
    // Released even when the save throws; the exception still reaches the caller.
    struct Release {
        _CIniFileMapping*& mapping;
        ~Release() {
            delete mapping;
            mapping = nullptr;
        }
    } release{m_mapping};
    SaveChanges(*m_mapping);
    return kSuccess;
}

int CRegKey::Flush() {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    SaveChanges(*m_mapping);
    return kSuccess;
}

int CRegKey::QueryDWORDValue(char const* name, unsigned int& value) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    if (name == nullptr)
        return kInvalidData;
    CString text;
    if (!m_mapping->ini.ReadValue(m_mapping->keyPath.GetString(),
                                  (CString(name) + "@DWORD").GetString(), text))
        return kFileNotFound;
    value = _ttoui(text.GetString());
    return kSuccess;
}

int CRegKey::QueryStringValue(char const* name, char* buffer, unsigned int* size) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    if (size == nullptr || name == nullptr || (buffer != nullptr && *size < 2))
        return kInvalidData;
    CString text;
    if (!m_mapping->ini.ReadValue(m_mapping->keyPath.GetString(),
                                  (CString(name) + "@STRING").GetString(), text))
        return kFileNotFound;
    auto const length = static_cast<unsigned int>(text.GetLength());
    if (buffer != nullptr) {
        if (*size <= length) {
            *size = length + 1;
            return kMoreData;
        }
        std::memcpy(buffer, text.GetString(), length + 1);
    }
    *size = length + 1;
    return kSuccess;
}

int CRegKey::QueryBinaryValue(char const* name, void* buffer, unsigned int* size) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    if (name == nullptr || size == nullptr)
        return kInvalidData;
    CString text;
    if (!m_mapping->ini.ReadValue(m_mapping->keyPath.GetString(),
                                  (CString(name) + "@BINARY").GetString(), text))
        return kFileNotFound;
    auto const n = static_cast<unsigned int>(text.GetLength() / 2);
    if (buffer == nullptr) {
        *size = n;
        return kSuccess;
    }
    unsigned int const room = *size;
    *size = n;
    if (n > room)
        return kMoreData;
    auto* out = static_cast<unsigned char*>(buffer);
    char const* digits = text.GetString();
    for (unsigned int i = 0; i < n; ++i) {
        // Each pair on its own, so that a scan never reaches into the next pair.
        char const pair[3] = {digits[2 * i], digits[2 * i + 1], '\0'};
        unsigned int byte = 0;
        if (std::sscanf(pair, "%02x", &byte) != 1) {
            *size = i;
            break;
        }
        out[i] = static_cast<unsigned char>(byte);
    }
    return kSuccess;
}

int CRegKey::SetDWORDValue(char const* name, unsigned int value) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    char text[16];
    std::snprintf(text, sizeof text, "%u", value);
    m_mapping->ini.WriteValue(m_mapping->keyPath.GetString(),
                              (CString(name) + "@DWORD").GetString(), text);
    return kSuccess;
}

int CRegKey::SetStringValue(char const* name, char const* value) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    m_mapping->ini.WriteValue(m_mapping->keyPath.GetString(),
                              (CString(name) + "@STRING").GetString(), value);
    return kSuccess;
}

int CRegKey::SetBinaryValue(char const* name, void const* data, unsigned long length) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    static char const kDigits[] = "0123456789abcdef";
    std::string text;
    if (data != nullptr) {
        text.reserve(length * 2);
        auto const* bytes = static_cast<unsigned char const*>(data);
        for (unsigned long i = 0; i < length; ++i) {
            text += kDigits[bytes[i] >> 4];
            text += kDigits[bytes[i] & 0x0F];
        }
    }
    m_mapping->ini.WriteValue(m_mapping->keyPath.GetString(),
                              (CString(name) + "@BINARY").GetString(), text.c_str());
    return kSuccess;
}

int CRegKey::RecurseDeleteKey(char const* subKey) {
    if (m_mapping == nullptr)
        return kInvalidHandle;
    CString const path = m_mapping->keyPath + "\\" + subKey;
    CIniFile& ini = m_mapping->ini;
    if (!ini.HasSection(path.GetString()))
        return kFileNotFound;
    ini.RemoveValue(path.GetString(), nullptr);
    std::vector<char const*> names;
    ini.QuerySections(names);
    // The names point into the document, which the removals change: copy them first.
    std::vector<CString> doomed;
    for (char const* name : names) {
        if (CString(name).Find(path.GetString()) == 0)
            doomed.emplace_back(name);
    }
    for (CString const& name : doomed)
        ini.RemoveValue(name.GetString(), nullptr);
    return kSuccess;
}

} // namespace zulwin
