// CMemFile: growth by the granule, attached and detached blocks, the seek rules, growth taken
// over by a derived class, and random operation sequences checked against a plain model.
#include <platform/files.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

using zulwin::CFileException;
using zulwin::CMemFile;

namespace {

// Exposes the block's bookkeeping, and can take growth over.
class ProbeFile : public CMemFile {
public:
    using CMemFile::CMemFile;
    unsigned long BufferSize() const { return m_nBufferSize; }
    const unsigned char* Block() const { return m_lpBuffer; }

    // With `refuse` set, growth requests are counted and ignored.
    unsigned long GrowFile(unsigned long newLength) override {
        ++grows;
        return refuse ? 0 : CMemFile::GrowFile(newLength);
    }
    int grows = 0;
    bool refuse = false;
};

// The code of the zulplatform::CException `action` throws, the cause of a CFileException*
// (as 100 + cause, checking its empty name), or 0.
template <class Action> int Thrown(Action&& action) {
    try {
        action();
    } catch (zulplatform::CException const& e) {
        return e.GetCode();
    } catch (CFileException* e) {
        int const cause = 100 + e->m_cause;
        EXPECT_STREQ(e->m_strFileName.GetString(), "");
        EXPECT_EQ(e->m_lOsError, -1);
        e->Delete();
        return cause;
    }
    return 0;
}

} // namespace

TEST(CMemFileGrowth, RoundsUpToTheGranuleWithoutDoubling) {
    using Sizes = std::vector<unsigned long>;
    // {granule, write sizes, the buffer size after each write}
    const std::tuple<unsigned long, Sizes, Sizes> cases[] = {
        {1024, {1500}, {2048}},
        {1024, {2048}, {2048}},
        {1024, {1, 1023, 1, 1024}, {1024, 1024, 2048, 3072}},
        {1, {3, 5, 1}, {3, 8, 9}},
        {0, {7, 2}, {7, 9}},
        {16, {17, 15}, {32, 32}}};
    for (const auto& [granule, writes, want] : cases) {
        ProbeFile file(granule);
        Sizes sizes;
        for (unsigned long n : writes) {
            std::vector<unsigned char> data(n, 'x');
            file.Write(data.data(), n);
            sizes.push_back(file.BufferSize());
        }
        EXPECT_EQ(sizes, want) << granule;
    }
}

TEST(CMemFileBlocks, AttachDetachAndClose) {
    // A fixed block: its bytes are the contents, and it cannot grow.
    unsigned char fixed[10] = {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
    ProbeFile file(fixed, sizeof fixed, 0);
    EXPECT_EQ(file.GetLength(), 10u);
    unsigned char out[16] = {};
    EXPECT_EQ(file.Read(out, 1UL << 32), 10u); // a huge count copies what there is
    EXPECT_EQ(std::string(out, out + 10), "0123456789");
    EXPECT_EQ(Thrown([&] { file.Seek(0, CMemFile::begin), file.Write("abcdefghijk", 11); }), -2);
    EXPECT_EQ(std::string(fixed, fixed + 10), "0123456789"); // a failed growth changes nothing
    EXPECT_EQ(file.GetPosition(), 0u);
    EXPECT_EQ(Thrown([&] { file.Seek(11, CMemFile::begin); }), -2);
    EXPECT_EQ(file.Detach(), fixed);
    EXPECT_EQ(file.GetLength() + file.GetPosition() + file.BufferSize(), 0u);
    // Detached: empty and unable to grow until the next Attach.
    EXPECT_EQ(Thrown([&] { file.Write("x", 1); }), -2);

    // A growable block is empty space, reallocated as needed and never freed by the object.
    auto* block = static_cast<unsigned char*>(std::malloc(4));
    file.Attach(block, 4, 16);
    EXPECT_EQ(file.GetLength(), 0u);
    file.Write("abcdef", 6);
    EXPECT_EQ(file.BufferSize(), 1024u); // the granule rounds; the grow amount only allows growth
    unsigned char* const grown = file.Detach();
    EXPECT_EQ(std::memcmp(grown, "abcdef", 6), 0);
    std::free(grown);
    // Close forgets an attached block without freeing it (a double free would show).
    block = static_cast<unsigned char*>(std::malloc(8));
    file.Attach(block, 8, 0);
    file.Close();
    EXPECT_EQ(file.Block(), nullptr);
    std::free(block);

    // Closing frees only what the object owns; a null block attaches as no block.
    ProbeFile owned;
    owned.Write("abc", 3);
    owned.Attach(nullptr, 100, 0); // frees the owned block
    EXPECT_EQ(owned.GetLength() + owned.BufferSize(), 0u);
    EXPECT_EQ(Thrown([&] { owned.Write("x", 1); }), -2);
    owned.Attach(nullptr, 100, 8);
    owned.Write("xy", 2);
    unsigned char* const taken = owned.Detach();
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(std::memcmp(taken, "xy", 2), 0);
    std::free(taken);
}

TEST(CMemFileSeek, EveryOriginAndExtremeOffset) {
    ProbeFile file(16);
    file.Write("0123456789", 10);
    // The plain rules are checked by the random sequences below; these are the limits and
    // extremes, each from position 5: {offset, origin, new position, or -(100 + cause), or the
    // negated exception code (2: a target of LONG_MAX asks for a block too large to exist)}.
    const std::tuple<long, unsigned int, long> cases[] = {
        {LONG_MIN, 0, -109}, {-5, 1, 0},           {-6, 1, -109},          {LONG_MIN, 1, -109},
        {-10, 2, 0},         {-11, 2, -109},       {1, 2, -109},           {LONG_MIN, 2, -109},
        {LONG_MAX, 2, -109}, {0, 3, -109},         {0, UINT_MAX, -109},    {95, 1, 100},
        {LONG_MAX, 0, 2},    {LONG_MAX - 5, 1, 2}, {LONG_MAX - 4, 1, -109}};
    for (const auto& [offset, origin, want] : cases) {
        file.Seek(5, CMemFile::begin);
        long result = 0;
        int const code = Thrown([&, o = offset, g = origin] { result = long(file.Seek(o, g)); });
        EXPECT_EQ(code == 0 ? result : -code, want) << offset << " " << origin;
        // A refused seek leaves the position; the file length never changes by seeking.
        EXPECT_EQ(file.GetPosition(), code == 0 ? static_cast<unsigned long>(want) : 5u);
        EXPECT_EQ(file.GetLength(), 10u);
    }
    // Past the end: the block grew to the target, the gap fills on the next write.
    EXPECT_GE(file.BufferSize(), 100u);
    file.Seek(100, CMemFile::begin);
    unsigned char out[4];
    EXPECT_EQ(file.Read(out, 4), 0u);
    file.Write("z", 1);
    EXPECT_EQ(file.GetLength(), 101u);
    // SetLength is CFile's: with no descriptor it only moves to the end.
    file.Seek(0, CMemFile::begin);
    file.SetLength(3);
    EXPECT_EQ(file.GetPosition(), 101u);
}

TEST(CMemFileGrowth, DerivedClassesTakeGrowthOver) {
    ProbeFile file(8);
    file.Write("abc", 3);
    EXPECT_EQ(file.grows, 1);
    file.Seek(0, CMemFile::begin);
    file.Write("xy", 2); // fits: no growth asked
    file.Seek(40, CMemFile::begin);
    EXPECT_EQ(file.grows, 2);
    // A derived class that does not grow: the write fails instead of overrunning the block.
    file.refuse = true;
    EXPECT_EQ(Thrown([&] { file.Seek(1000, CMemFile::begin), file.Write("q", 1); }), -2);
    EXPECT_EQ(file.GetLength(), 3u);
    unsigned char out[8] = {};
    EXPECT_EQ(file.Read(out, sizeof out), 0u);
}

TEST(CMemFileBadInput, NullBuffersAndZeroCounts) {
    ProbeFile file;
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 0); }), 0);
    EXPECT_EQ(Thrown([&] { (void)file.Read(nullptr, 0); }), 0);
    EXPECT_EQ(Thrown([&] { file.Write(nullptr, 1); }), -4);
    EXPECT_EQ(Thrown([&] { (void)file.Read(nullptr, 1); }), -4);
    EXPECT_EQ(Thrown([&] { file.Write("x", ULONG_MAX); }), -2); // beyond any allocation
    file.Write("abc", 3);
    EXPECT_EQ(Thrown([&] { file.Write("x", ULONG_MAX - 1); }), -2); // position + count wraps
    EXPECT_EQ(Thrown([&] { file.Write("x", 1UL << 63); }), -2);
    EXPECT_EQ(file.GetLength(), 3u);
    EXPECT_EQ(file.GetPosition(), 3u);
}

// Random writes, reads and seeks compared after every step with a byte vector and a position.
// Bytes of a gap left by a seek past the end are unspecified (-1) and are not compared.
TEST(CMemFileModel, RandomOperationSequences) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 30; ++round) {
        ProbeFile file(1UL << (rng() % 8));
        std::vector<int> data;
        unsigned long pos = 0;
        for (int step = 0; step < 300; ++step) {
            switch (rng() % 4) {
            case 0: { // write
                std::vector<unsigned char> bytes(rng() % 200);
                for (auto& b : bytes)
                    b = static_cast<unsigned char>(rng());
                file.Write(bytes.data(), bytes.size());
                if (!bytes.empty() &&
                    pos + bytes.size() > data.size()) // an empty write grows nothing
                    data.resize(pos + bytes.size(), -1);
                std::copy(bytes.begin(), bytes.end(), data.begin() + long(pos));
                pos += bytes.size();
                break;
            }
            case 1: { // read
                unsigned long const want = rng() % 300;
                std::vector<unsigned char> out(want + 1, 0xEE);
                unsigned int const got = file.Read(out.data(), want);
                ASSERT_EQ(got, pos >= data.size() ? 0 : std::min(want, data.size() - pos));
                for (unsigned long i = 0; i < got; ++i)
                    ASSERT_TRUE(data[pos + i] < 0 || out[i] == data[pos + i]) << i;
                ASSERT_EQ(out[want], 0xEE); // nothing beyond the count
                pos += got;
                break;
            }
            default: { // seek
                unsigned int const origin = rng() % 4;
                long const offset = static_cast<long>(rng() % 1200) - 600;
                long const target = offset + (origin == 0   ? 0
                                              : origin == 1 ? long(pos)
                                                            : long(data.size()));
                bool const refused = origin == 3 || (origin == 0 && offset < 0) ||
                                     (origin == 2 && offset > 0) || target < 0;
                ASSERT_EQ(Thrown([&] { file.Seek(offset, origin); }), refused ? 109 : 0);
                if (!refused)
                    pos = static_cast<unsigned long>(target);
                break;
            }
            }
            ASSERT_EQ(file.GetPosition(), pos);
            ASSERT_EQ(file.GetLength(), data.size());
            ASSERT_GE(file.BufferSize(), std::max<unsigned long>(pos, data.size()));
            for (std::size_t i = 0; i < data.size(); ++i)
                ASSERT_TRUE(data[i] < 0 || file.Block()[i] == data[i]) << i;
        }
    }
}
