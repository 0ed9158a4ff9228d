#include "text/internal/case_map.h"

#include <platform/utf8.h>

#include <algorithm>
#include <iterator>

namespace utf8_private {

unsigned int tolower(unsigned int cp) {
    return detail::LowerOf(cp);
}

unsigned int toupper(unsigned int cp) {
    return detail::UpperOf(cp);
}

unsigned int normalize(unsigned int base, unsigned int mark) {
    // Formed in 32 bits on purpose: high bits of `base` are lost and high bits of `mark` are
    // kept, exactly as callers of the 32-bit key expect.
    std::uint32_t const key = (static_cast<std::uint32_t>(base) << 16) | mark;
    auto const* const first = std::begin(detail::kComposePairs);
    auto const* const last = std::end(detail::kComposePairs);
    auto const* const hit =
        std::lower_bound(first, last, key, [](std::uint32_t const(&pair)[2], std::uint32_t k) {
            return pair[0] < k;
        });
    return hit != last && (*hit)[0] == key ? (*hit)[1] : 0;
}

} // namespace utf8_private
