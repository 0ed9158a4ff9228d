// Zone files in the TZif format, versions 1 to 4.
#pragma once

#include "platform/internal/tz_zone.h"

#include <cstddef>

namespace zulplatform {

// Reads a whole zone file from memory into `zone` (its name untouched). False, with `zone` in
// no useful state, for anything that is not a consistent TZif file: short data, counts that do
// not fit the size, indexes out of range, unordered transitions, a footer that does not parse.
// Leap-second records are checked and skipped: conversions count civil seconds.
bool _ReadTzif(const unsigned char* data, std::size_t size, _TzZone& zone);

} // namespace zulplatform
