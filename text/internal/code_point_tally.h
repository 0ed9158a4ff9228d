// Code-point count of a string that an editing loop rebuilds from left to right.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace utf8_private {
namespace detail {

// The editing loops of CString stop searching once their position reaches the code-point count
// of the text as edited so far, so they need that count after every hit. Walking the whole text
// each time made the loops quadratic. During such a loop the text always reads
//     done + piece + original[from..]
// where `done` only ever grows at its end and never changes once written, `piece` is the text
// the last edit put in, and the rest is still the original. The walk over `done` is kept from
// call to call, the piece is walked anew (it is short), and the walk over the original rest is
// looked up in a table of per-position counts, built on first use. So the count costs the
// length of the piece plus a constant, amortised.
class CodePointTally {
public:
    // `original` must stay valid and unchanged from `from` onwards for every later Count.
    explicit CodePointTally(std::string_view original) : m_original(original) {}

    // `done` must extend the `done` of the previous call; `from` must not decrease.
    unsigned long Count(std::string_view done, std::string_view piece, std::size_t from);

private:
    void WalkDone(std::string_view done);
    // Code points of the walk that starts at original[i].
    unsigned long CountFrom(std::size_t i);

    std::string_view m_original;
    // Per position of the original, the count of the walk that starts there; kept empty when
    // the original is plain ASCII (the count is then the byte count).
    std::vector<std::uint32_t> m_fromHere;
    enum class Original { Unknown, PlainAscii, Tabled, Huge } m_kind = Original::Unknown;
    std::size_t m_nextLead = 0; // first lead byte of `done` not walked yet
    unsigned long m_walked = 0; // code points before m_nextLead
    bool m_ended = false;       // the walk met a NUL lead byte: the count is final
};

} // namespace detail
} // namespace utf8_private
