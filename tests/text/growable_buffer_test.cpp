// CGrowableBuffer: the grow size and allocation rule, the editing operations and equality, hex
// text against snprintf, and the binary form through a memory file.
#include <platform/files.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <tuple>
#include <vector>

namespace {

using Vec = std::vector<unsigned char>;

Vec Bytes(const CGrowableBuffer& b) {
    Vec v{9, 9, 9};
    b.ToVector(v);
    return v;
}

const unsigned char kAbc[] = {'a', 'b', 'c'};

} // namespace

TEST(GrowableBuffer, GrowSizeAndAllocationRule) {
    CGrowableBuffer buffer;
    const std::pair<unsigned long, unsigned long> sizes[] = {
        {0, 1}, {3, 4}, {100, 128}, {8193, 8192}, {ULONG_MAX, 8192}};
    for (auto [asked, got] : sizes)
        EXPECT_EQ(buffer.SetGrowSize(asked), got) << asked;
    // Lengths asked in turn, and the allocated size after each: multiples of the grow size 16,
    // except a length that is one already.
    CGrowableBuffer b(16);
    b.Assign(kAbc, 3);
    for (auto [length, allocated] :
         {std::pair<unsigned long, unsigned long>{17, 32}, {5, 32}, {32, 32}, {40, 48}}) {
        unsigned char* const data = b.AllocMem(length, true);
        EXPECT_EQ(std::string(data, data + 3), "abc"); // kept bytes survive a growth
        EXPECT_EQ(b.GetLength(), length);
        EXPECT_EQ(b.GetAllocatedSize(), allocated);
    }
    // A rounding that wraps changes nothing and returns null; a size no allocation can have
    // throws.
    EXPECT_EQ(b.AllocMem(ULONG_MAX - 3, true), nullptr);
    EXPECT_EQ(b.GetLength(), 40u);
    EXPECT_THROW(b.AllocMem((1UL << 63) + 1, true), std::bad_alloc);
    EXPECT_EQ(b.GetAllocatedSize(), 48u);
}

TEST(GrowableBuffer, EditingAssignmentAndEquality) {
    CGrowableBuffer b(4);
    EXPECT_EQ(b.Assign(kAbc, 3) + b.Assign(nullptr, 3) + b.Assign(kAbc, 0), 3u);
    EXPECT_EQ(b.GetData(), nullptr);
    b.Assign(kAbc, 3);
    b.Append(1, kAbc, 3);     // overwrites and extends
    b.Append(0, kAbc + 2, 1); // within: the length stays
    EXPECT_EQ(Bytes(b), (Vec{'c', 'a', 'b', 'c'}));
    b.Append(6, kAbc, 1);        // beyond the end: a gap
    b.Append(7, b.GetData(), 7); // from its own bytes, which move as it grows
    EXPECT_EQ(b.GetLength(), 14u);
    EXPECT_EQ(std::string(b.GetData() + 6, b.GetData() + 11), "acabc");
    b.Append(0, nullptr, 5);          // nothing to copy from
    b.Append(ULONG_MAX - 1, kAbc, 3); // beyond any storage
    b.Append(ULONG_MAX - 4, kAbc, 3); // rounding wraps
    EXPECT_EQ(b.GetLength(), 14u);

    b.Assign(kAbc, 3);
    b += static_cast<unsigned char>('d');
    b += b;
    EXPECT_EQ(Bytes(b), (Vec{'a', 'b', 'c', 'd', 'a', 'b', 'c', 'd'}));
    CGrowableBuffer copy(b), other(1024);
    EXPECT_EQ(copy.GetGrowSize(), 4u);
    copy.GetData()[7] = 'x';
    EXPECT_FALSE(copy == b);
    other = b;
    EXPECT_EQ(other.GetGrowSize(), 1024u); // not copied by assignment
    EXPECT_TRUE(other == b);

    // No storage equals only no storage; storage of length 0 is something else.
    CGrowableBuffer fresh, emptied(b);
    emptied = fresh;
    EXPECT_EQ(emptied.GetLength(), 0u);
    EXPECT_FALSE(emptied == fresh || fresh == emptied);
    emptied.Reset();
    EXPECT_TRUE(emptied == fresh);

    CGrowableBuffer const fromVector(Vec{1, 2, 3});
    EXPECT_EQ(fromVector.GetGrowSize(), 16u);
    EXPECT_EQ(CGrowableBuffer(Vec()).GetData(), nullptr);
}

TEST(GrowableBuffer, HexText) {
    // Texts that parse to nothing: false, and the buffer left without storage.
    for (const char* text :
         {"abc", "", "0g", "+1", " 1", "0a\xC3\xA9", static_cast<const char*>(nullptr)}) {
        CGrowableBuffer b;
        b.Assign(kAbc, 3);
        EXPECT_FALSE(b.FromString(text)) << text;
        EXPECT_EQ(b.GetData(), nullptr);
    }
    CGrowableBuffer b;
    zulwin::CString out("previous");
    b.ToString(out);
    EXPECT_EQ(out, "previous"); // an empty buffer leaves the text alone

    // 128 KiB of text against snprintf's digits, both ways and in either case; a bad digit at
    // the very end fails.
    Vec data(1 << 16);
    std::string reference;
    char digits[3];
    for (auto& byte : data) {
        byte = static_cast<unsigned char>(reference.size() * 83 / 2 + 5);
        std::snprintf(digits, sizeof digits, "%02x", byte);
        reference += digits;
    }
    CGrowableBuffer const big(data);
    big.ToString(out);
    ASSERT_EQ(std::string(out.GetString()), reference);
    for (char& c : reference)
        c = static_cast<char>(&c - &reference[0] < 4096 ? std::toupper(c) : c); // mixed case
    ASSERT_TRUE(b.FromString(reference.c_str()));
    EXPECT_TRUE(b == big);
    reference.back() = 'g';
    EXPECT_FALSE(b.FromString(reference.c_str()));
}

TEST(GrowableBuffer, BinaryForm) {
    // A 64-bit length, then the bytes; an empty buffer writes its length only.
    CGrowableBuffer b;
    b.Assign(kAbc, 3);
    unsigned char memory[32] = {};
    {
        zulwin::CMemFile file(memory, sizeof memory);
        b.Save(&file);
        CGrowableBuffer().Save(&file);
    }
    EXPECT_EQ(std::string(memory, memory + 19),
              std::string("\3\0\0\0\0\0\0\0abc\0\0\0\0\0\0\0\0", 19));
    // Loaded forms: a length field cut short reads as the bytes that arrived; length 0 gives the
    // length field's count; a length beyond the data leaves the missing bytes zero; lengths no
    // storage can hold fail, the largest by throwing.
    const std::tuple<std::string, int, Vec> cases[] = {
        // result -1: throws bad_alloc
        {std::string(memory, memory + 11), 3, {'a', 'b', 'c'}},
        {std::string("\2\0\0", 3), 0, {0, 0}},
        {std::string(8, '\0'), 8, {}},
        {std::string("\5\0\0\0\0\0\0\0ab", 10), 2, {'a', 'b', 0, 0, 0}},
        {std::string("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFzz", 10), 0, {'o', 'l', 'd'}},
        {std::string("\0\0\0\0\0\0\0\x80zz", 10), -1, {'o', 'l', 'd'}}};
    for (auto const& [form, result, bytes] : cases) {
        std::memcpy(memory, form.data(), form.size());
        zulwin::CMemFile file(memory, form.size());
        CGrowableBuffer loaded;
        loaded.Assign(reinterpret_cast<const unsigned char*>("old"), 3);
        if (result < 0) {
            EXPECT_THROW(loaded.Load(&file), std::bad_alloc);
        } else {
            EXPECT_EQ(loaded.Load(&file), static_cast<unsigned>(result));
        }
        EXPECT_EQ(Bytes(loaded), bytes) << form.size();
    }
    EXPECT_EQ(b.Load(nullptr), 0u);
}
