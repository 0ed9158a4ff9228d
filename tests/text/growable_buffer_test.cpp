// CGrowableBuffer: the grow size and allocation rule, appending, hex text against snprintf, and the
// binary form through a memory file.
#include <platform/files.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
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

TEST(GrowableBuffer, GrowthAndAppending) {
    using Pair = std::pair<unsigned long, unsigned long>;
    for (auto [asked, got] : {Pair{0, 1}, Pair{100, 128}, Pair{ULONG_MAX, 8192}})
        EXPECT_EQ(CGrowableBuffer().SetGrowSize(asked), got) << asked;
    // Allocated sizes are multiples of the grow size 16, except a length that is one already.
    CGrowableBuffer b(16);
    b.Assign(kAbc, 3);
    for (auto [length, allocated] : {Pair{17, 32}, Pair{5, 32}, Pair{40, 48}, Pair{64, 64}}) {
        unsigned char* const data = b.AllocMem(length, true);
        EXPECT_EQ(std::string(data, data + 3), "abc"); // kept bytes survive a growth
        EXPECT_TRUE(b.GetLength() == length && b.GetAllocatedSize() == allocated) << length;
    }
    b.SetGrowSize(4);
    b.Assign(kAbc, 3);
    b.Append(1, kAbc, 3); // overwrites and extends
    EXPECT_EQ(Bytes(b), (Vec{'a', 'a', 'b', 'c'}));
    b.Append(6, kAbc, 1);        // beyond the end: a gap
    b.Append(7, b.GetData(), 7); // from its own bytes, which move as it grows
    EXPECT_EQ(b.GetLength(), 14u);
    // The gap keeps what the storage held: fresh storage, so zeros.
    EXPECT_EQ(std::string(b.GetData() + 4, b.GetData() + 11), std::string("\0\0aaabc", 7));

    b.Assign(kAbc, 3);
    b += static_cast<unsigned char>('d');
    b += b;
    EXPECT_EQ(Bytes(b), (Vec{'a', 'b', 'c', 'd', 'a', 'b', 'c', 'd'}));
}

TEST(GrowableBuffer, HexText) {
    CGrowableBuffer b;
    zulwin::CString out("previous");
    b.ToString(out);
    EXPECT_EQ(out, "previous"); // an empty buffer leaves the text alone

    // 128 KiB of text against snprintf's digits, both ways and in either case; a bad digit in
    // the last block fails and leaves the buffer without storage; so do odd lengths.
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
    reference[reference.size() - 1001] = 'g'; // within the last block, not its last pair
    EXPECT_FALSE(b.FromString(reference.c_str()) || b.GetData() != nullptr);
    EXPECT_FALSE(b.FromString("abc"));
}

// A 64-bit length, then the bytes; loaded from a file where the data ends early, the missing
// bytes are zero.
TEST(GrowableBuffer, BinaryForm) {
    CGrowableBuffer b, loaded;
    b.Assign(kAbc, 3);
    unsigned char memory[16] = {};
    {
        zulwin::CMemFile file(memory, sizeof memory);
        b.Save(&file);
    }
    EXPECT_EQ(std::string(memory, memory + 11), std::string("\3\0\0\0\0\0\0\0abc", 11));
    memory[0] = 5;
    zulwin::CMemFile file(memory, 11);
    EXPECT_EQ(loaded.Load(&file), 3u);
    EXPECT_EQ(Bytes(loaded), (Vec{'a', 'b', 'c', 0, 0}));
}
