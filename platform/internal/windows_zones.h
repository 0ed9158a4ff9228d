// The Windows zone ids and the zones of the database they stand for.
#pragma once

#include <string>
#include <vector>

namespace zulplatform {

// The zone name a Windows id (matched without regard to case) stands for; null when unknown.
const char* _ZoneOfWindowsId(const char* id);
// The Windows id of a zone or link name; null when it has none.
const char* _WindowsIdOfZone(const char* name);
// Every Windows id, sorted bytewise.
std::vector<std::string> _WindowsIds();

} // namespace zulplatform
