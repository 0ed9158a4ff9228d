#include <platform/files.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <tuple>
#include <type_traits>

using zulwin::CStringArray;

// An element destructor that throws must end the process, not unwind through the array.
static_assert(std::is_nothrow_destructible_v<CStringArray>);

// The elements' exact bytes (embedded NULs included), each followed by '|'.
static std::string Joined(CStringArray const& array) {
    std::string out;
    for (long i = 0; i < array.GetCount(); ++i)
        out += std::string(array[i].GetString(), array[i].GetLength()) + "|";
    return out;
}

TEST(CStringArray, AddSetSizeCopyAppendAndRangeErrors) {
    CStringArray array, copy, empty;
    EXPECT_EQ(array.Add(zulwin::CString('\xE9', 2)), 0); // raw bytes are kept exactly
    EXPECT_EQ(array.Add("b"), 1);
    array.SetSize(3, 0);
    copy.SetSize(5, 99); // Copy must shrink it
    copy.Copy(array);
    EXPECT_EQ(array.Append(array), 3); // appending to itself duplicates
    EXPECT_EQ(array.Append(empty), 6);
    EXPECT_EQ(Joined(array), "\xE9\xE9|b||\xE9\xE9|b||");
    EXPECT_EQ(Joined(copy), "\xE9\xE9|b||");
    EXPECT_THROW(array[-1], zulplatform::CException);
    EXPECT_THROW(array.SetSize(-1, 0), zulplatform::CException);
    try {
        static_cast<CStringArray const&>(array)[6]; // == GetCount()
        ADD_FAILURE() << "no exception";
    } catch (zulplatform::CException const& e) {
        EXPECT_EQ(e.GetCode(), -1);
    }
}

TEST(CStringArray, RemoveAtStopsAtTheEnd) {
    // {index, count, what is left of a|b|c}; a negative index is a caller error: no crash.
    std::tuple<int, int, char const*> const cases[] = {
        {1, 10, "a|"}, {0, 0, "a|b|c|"}, {0, -3, "a|b|c|"}, {1, 1, "a|c|"},
        {0, 2, "c|"},  {3, 1, "a|b|c|"}, {0, 3, ""},        {-1, 1, "a|b|c|"}};
    for (auto const& [index, count, left] : cases) {
        CStringArray array;
        for (char const* text : {"a", "b", "c"})
            array.Add(text);
        array.RemoveAt(index, count);
        EXPECT_EQ(Joined(array), left) << index << "," << count;
    }
}
