// CGrowableBuffer: the grow size and allocation rule, the editing operations, equality, hex
// text against snprintf, and the binary form through real and memory files.
#include <platform/files.h>
#include <platform/strings.h>

#include "support/scratch.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace test_support;
using zulwin::CString;

namespace {

std::vector<unsigned char> Bytes(const CGrowableBuffer& b) {
    std::vector<unsigned char> v{9, 9, 9};
    b.ToVector(v);
    return v;
}

} // namespace

TEST(GrowableBuffer, GrowSizeAndAllocationRule) {
    const std::pair<unsigned long, unsigned long> sizes[] = {
        {0, 1},       {1, 1},       {3, 4},         {100, 128},
        {8192, 8192}, {8193, 8192}, {100000, 8192}, {ULONG_MAX, 8192}};
    CGrowableBuffer buffer;
    for (auto [asked, got] : sizes)
        EXPECT_EQ(buffer.SetGrowSize(asked), got) << asked;

    // (grow size, lengths asked in turn) and the allocated size after each.
    struct Case {
        unsigned long grow;
        std::vector<unsigned long> lengths, allocated;
    };
    const Case cases[] = {{16, {17, 5, 32, 33}, {32, 32, 32, 48}},
                          {1, {3, 7, 2}, {3, 7, 7}},
                          {8192, {1, 8193}, {8192, 16384}}};
    for (const Case& c : cases) {
        CGrowableBuffer b(c.grow);
        std::vector<unsigned long> allocated;
        for (unsigned long n : c.lengths) {
            ASSERT_NE(b.AllocMem(n, true), nullptr);
            EXPECT_EQ(b.GetLength(), n);
            allocated.push_back(b.GetAllocatedSize());
        }
        EXPECT_EQ(allocated, c.allocated) << c.grow;
    }
    // Kept bytes survive a growth; a rounding that wraps changes nothing and returns null; a
    // size no allocation can have throws.
    CGrowableBuffer b(16);
    b.Assign(reinterpret_cast<const unsigned char*>("abc"), 3);
    unsigned char* const data = b.AllocMem(40, true);
    EXPECT_EQ(std::string(data, data + 3), "abc");
    EXPECT_EQ(b.AllocMem(ULONG_MAX - 3, true), nullptr);
    EXPECT_EQ(b.GetLength(), 40u);
    EXPECT_EQ(b.GetAllocatedSize(), 48u);
    EXPECT_THROW(b.AllocMem((1UL << 63) + 1, true), std::bad_alloc);
    EXPECT_EQ(b.GetAllocatedSize(), 48u);
}

TEST(GrowableBuffer, EditingAssignmentAndEquality) {
    const unsigned char abc[] = {'a', 'b', 'c'};
    CGrowableBuffer b(4);
    EXPECT_EQ(b.Assign(abc, 3), 3u);
    EXPECT_EQ(b.Assign(nullptr, 3) + b.Assign(abc, 0), 0u);
    EXPECT_EQ(b.GetData(), nullptr);
    b.Assign(abc, 3);
    b.Append(1, abc, 3); // overwrites and extends
    EXPECT_EQ(Bytes(b), (std::vector<unsigned char>{'a', 'a', 'b', 'c'}));
    b.Append(0, abc + 2, 1); // within: the length stays
    EXPECT_EQ(Bytes(b), (std::vector<unsigned char>{'c', 'a', 'b', 'c'}));
    b.Append(6, abc, 1); // beyond the end: a gap
    EXPECT_EQ(b.GetLength(), 7u);
    EXPECT_EQ(b.GetData()[6], 'a');
    b.Append(7, b.GetData(), 7); // from its own bytes, which move as it grows
    EXPECT_EQ(b.GetLength(), 14u);
    EXPECT_EQ(std::string(b.GetData() + 7, b.GetData() + 11), "cabc");
    b.Append(0, nullptr, 5);         // nothing to copy from
    b.Append(ULONG_MAX - 1, abc, 3); // beyond any storage
    b.Append(ULONG_MAX - 4, abc, 3); // rounding wraps
    EXPECT_EQ(b.GetLength(), 14u);

    b.Assign(abc, 3);
    b += static_cast<unsigned char>('d');
    b += b;
    EXPECT_EQ(Bytes(b), (std::vector<unsigned char>{'a', 'b', 'c', 'd', 'a', 'b', 'c', 'd'}));
    CGrowableBuffer copy(b);
    EXPECT_EQ(copy.GetGrowSize(), 4u);
    EXPECT_TRUE(copy == b);
    copy.GetData()[7] = 'x';
    EXPECT_FALSE(copy == b);
    CGrowableBuffer other(1024);
    other = b;
    EXPECT_EQ(other.GetGrowSize(), 1024u); // not copied
    EXPECT_TRUE(other == b);
    CGrowableBuffer& same = other;
    other = same;
    EXPECT_TRUE(other == b);

    // No storage equals only no storage; storage of length 0 is something else.
    CGrowableBuffer fresh, reset(b);
    reset.Reset();
    EXPECT_TRUE(reset == fresh);
    CGrowableBuffer emptied(b);
    emptied = fresh;
    EXPECT_EQ(emptied.GetLength(), 0u);
    EXPECT_NE(emptied.GetData(), nullptr);
    EXPECT_FALSE(emptied == fresh);
    EXPECT_FALSE(fresh == emptied);
    emptied += fresh;
    EXPECT_EQ(emptied.GetLength(), 0u);

    CGrowableBuffer const fromVector(std::vector<unsigned char>{1, 2, 3});
    EXPECT_EQ(fromVector.GetGrowSize(), 16u);
    EXPECT_EQ(fromVector.GetAllocatedSize(), 16u);
    EXPECT_EQ(Bytes(fromVector), (std::vector<unsigned char>{1, 2, 3}));
    EXPECT_EQ(CGrowableBuffer(std::vector<unsigned char>()).GetData(), nullptr);
    EXPECT_TRUE(Bytes(fresh).empty());
}

TEST(GrowableBuffer, HexText) {
    // Text, and the bytes it parses to (none: false, leaving the buffer empty).
    // clang-format off
    const std::pair<const char*, std::vector<unsigned char>> cases[] = {
        {"0aFF", {0x0A, 0xFF}}, {"00", {0}}, {"aBcD", {0xAB, 0xCD}}, {"abc", {}}, {"xy", {}},
        {"", {}}, {"0g", {}}, {"+1", {}}, {" 1", {}}, {"0a\xC3\xA9", {}}};
    // clang-format on
    for (const auto& [text, bytes] : cases) {
        CGrowableBuffer b;
        b.Assign(reinterpret_cast<const unsigned char*>("old"), 3);
        EXPECT_EQ(b.FromString(text), !bytes.empty()) << text;
        EXPECT_EQ(Bytes(b), bytes) << text;
        if (bytes.empty()) {
            EXPECT_EQ(b.GetData(), nullptr);
        }
    }
    CGrowableBuffer b;
    EXPECT_FALSE(b.FromString(nullptr));
    CString out("previous");
    b.ToString(out);
    EXPECT_EQ(out, "previous"); // an empty buffer leaves the text alone
    b.FromString("0aff");
    b.ToString(out);
    EXPECT_EQ(out, "0aff");

    // 2 MiB of text against snprintf's digits, both ways; a bad digit at the very end fails.
    std::mt19937 rng(3);
    std::vector<unsigned char> data(1 << 20);
    for (auto& byte : data)
        byte = static_cast<unsigned char>(rng());
    std::string reference;
    char digits[3];
    for (unsigned char byte : data) {
        std::snprintf(digits, sizeof digits, "%02x", byte);
        reference += digits;
    }
    CGrowableBuffer big(data);
    big.ToString(out);
    ASSERT_EQ(std::string(out.GetString()), reference);
    std::string upper = reference;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    ASSERT_TRUE(b.FromString(upper.c_str()));
    EXPECT_TRUE(b == big);
    upper.back() = 'g';
    EXPECT_FALSE(b.FromString(upper.c_str()));
    EXPECT_EQ(b.GetData(), nullptr);
}

TEST(GrowableBuffer, BinaryFormThroughFiles) {
    ScratchDir dir;
    std::string const name = dir / "blob";
    CGrowableBuffer b;
    b.Assign(reinterpret_cast<const unsigned char*>("xyz"), 3);
    {
        zulwin::CFile file(name.c_str(), zulwin::CFile::openCreate | zulwin::CFile::openWrite);
        b.Save(&file);
        CGrowableBuffer().Save(&file); // an empty buffer writes its length only
    }
    EXPECT_EQ(ReadFile(name), std::string("\3\0\0\0\0\0\0\0xyz\0\0\0\0\0\0\0\0", 19));
    {
        zulwin::CFile file(name.c_str(), zulwin::CFile::openRead);
        CGrowableBuffer loaded;
        EXPECT_EQ(loaded.Load(&file), 3u);
        EXPECT_TRUE(loaded == b);
        EXPECT_EQ(loaded.Load(&file), 8u); // length 0: the length field's count
        EXPECT_EQ(loaded.GetLength(), 0u);
        EXPECT_EQ(loaded.Load(&file), 0u); // end of file
        EXPECT_EQ(loaded.Load(nullptr), 0u);
    }
    // Truncated forms: a length field cut short reads as the bytes that arrived; a length
    // beyond the data leaves the missing bytes zero; lengths no storage can hold fail.
    struct Case {
        std::string form;
        unsigned int result;
        std::vector<unsigned char> bytes;
        bool throws;
    };
    const Case cases[] = {
        {std::string("\2\0\0", 3), 0, {0, 0}, false}, // length 2, nothing more arrives
        {std::string("\5\0\0\0\0\0\0\0ab", 10), 2, {'a', 'b', 0, 0, 0}, false},
        {std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFzz", 10), 0, {'o', 'l', 'd'}, false},
        {std::string("\0\0\0\0\0\0\0\x80zz", 10), 0, {'o', 'l', 'd'}, true}};
    for (const Case& c : cases) {
        unsigned char memory[32];
        std::memcpy(memory, c.form.data(), c.form.size());
        zulwin::CMemFile file(memory, c.form.size());
        CGrowableBuffer loaded;
        loaded.Assign(reinterpret_cast<const unsigned char*>("old"), 3);
        if (c.throws) {
            EXPECT_THROW(loaded.Load(&file), std::bad_alloc);
        } else {
            EXPECT_EQ(loaded.Load(&file), c.result);
        }
        EXPECT_EQ(Bytes(loaded), c.bytes);
    }
}
