// A zone's rules in the form the conversions search: UTC transition instants with the local
// time type that starts at each, extended by the zone's POSIX rule over one 400-year cycle
// past its table. Instants beyond that cycle are moved back by whole cycles, which is exact
// because the Gregorian calendar, and with it every such rule, repeats every 400 years.
#pragma once

#include "platform/internal/tz_posix_rule.h"

#include <cstdint>
#include <string>
#include <vector>

namespace zulplatform {

struct _TzLocalType {
    std::int32_t offset; // seconds east of UTC
    bool isDst;
    std::uint16_t abbr; // index into the zone's abbreviations
};

class _TzZone {
public:
    // The table as read: ascending instants and the type index of each, the types (at least
    // one; type 0 holds before the first transition), and the rule for the instants from the
    // last transition on. Without transitions the rule holds at every instant. False when
    // the pieces do not fit together.
    bool Build(const std::vector<std::int64_t>& times, const std::vector<unsigned char>& typeOf,
               const std::vector<_TzLocalType>& types, const std::vector<std::string>& abbrs,
               const _TzPosixRule* rule);
    bool Build(const _TzPosixRule& rule) { return Build({}, {}, {}, {}, &rule); }

    // The type in effect at UTC instant `t` (Unix seconds).
    const _TzLocalType& TypeAt(std::int64_t t) const;
    // The offset that turns local wall time `local` into UTC, by the rules of fold 0 and 1:
    // a repeated time gives the earlier (0) or later (1) instant, a skipped time the offset
    // from before (0) or after (1) the gap.
    std::int32_t WallOffset(std::int64_t local, int fold) const;

    // Calls `visit(at, type)` with the type at `from`, then with each change in (from, to).
    template <class Visit>
    void ForEachChange(std::int64_t from, std::int64_t to, Visit visit) const;

    const std::string& Abbreviation(const _TzLocalType& type) const { return m_abbrs[type.abbr]; }

    std::string name;

private:
    std::int64_t CycleShift(std::int64_t t) const;
    std::size_t CountUpTo(const std::vector<std::int64_t>& list, std::int64_t t) const;
    unsigned char AddType(const _TzLocalType& type);
    unsigned char AddType(std::int32_t offset, bool isDst, const std::string& abbr);

    std::vector<_TzLocalType> m_types;
    std::vector<std::string> m_abbrs;
    std::vector<std::int64_t> m_utc;     // ascending
    std::vector<unsigned char> m_typeOf; // type from m_utc[i] on
    std::vector<std::int64_t> m_wall[2]; // wall time at which each transition counts, per fold
    unsigned char m_typeBefore = 0;
    // From m_cycleStart on, instants repeat with the 400-year period (everywhere when the
    // zone is only a rule).
    bool m_periodic = false;
    bool m_ruleOnly = false;
    std::int64_t m_cycleStart = 0;
};

template <class Visit>
void _TzZone::ForEachChange(std::int64_t from, std::int64_t to, Visit visit) const {
    std::int64_t const shift = CycleShift(from);
    std::int64_t const a = from - shift;
    std::int64_t const b = to - shift;
    visit(from, TypeAt(from));
    for (std::size_t i = CountUpTo(m_utc, a); i < m_utc.size() && m_utc[i] < b; ++i)
        visit(m_utc[i] + shift, m_types[m_typeOf[i]]);
}

} // namespace zulplatform
