// CGrowableBuffer: the allocation rule, appending, and hex text across the decoder's blocks
// (hex text and the binary form are also fuzzed).
#include <platform/mem_file.h>
#include <platform/strings.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

const unsigned char kAbc[] = {'a', 'b', 'c'};

TEST(GrowableBuffer, GrowthAndAppending) {
    using Pair = std::pair<unsigned long, unsigned long>;
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
    b.Append(1, kAbc, 3);        // overwrites and extends
    b.Append(6, kAbc, 1);        // beyond the end: a gap, of fresh storage, so zeros
    b.Append(7, b.GetData(), 7); // from its own bytes, which move as it grows
    auto const content = [&] { return std::string(b.GetData(), b.GetData() + b.GetLength()); };
    EXPECT_EQ(content(), std::string("aabc\0\0aaabc\0\0a", 14));
    b.Assign(kAbc, 3);
    b += static_cast<unsigned char>('d');
    b += b;
    EXPECT_EQ(content(), "abcdabcd");
}

TEST(GrowableBuffer, HexText) {
    CGrowableBuffer b;
    zulwin::CString out("previous");
    b.ToString(out);
    EXPECT_EQ(out, "previous"); // an empty buffer leaves the text alone

    // Decoded in blocks of 4096 pairs: 128 KiB of text, the first block in capitals, and again
    // with a bad digit in the last block (not its last pair), which fails and leaves the buffer
    // without storage. (The fuzz target holds the digits to a plain decoder.)
    std::vector<unsigned char> data(1 << 16);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<unsigned char>(i * 83 + 5);
    CGrowableBuffer const big(data);
    big.ToString(out);
    std::string text = out.GetString();
    std::transform(text.begin(), text.begin() + 2 * 4096, text.begin(), ::toupper);
    ASSERT_TRUE(b.FromString(text.c_str()) && b == big);
    text[text.size() - 1001] = 'g';
    EXPECT_FALSE(b.FromString(text.c_str()) || b.GetData() != nullptr);
}

// The saved form, which files written by earlier programs keep: an 8-byte length, then the bytes.
TEST(GrowableBuffer, SavedForm) {
    zulwin::CMemFile file;
    CGrowableBuffer(std::vector<unsigned char>(kAbc, kAbc + 3)).Save(&file);
    file.Seek(0, zulwin::CFile::begin);
    unsigned char saved[12] = {};
    ASSERT_EQ(file.Read(saved, sizeof saved), 11u);
    EXPECT_EQ(std::string(saved, saved + 11), std::string("\3\0\0\0\0\0\0\0abc", 11));
}
