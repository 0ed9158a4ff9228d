// The running code-point count of CString's editing loops.
#include "text/internal/code_point_tally.h"

#include "text/internal/utf8.h"

#include <limits>

namespace utf8_private {
namespace detail {

namespace {

const unsigned char* Bytes(std::string_view s) {
    return reinterpret_cast<const unsigned char*>(s.data());
}

} // namespace

void CodePointTally::WalkDone(std::string_view done) {
    auto const* const base = Bytes(done);
    std::size_t const size = done.size();
    while (!m_ended && m_nextLead < size) {
        auto const* const p = base + m_nextLead;
        auto const* const q = SkipAscii(p, base + size);
        m_walked += static_cast<unsigned long>(q - p);
        m_nextLead = static_cast<std::size_t>(q - base);
        if (m_nextLead == size)
            break;
        unsigned const len = SeqLen(base[m_nextLead]);
        if (len == 0) {
            m_ended = true;
            break;
        }
        ++m_walked;
        // May step past `done`: the lead byte is final, so where its sequence ends is too.
        m_nextLead += len;
    }
}

unsigned long CodePointTally::CountFrom(std::size_t i) {
    std::size_t const size = m_original.size();
    if (i >= size)
        return 0;
    auto const* const base = Bytes(m_original);
    if (m_kind == Original::Unknown) {
        if (SkipAscii(base, base + size) == base + size)
            m_kind = Original::PlainAscii;
        else if (size >= std::numeric_limits<std::uint32_t>::max())
            m_kind = Original::Huge;
        else {
            // Walks starting at different bytes need not meet again in raw text, so each
            // position gets its own count, from the end backwards.
            m_fromHere.resize(size + 1);
            m_fromHere[size] = 0;
            for (std::size_t k = size; k-- > 0;) {
                unsigned const len = SeqLen(base[k]);
                m_fromHere[k] = len == 0 ? 0 : 1 + m_fromHere[len < size - k ? k + len : size];
            }
            m_kind = Original::Tabled;
        }
    }
    switch (m_kind) {
    case Original::PlainAscii:
        return static_cast<unsigned long>(size - i);
    case Original::Tabled:
        return m_fromHere[i];
    default: // too long for the table; such texts are walked each time
        return CountCodePoints(base + i, base + size, std::numeric_limits<unsigned long>::max());
    }
}

unsigned long CodePointTally::Count(std::string_view done, std::string_view piece,
                                    std::size_t from) {
    WalkDone(done);
    if (m_ended)
        return m_walked;
    unsigned long count = m_walked;
    std::size_t at = m_nextLead - done.size(); // offset into piece + original[from..]
    while (at < piece.size()) {
        unsigned const len = SeqLen(static_cast<unsigned char>(piece[at]));
        if (len == 0)
            return count;
        ++count;
        at += len;
    }
    return count + CountFrom(from + (at - piece.size()));
}

} // namespace detail
} // namespace utf8_private
