// Size limits that the library's path and module-name handling shares.
#pragma once

#include <cstddef>

namespace zulplatform {

// The longest path the library handles, in characters: the system's limit, PATH_MAX.
constexpr std::size_t kMaxPath = 4096;
// A buffer for any path the system reports: the path, its terminator and one byte to spare.
constexpr std::size_t kPathBufferSize = kMaxPath + 1;
// The buffer in which GetModuleHandle composes a module name with ".so" appended.
constexpr std::size_t kModuleNameBufferSize = 1024;
// The directory bit of st_mode, the one bit the Windows-style directory tests look at.
constexpr unsigned int kDirectoryBit = 0x4000;

} // namespace zulplatform
