// Copying a text into a caller's fixed-size buffer, the way the Windows-style functions do.
#pragma once

#include <cstddef>
#include <cstring>

namespace zulplatform {

// Copies `text` (null reads as "") into `buffer` whole when it is shorter than `size`, else
// its first size - 1 characters, and always terminates. `size` must be at least 1. Returns the
// number of characters copied.
inline std::size_t _CopyTruncated(const char* text, char* buffer, std::size_t size) {
    std::size_t const len = text != nullptr ? std::strlen(text) : 0;
    std::size_t const n = len < size ? len : size - 1;
    if (n != 0)
        std::memcpy(buffer, text, n);
    buffer[n] = 0;
    return n;
}

} // namespace zulplatform
