#include <platform/files.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <type_traits>
#include <vector>

using zulplatform::CException;
using zulwin::CString;
using zulwin::CStringArray;

// A throwing element destructor must end the process, not unwind through the array.
static_assert(std::is_nothrow_destructible_v<CStringArray>);
static_assert(!std::is_copy_constructible_v<CStringArray>);
static_assert(!std::is_polymorphic_v<CStringArray>);

namespace {

void Fill(CStringArray& array, std::initializer_list<char const*> texts) {
    for (char const* t : texts)
        array.Add(CString(t));
}

std::vector<std::string> Contents(CStringArray const& array) {
    std::vector<std::string> out;
    for (long i = 0; i < array.GetCount(); ++i)
        out.emplace_back(array[i].GetString(), static_cast<std::size_t>(array[i].GetLength()));
    return out;
}

using Texts = std::vector<std::string>;

int ThrownCode(void (*f)(CStringArray&), CStringArray& array) {
    try {
        f(array);
    } catch (CException const& e) {
        return e.GetCode();
    }
    return 0;
}

} // namespace

TEST(CStringArray, AddReturnsTheNewIndexAndCopies) {
    CStringArray array;
    EXPECT_EQ(array.GetCount(), 0);
    CString text("one");
    EXPECT_EQ(array.Add(text), 0);
    EXPECT_EQ(array.Add(CString("two")), 1);
    text = "changed"; // the array holds its own copy
    EXPECT_EQ(Contents(array), (Texts{"one", "two"}));
}

TEST(CStringArray, AddKeepsEmbeddedNulBytes) {
    CStringArray array;
    CString raw('\0', 3);
    array.Add(raw);
    EXPECT_EQ(array[0].GetLength(), 3);
}

TEST(CStringArray, IndexOutOfRangeThrowsMinusOne) {
    CStringArray array;
    Fill(array, {"a", "b"});
    EXPECT_EQ(ThrownCode([](CStringArray& a) { a[-1]; }, array), -1);
    EXPECT_EQ(ThrownCode([](CStringArray& a) { a[2]; }, array), -1);
    EXPECT_EQ(ThrownCode([](CStringArray& a) { a[1] = "B"; }, array), 0);
    CStringArray const& constArray = array;
    EXPECT_STREQ(constArray[1].GetString(), "B");
    EXPECT_THROW(constArray[2], CException);
    EXPECT_THROW(constArray[-5], CException);

    CStringArray empty;
    EXPECT_THROW(empty[0], CException);
}

TEST(CStringArray, ReferencesSurviveGrowth) {
    CStringArray array;
    array.Add(CString("first"));
    CString& first = array[0];
    for (int i = 0; i < 100; ++i)
        array.Add(CString("more"));
    EXPECT_EQ(&first, &array[0]);
    EXPECT_STREQ(first.GetString(), "first");
}

TEST(CStringArray, SetSize) {
    CStringArray array;
    array.SetSize(3, 0);
    EXPECT_EQ(Contents(array), (Texts{"", "", ""}));
    array[0] = "keep";
    array[2] = "drop";
    array.SetSize(1, 0);
    EXPECT_EQ(Contents(array), (Texts{"keep"}));
    array.SetSize(1, 99); // same size: unchanged
    EXPECT_EQ(Contents(array), (Texts{"keep"}));
    array.SetSize(2);
    EXPECT_EQ(Contents(array), (Texts{"keep", ""}));
    array.SetSize(0);
    EXPECT_EQ(array.GetCount(), 0);

    Fill(array, {"x"});
    EXPECT_EQ(ThrownCode([](CStringArray& a) { a.SetSize(-1, 0); }, array), -1);
    EXPECT_EQ(Contents(array), (Texts{"x"}));
}

TEST(CStringArray, RemoveAt) {
    struct Case {
        int index, count;
        Texts expected;
    } const cases[] = {
        {1, 10, {"a"}},
        {0, 0, {"a", "b", "c"}},
        {0, -3, {"a", "b", "c"}},
        {1, 1, {"a", "c"}},
        {0, 2, {"c"}},
        {2, 1, {"a", "b"}},
        {3, 1, {"a", "b", "c"}},
        {0, 3, {}},
        {-1, 1, {"a", "b", "c"}}, // caller error; must neither crash nor remove
    };
    for (auto const& c : cases) {
        CStringArray array;
        Fill(array, {"a", "b", "c"});
        array.RemoveAt(c.index, c.count);
        EXPECT_EQ(Contents(array), c.expected) << c.index << "," << c.count;
    }
    CStringArray array;
    Fill(array, {"a", "b"});
    array.RemoveAt(0); // default count 1
    EXPECT_EQ(Contents(array), (Texts{"b"}));
}

TEST(CStringArray, RemoveAllEmptiesAndAllowsReuse) {
    CStringArray array;
    Fill(array, {"a", "b", "c"});
    array.RemoveAll();
    EXPECT_EQ(array.GetCount(), 0);
    array.RemoveAll();
    EXPECT_EQ(array.Add(CString("d")), 0);
}

TEST(CStringArray, CopyReplacesTheContent) {
    CStringArray source;
    Fill(source, {"x", "y"});
    source.Add(CString('\xE9', 2)); // raw bytes must be copied exactly

    CStringArray target;
    Fill(target, {"1", "2", "3", "4"});
    target.Copy(source);
    EXPECT_EQ(Contents(target), Contents(source));
    EXPECT_EQ(target[2].GetLength(), 2);
    EXPECT_EQ(target[2][0], '\xE9');

    target[0] = "changed";
    EXPECT_STREQ(source[0].GetString(), "x"); // deep copy

    CStringArray empty;
    target.Copy(empty);
    EXPECT_EQ(target.GetCount(), 0);

    source.Copy(source);
    EXPECT_EQ(Contents(source).size(), 3u);
}

TEST(CStringArray, AppendReturnsTheFirstNewIndex) {
    CStringArray array;
    Fill(array, {"a", "b"});
    CStringArray more;
    Fill(more, {"c", "d"});
    EXPECT_EQ(array.Append(more), 2);
    EXPECT_EQ(Contents(array), (Texts{"a", "b", "c", "d"}));
    EXPECT_EQ(Contents(more), (Texts{"c", "d"}));

    CStringArray empty;
    EXPECT_EQ(array.Append(empty), 4);
    EXPECT_EQ(array.GetCount(), 4);
    EXPECT_EQ(empty.Append(array), 0);
    EXPECT_EQ(empty.GetCount(), 4);
}

TEST(CStringArray, AppendToItselfDuplicates) {
    CStringArray array;
    Fill(array, {"a", "b", "c"});
    EXPECT_EQ(array.Append(array), 3);
    EXPECT_EQ(Contents(array), (Texts{"a", "b", "c", "a", "b", "c"}));
}
