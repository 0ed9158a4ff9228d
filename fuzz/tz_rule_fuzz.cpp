// The POSIX zone rule parser on arbitrary text, handed over in a buffer of exactly its length
// (no terminator to stop an overrun). A rule it accepts has offsets within a day and a bit,
// gives change instants for any year, and makes a zone whose every type is the rule's standard
// or daylight time.
#include "platform/internal/tz_posix_rule.h"
#include "platform/internal/tz_zone.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

using namespace zulplatform;

namespace {

void Check(bool ok) {
    if (!ok)
        std::abort();
}

bool IsRuleOffset(const _TzPosixRule& rule, std::int32_t offset) {
    return offset == rule.stdOffset || (rule.hasDst && offset == rule.dstOffset);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::unique_ptr<char[]> const text(new char[size ? size : 1]);
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(data[i]);
    _TzPosixRule rule;
    if (!_ParseTzPosixRule(text.get(), size, rule))
        return 0;
    // Hours are clamped to 24 and daylight time defaults to an hour ahead.
    std::int32_t const kDayAndMore = 26 * 3600;
    Check(rule.stdOffset > -kDayAndMore && rule.stdOffset < kDayAndMore);
    Check(!rule.hasDst || (rule.dstOffset > -kDayAndMore && rule.dstOffset < kDayAndMore));
    Check(!rule.stdAbbr.empty());
    if (rule.hasDst) {
        for (std::int64_t year : {-2147483647LL, -1LL, 0LL, 1600LL, 1970LL, 2000LL, 2024LL, 2100LL,
                                  30828LL, 2147483647LL}) {
            std::int64_t toDst = 0, toStd = 0;
            _TzRuleChanges(rule, year, toDst, toStd);
        }
    }
    _TzZone zone;
    if (!zone.Build(rule))
        return 0;
    for (std::int64_t t :
         {-(1LL << 40), -1LL, 0LL, 1700000000LL, 1711846800LL, 4102444800LL, (1LL << 40)}) {
        Check(IsRuleOffset(rule, zone.TypeAt(t).offset));
        for (int fold : {0, 1})
            Check(IsRuleOffset(rule, zone.WallOffset(t, fold)));
    }
    return 0;
}
