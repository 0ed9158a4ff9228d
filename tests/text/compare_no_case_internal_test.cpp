// CompareNoCase in both of its ways of reading: ahead of the terminators within a page (the
// normal choice), and only in units that hold a byte of the text (the choice under valgrind,
// which the program's own tests otherwise reach only at the edge of a page). Each way compares
// arguments of every length at every placement with the reference; under valgrind only the
// second way can be chosen, and the first is skipped.
#include "text/compare_no_case_cases.h"
#include "text/internal/utf8.h"

#include <gtest/gtest.h>

namespace {

using utf8_private::detail::ForceScanKernel;
using utf8_private::detail::ScanKernel;

class CompareNoCaseReading : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        ASSERT_TRUE(ForceScanKernel(ScanKernel::Best, GetParam()));
        if (utf8_private::detail::ReadAheadAllowed() != GetParam())
            GTEST_SKIP() << "reading ahead is not chosen under valgrind";
    }
    void TearDown() override { ForceScanKernel(ScanKernel::Best); }
};

TEST_P(CompareNoCaseReading, ArgumentsAtEveryPlacement) {
    compare_no_case::CheckEveryPlacement(11);
}

INSTANTIATE_TEST_SUITE_P(Ways, CompareNoCaseReading, testing::Values(true, false),
                         [](const testing::TestParamInfo<bool>& info) {
                             return info.param ? "ReadingAhead" : "InUnits";
                         });

} // namespace
