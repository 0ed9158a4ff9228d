// Lookups in the generated Windows zone table.
#include "platform/internal/windows_zones.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace zulplatform {
namespace {

struct _WindowsZone {
    const char* id;
    const char* zone;
};

#include "platform/windows_zones.inc"

} // namespace

const char* _ZoneOfWindowsId(const char* id) {
    auto const it = std::lower_bound(
        std::begin(kWindowsIdZones), std::end(kWindowsIdZones), id,
        [](const _WindowsZone& e, const char* key) { return strcasecmp(e.id, key) < 0; });
    return it != std::end(kWindowsIdZones) && strcasecmp(it->id, id) == 0 ? it->zone : nullptr;
}

const char* _WindowsIdOfZone(const char* name) {
    auto const it = std::lower_bound(
        std::begin(kZoneWindowsIds), std::end(kZoneWindowsIds), name,
        [](const _WindowsZone& e, const char* key) { return std::strcmp(e.zone, key) < 0; });
    return it != std::end(kZoneWindowsIds) && std::strcmp(it->zone, name) == 0 ? it->id : nullptr;
}

std::vector<std::string> _WindowsIds() {
    std::vector<std::string> ids;
    for (const _WindowsZone& e : kWindowsIdZones)
        ids.emplace_back(e.id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

} // namespace zulplatform
