// The private profile functions over CIniFile.
#include "config/internal/ini_io.h"

#include <platform/ini_file.h>
#include <platform/profile.h>

#include <cstdlib>
#include <cstring>

namespace zulwin {

unsigned long GetPrivateProfileString(char const* section, char const* key,
                                      char const* defaultValue, char* buffer, unsigned long size,
                                      char const* fileName) {
    if (buffer == nullptr || size == 0)
        return 0;
    CIniFile ini;
    CString value;
    char const* text = defaultValue != nullptr ? defaultValue : "";
    std::size_t n;
    if (fileName != nullptr && ini.Load(fileName) && ini.ReadValue(section, key, value)) {
        text = value.GetString();
        n = static_cast<std::size_t>(value.GetLength());
    } else {
        n = std::strlen(text);
    }
    if (n >= size)
        n = size - 1;
    std::memcpy(buffer, text, n);
    buffer[n] = '\0';
    return n;
}

int GetPrivateProfileInt(char const* section, char const* key, int defaultValue,
                         char const* fileName) {
    CIniFile ini;
    CString value;
    if (fileName == nullptr || !ini.Load(fileName) || !ini.ReadValue(section, key, value))
        return defaultValue;
    char const* text = value.GetString();
    bool const hex = value.GetLength() >= 3 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    unsigned long const number =
        hex ? std::strtoul(text + 2, nullptr, 16) : std::strtoul(text, nullptr, 10);
    // strtoul gives ULONG_MAX for out-of-range text and wraps negative text: both clamp.
    if (number > 0xFFFFFFFFul)
        return -1;
    return static_cast<int>(static_cast<unsigned int>(number));
}

int WritePrivateProfileString(char const* section, char const* key, char const* value,
                              char const* fileName) {
    if (fileName == nullptr)
        return 1;
    // The writers' lock is held from the load to the save, so concurrent writers of different
    // keys each see the others' changes.
    inifile::_CIniWriteLock lock;
    bool const locked = lock.Acquire(fileName);
    CIniFile ini;
    bool const loaded = locked ? ini.Load(lock.File()) : ini.Load(fileName);
    if (value == nullptr)
        ini.RemoveValue(section, key);
    else
        ini.WriteValue(section, key, value);
    // A file that could not be read whole is left as it is, like one that does not parse: the
    // save merges by section counts, and a document missing sections would drop them.
    if (locked && loaded)
        inifile::_SaveLocked(ini, fileName, lock.File());
    return 1;
}

} // namespace zulwin
