// Zone directory, name checks, name resolution, the zone list and the load-once cache.
#include "platform/internal/tz_database.h"

#include "platform/internal/limits.h"
#include "platform/internal/tzif_reader.h"
#include "platform/internal/windows_zones.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <sstream>
#include <unordered_map>

namespace zulplatform {
namespace {

const char kDefaultDirectory[] = "/usr/share/zoneinfo";
// Zone files are a few kilobytes; anything this large is not one.
constexpr off_t kMaxZoneFileSize = 1 << 20;
// Rule strings are unbounded in number; past this many entries new zones are still made but
// no longer kept.
constexpr std::size_t kMaxCachedZones = 4096;

bool ReadWholeFile(const std::string& path, std::vector<unsigned char>& bytes) {
    int const fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st;
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kMaxZoneFileSize;
    if (ok) {
        bytes.resize(static_cast<std::size_t>(st.st_size));
        std::size_t got = 0;
        while (ok && got < bytes.size()) {
            ssize_t const n = read(fd, bytes.data() + got, bytes.size() - got);
            if (n > 0)
                got += static_cast<std::size_t>(n);
            else
                ok = n < 0 && errno == EINTR;
        }
    }
    close(fd);
    return ok;
}

std::shared_ptr<const _TzZone> ZoneFromFile(const std::string& path, const std::string& name) {
    std::vector<unsigned char> bytes;
    auto zone = std::make_shared<_TzZone>();
    if (!ReadWholeFile(path, bytes) || !_ReadTzif(bytes.data(), bytes.size(), *zone))
        return nullptr;
    zone->name = name;
    return zone;
}

std::shared_ptr<const _TzZone> ZoneFromRule(const char* text) {
    _TzPosixRule rule;
    auto zone = std::make_shared<_TzZone>();
    if (!_ParseTzPosixRule(text, std::strlen(text), rule) || !zone->Build(rule))
        return nullptr;
    zone->name = text;
    return zone;
}

class ZoneCache {
public:
    std::shared_ptr<const _TzZone> Find(const std::string& key) {
        std::lock_guard<std::mutex> lock(m_mutex);
        auto const it = m_zones.find(key);
        return it != m_zones.end() ? it->second : nullptr;
    }
    // Keeps the first zone stored under `key`, so that every caller shares one.
    std::shared_ptr<const _TzZone> Add(const std::string& key,
                                       std::shared_ptr<const _TzZone> zone) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_zones.size() >= kMaxCachedZones)
            return zone;
        return m_zones.emplace(key, std::move(zone)).first->second;
    }

private:
    std::mutex m_mutex;
    std::unordered_map<std::string, std::shared_ptr<const _TzZone>> m_zones;
};

ZoneCache& Cache() {
    static ZoneCache cache;
    return cache;
}

// A database zone by its name, through the cache.
std::shared_ptr<const _TzZone> DatabaseZone(const std::string& directory, const char* name) {
    std::string key = directory;
    key += '\n';
    key += name;
    if (auto zone = Cache().Find(key))
        return zone;
    auto zone = ZoneFromFile(directory + "/" + name, name);
    return zone ? Cache().Add(key, std::move(zone)) : nullptr;
}

// Removes "." and ".." components of an absolute path without asking the file system.
std::string Normalize(const std::string& path) {
    std::vector<std::string> parts;
    std::istringstream in(path);
    std::string part;
    while (std::getline(in, part, '/')) {
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else {
            parts.push_back(part);
        }
    }
    std::string out;
    for (const std::string& p : parts)
        out += "/" + p;
    return out.empty() ? "/" : out;
}

// The zone of a file named by an absolute path: by its name when the path, or the target of
// its symbolic link, lies in the zone directory, else read as it is under `fallbackName`.
std::shared_ptr<const _TzZone> ZoneFromPath(const std::string& path,
                                            const std::string& fallbackName) {
    std::string target = path;
    char link[zulplatform::kPathBufferSize];
    ssize_t const n = readlink(path.c_str(), link, sizeof link - 1);
    if (n > 0) {
        link[n] = 0;
        target = link[0] == '/' ? std::string(link) : path.substr(0, path.rfind('/') + 1) + link;
    }
    target = Normalize(target);
    for (const std::string& directory : {_TzDirectory(), std::string(kDefaultDirectory)}) {
        std::string const prefix = Normalize(directory) + "/";
        if (target.compare(0, prefix.size(), prefix) != 0)
            continue;
        std::string const name = target.substr(prefix.size());
        if (_IsValidZoneName(name.c_str()))
            if (auto zone = DatabaseZone(directory, name.c_str()))
                return zone;
    }
    return ZoneFromFile(path, fallbackName);
}

void CollectZoneFiles(const std::string& directory, const std::string& prefix,
                      std::vector<std::string>& names) {
    DIR* const dir = opendir((directory + "/" + prefix).c_str());
    if (dir == nullptr)
        return;
    while (dirent* const entry = readdir(dir)) {
        std::string const leaf = entry->d_name;
        if (leaf == "." || leaf == "..")
            continue;
        if (prefix.empty() && (leaf == "posix" || leaf == "right" || leaf == "posixrules" ||
                               leaf == "localtime" || leaf == "Factory"))
            continue;
        std::string const name = prefix + leaf;
        std::string const path = directory + "/" + name;
        struct stat st;
        if (stat(path.c_str(), &st) != 0)
            continue;
        if (S_ISDIR(st.st_mode)) {
            CollectZoneFiles(directory, name + "/", names);
        } else if (S_ISREG(st.st_mode)) {
            char magic[4] = {};
            std::ifstream file(path, std::ios::binary);
            if (file.read(magic, 4) && std::memcmp(magic, "TZif", 4) == 0)
                names.push_back(name);
        }
    }
    closedir(dir);
}

} // namespace

std::string _TzDirectory() {
    const char* const dir = std::getenv("TZDIR");
    std::string d = dir != nullptr && *dir != '\0' ? dir : kDefaultDirectory;
    while (d.size() > 1 && d.back() == '/')
        d.pop_back();
    return d;
}

bool _IsValidZoneName(const char* name) {
    if (name == nullptr || *name == '\0' || *name == '/')
        return false;
    std::size_t componentStart = 0, i = 0;
    for (; name[i] != '\0'; ++i) {
        char const c = name[i];
        bool const allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                             (c >= '0' && c <= '9') || c == '/' || c == '_' || c == '+' ||
                             c == '-' || c == '.';
        if (!allowed || i >= 1024)
            return false;
        if (c == '/') {
            if (i - componentStart == 2 && name[componentStart] == '.' &&
                name[componentStart + 1] == '.')
                return false;
            componentStart = i + 1;
        }
    }
    return !(i - componentStart == 2 && name[componentStart] == '.' &&
             name[componentStart + 1] == '.');
}

const std::shared_ptr<const _TzZone>& _UtcZone() {
    static const std::shared_ptr<const _TzZone> utc = [] {
        auto zone = std::make_shared<_TzZone>();
        _TzPosixRule rule;
        rule.stdAbbr = rule.dstAbbr = "UTC";
        zone->Build(rule);
        zone->name = "Etc/UTC";
        return std::shared_ptr<const _TzZone>(std::move(zone));
    }();
    return utc;
}

std::shared_ptr<const _TzZone> _LoadZone(const char* name) {
    if (name == nullptr || *name == '\0')
        return nullptr;
    std::string const directory = _TzDirectory();
    if (const char* const zone = _ZoneOfWindowsId(name))
        if (auto loaded = DatabaseZone(directory, zone))
            return loaded;
    if (_IsValidZoneName(name))
        if (auto zone = DatabaseZone(directory, name))
            return zone;
    std::string key = "\n";
    key += name;
    if (auto zone = Cache().Find(key))
        return zone;
    auto zone = ZoneFromRule(name);
    return zone ? Cache().Add(key, std::move(zone)) : nullptr;
}

std::shared_ptr<const _TzZone> _LoadLocalZone() {
    const char* tz = std::getenv("TZ");
    if (tz == nullptr) {
        auto zone = ZoneFromPath("/etc/localtime", "localtime");
        return zone ? zone : _UtcZone();
    }
    if (*tz == ':')
        ++tz;
    if (*tz == '\0')
        return _UtcZone();
    std::shared_ptr<const _TzZone> zone = *tz == '/' ? ZoneFromPath(tz, tz) : _LoadZone(tz);
    return zone ? zone : _UtcZone();
}

std::vector<std::string> _ZoneNames() {
    std::string const directory = _TzDirectory();
    std::vector<std::string> names;
    std::ifstream zi(directory + "/tzdata.zi");
    if (zi) {
        std::string line;
        while (std::getline(zi, line)) {
            std::istringstream fields(line);
            std::string kind, first, second;
            fields >> kind >> first;
            if (kind == "Z" && !first.empty())
                names.push_back(first);
            else if (kind == "L" && (fields >> second))
                names.push_back(second);
        }
    } else {
        CollectZoneFiles(directory, "", names);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

} // namespace zulplatform
