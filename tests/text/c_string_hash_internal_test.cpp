// HashCString against the standard string hash, in both of its ways over long texts (the vector
// one where the CPU has it): every length of the short, medium and long paths through several
// chunks, with no NUL and with one at every place, which the NUL watch of each path must see.
#include "text/internal/c_string_hash.h"

#include <platform/strings.h>

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

namespace {

using zulplatform::detail::ForceWideHash;

class CStringHashWays : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        if (!ForceWideHash(GetParam()))
            GTEST_SKIP() << "the vector way is not available here";
    }
    void TearDown() override { ForceWideHash(true) || ForceWideHash(false); }
};

TEST_P(CStringHashWays, EqualsTheStandardHashUpToTheFirstNul) {
    std::mt19937_64 rng(5);
    for (std::size_t len = 0; len <= 200; ++len) {
        for (std::size_t nulAt = 0; nulAt <= len; ++nulAt) { // nulAt == len: none inside
            zulwin::CString raw('\0', static_cast<int>(len));
            char* const bytes = raw.GetBuffer();
            for (std::size_t i = 0; i < len; ++i)
                bytes[i] = i == nulAt ? '\0' : static_cast<char>(1 + rng() % 255);
            ASSERT_EQ(zulplatform::HashCString(raw), std::hash<std::string>{}(bytes))
                << len << " " << nulAt;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Both, CStringHashWays, testing::Bool(), [](auto const& info) {
    return std::string(info.param ? "Vector" : "Scalar");
});

} // namespace
