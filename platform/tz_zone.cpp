// Offset lookup and local-to-UTC resolution on Unix seconds.
#include "platform/internal/tz_zone.h"

#include "platform/internal/civil_days.h"

#include <algorithm>

namespace zulplatform {
namespace {

// Transition instants far enough inside the 64-bit range that adding offsets and whole
// 400-year cycles never overflows. Zone files start their tables at -2^59 at the earliest.
constexpr std::int64_t kTimeLimit = std::int64_t{1} << 60;
// Local wall time is searched this far inside the extended cycle, so that its offset (at
// most a day and an hour) never carries it out.
constexpr std::int64_t kWallMargin = 2 * kSecondsPerDay;
// At most this many types, so that the two a rule may add still have an 8-bit index.
constexpr std::size_t kMaxTypes = 254;

std::int64_t YearOf(std::int64_t t) {
    return _CivilFromDays(_FloorDiv(t, kSecondsPerDay)).year;
}

std::int64_t YearStart(std::int64_t year) {
    return _DaysFromCivil(year, 1, 1) * kSecondsPerDay;
}

struct Change {
    std::int64_t at;
    unsigned char type;
};

} // namespace

unsigned char _TzZone::AddType(const _TzLocalType& type) {
    for (std::size_t i = 0; i < m_types.size(); ++i)
        if (m_types[i].offset == type.offset && m_types[i].isDst == type.isDst &&
            m_types[i].abbr == type.abbr)
            return static_cast<unsigned char>(i);
    m_types.push_back(type);
    return static_cast<unsigned char>(m_types.size() - 1);
}

unsigned char _TzZone::AddType(std::int32_t offset, bool isDst, const std::string& abbr) {
    std::size_t a = std::find(m_abbrs.begin(), m_abbrs.end(), abbr) - m_abbrs.begin();
    if (a == m_abbrs.size())
        m_abbrs.push_back(abbr);
    return AddType(_TzLocalType{offset, isDst, static_cast<std::uint16_t>(a)});
}

bool _TzZone::Build(const std::vector<std::int64_t>& times,
                    const std::vector<unsigned char>& typeOf,
                    const std::vector<_TzLocalType>& types, const std::vector<std::string>& abbrs,
                    const _TzPosixRule* rule) {
    if (times.size() != typeOf.size() || types.size() > kMaxTypes ||
        (types.empty() && rule == nullptr) || abbrs.size() > kMaxTypes)
        return false;
    for (std::size_t i = 0; i < times.size(); ++i)
        if (typeOf[i] >= types.size() || times[i] < -kTimeLimit || times[i] > kTimeLimit ||
            (i > 0 && times[i] <= times[i - 1]))
            return false;
    for (const _TzLocalType& type : types)
        if (type.abbr >= abbrs.size() || type.offset < -kSecondsPerDay * 7 ||
            type.offset > kSecondsPerDay * 7)
            return false;
    m_types = types;
    m_abbrs = abbrs;
    m_utc = times;
    m_typeOf = typeOf;
    m_typeBefore = 0;
    m_periodic = m_ruleOnly = false;
    if (rule != nullptr) {
        unsigned char const stdType = AddType(rule->stdOffset, false, rule->stdAbbr);
        if (!rule->hasDst) {
            // The rule's single type holds from the last transition on, everywhere without one.
            if (times.empty())
                m_typeBefore = stdType;
            else
                m_typeOf.back() = stdType;
        } else {
            unsigned char const dstType = AddType(rule->dstOffset, true, rule->dstAbbr);
            m_ruleOnly = times.empty();
            std::int64_t const firstYear = m_ruleOnly ? 1968 : YearOf(times.back()) - 1;
            m_cycleStart = YearStart(firstYear + 3);
            // Enough years that the cycle from m_cycleStart, and a margin past it, are complete.
            std::int64_t const lastYear = firstYear + 3 + 400 + 3;
            // The rule is read for each UTC year on its own, from that year's two changes, as
            // the C library does; for ordinary rules this is simply the sequence of changes,
            // and rules whose periods overlap the year's end come out the same way there too.
            std::vector<Change> changes;
            changes.reserve(static_cast<std::size_t>(lastYear - firstYear + 1) * 3);
            for (std::int64_t y = firstYear; y <= lastYear; ++y) {
                std::int64_t toDst, toStd;
                _TzRuleChanges(*rule, y, toDst, toStd);
                auto typeAt = [&](std::int64_t t) {
                    bool const dst =
                        toDst > toStd ? (t < toStd || t >= toDst) : (t >= toDst && t < toStd);
                    return dst ? dstType : stdType;
                };
                std::int64_t const from = YearStart(y), to = YearStart(y + 1);
                changes.push_back({from, typeAt(from)});
                for (std::int64_t at : {std::min(toDst, toStd), std::max(toDst, toStd)})
                    if (at > from && at < to)
                        changes.push_back({at, typeAt(at)});
            }
            std::int64_t const tableEnd = m_ruleOnly ? YearStart(firstYear) : times.back();
            unsigned char current = stdType;
            std::size_t i = 0;
            for (; i < changes.size() && changes[i].at <= tableEnd; ++i)
                current = changes[i].type;
            if (m_ruleOnly)
                m_typeBefore = current;
            else
                m_typeOf.back() = current; // the rule decides from the last transition on
            for (; i < changes.size(); ++i) {
                if (changes[i].type == current)
                    continue;
                current = changes[i].type;
                m_utc.push_back(changes[i].at);
                m_typeOf.push_back(current);
            }
            m_periodic = true;
        }
    }
    for (int fold = 0; fold < 2; ++fold) {
        m_wall[fold].resize(m_utc.size());
        for (std::size_t i = 0; i < m_utc.size(); ++i) {
            std::int32_t const before = m_types[i == 0 ? m_typeBefore : m_typeOf[i - 1]].offset;
            std::int32_t const after = m_types[m_typeOf[i]].offset;
            // Fold 0 counts a transition only once wall time has passed both readings of it.
            std::int32_t const offset = (fold == 0) == (after > before) ? after : before;
            m_wall[fold][i] = m_utc[i] + offset;
        }
    }
    return true;
}

std::int64_t _TzZone::CycleShift(std::int64_t t) const {
    if (!m_periodic || (t < m_cycleStart && !m_ruleOnly))
        return 0;
    return _FloorDiv(t - m_cycleStart, kSecondsPer400Years) * kSecondsPer400Years;
}

std::size_t _TzZone::CountUpTo(const std::vector<std::int64_t>& list, std::int64_t t) const {
    std::size_t n = list.size();
    if (n == 0)
        return 0;
    const std::int64_t* base = list.data();
    while (n > 1) {
        std::size_t const half = n / 2;
        base = base[half] <= t ? base + half : base;
        n -= half;
    }
    return static_cast<std::size_t>(base - list.data()) + (*base <= t);
}

const _TzLocalType& _TzZone::TypeAt(std::int64_t t) const {
    std::size_t const i = CountUpTo(m_utc, t - CycleShift(t));
    return m_types[i == 0 ? m_typeBefore : m_typeOf[i - 1]];
}

std::int32_t _TzZone::WallOffset(std::int64_t local, int fold) const {
    std::int64_t const shift = CycleShift(local - kWallMargin);
    std::size_t const i = CountUpTo(m_wall[fold != 0], local - shift);
    return m_types[i == 0 ? m_typeBefore : m_typeOf[i - 1]].offset;
}

} // namespace zulplatform
