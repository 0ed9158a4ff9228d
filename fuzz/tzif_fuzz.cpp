// The zone file reader on arbitrary bytes. A file it accepts must give a zone whose every
// lookup stays inside its own tables: the type at any instant is one of the zone's, the wall
// offsets are offsets of those types, and the changes over a span come in time order.
#include "platform/internal/tzif_reader.h"

#include <cstdint>
#include <cstdlib>
#include <utility>

using namespace zulplatform;

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    _TzZone zone;
    if (!_ReadTzif(data, size, zone))
        return 0;
    // About 35,000 years either side of 1970, past any table and many rule cycles.
    static const std::int64_t kInstants[] = {
        -(1LL << 40), -2208988800LL, -1,           0,          1, 951782400LL,
        1700000000LL, 2147483647LL,  4102444800LL, (1LL << 40)};
    for (auto span : {std::make_pair(-(1LL << 33), 1LL << 33),
                      std::make_pair(1LL << 39, (1LL << 39) + 4000000000LL)}) {
        std::int64_t previous = 0;
        bool first = true;
        zone.ForEachChange(span.first, span.second, [&](std::int64_t at, const _TzLocalType& type) {
            Check(first || at > previous);
            Check(at >= span.first && at < span.second + (first ? 1 : 0));
            first = false;
            previous = at;
            (void)zone.Abbreviation(type);
        });
    }
    for (std::int64_t t : kInstants) {
        (void)zone.Abbreviation(zone.TypeAt(t));
        for (int fold : {0, 1})
            (void)zone.WallOffset(t, fold);
    }
    return 0;
}
