// The system's zone database: where it lives, which names may be looked up in it, and the
// process-wide cache that loads each zone once and shares it read-only between threads.
#pragma once

#include "platform/internal/tz_zone.h"

#include <memory>
#include <string>
#include <vector>

namespace zulplatform {

// TZDIR when set and not empty, else /usr/share/zoneinfo; no trailing "/".
std::string _TzDirectory();

// Whether `name` may be looked up as a file below the zone directory: not empty, not
// absolute, no ".." component, only letters, digits and "/_+-.".
bool _IsValidZoneName(const char* name);

// The zone for a Windows id, a database name or a POSIX rule string, tried in that order;
// null when `name` is none of them.
std::shared_ptr<const _TzZone> _LoadZone(const char* name);

// UTC, named "Etc/UTC", without touching the file system.
const std::shared_ptr<const _TzZone>& _UtcZone();

// The process's zone: TZ, else /etc/localtime; UTC when neither gives one.
std::shared_ptr<const _TzZone> _LoadLocalZone();

// Every zone and link name of the database, sorted bytewise.
std::vector<std::string> _ZoneNames();

} // namespace zulplatform
