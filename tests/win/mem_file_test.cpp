// CMemFile: the limits of seeking and growing, growth taken over by a derived class, and random
// operation sequences checked against a plain model.
#include <platform/files.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <tuple>
#include <vector>

using zulwin::CFileException, zulwin::CMemFile;

namespace {

// Exposes the block's bookkeeping, and can refuse to grow.
class ProbeFile : public CMemFile {
public:
    using CMemFile::CMemFile;
    unsigned long BufferSize() const { return m_nBufferSize; }
    // With `refuse` set, growth requests are ignored.
    unsigned long GrowFile(unsigned long n) override { return refuse ? 0 : CMemFile::GrowFile(n); }
    bool refuse = false;
};

// The code of the zulplatform::CException `action` throws, 100 + the cause of a CFileException*
// (a refused seek: 109), or 0.
template <class Action> int Thrown(Action&& action) {
    try {
        action();
    } catch (zulplatform::CException const& e) {
        return e.GetCode();
    } catch (CFileException* e) {
        int const cause = 100 + e->m_cause;
        e->Delete();
        return cause;
    }
    return 0;
}

} // namespace

TEST(CMemFileLimits, SeeksGrowthAndBadInput) {
    ProbeFile file(16);
    file.Write("0123456789", 10);
    // From position 5: {offset, origin, thrown code (109: a refused seek; -2: no block that
    // large)}. Targets past LONG_MAX and before 0 are refused without overflowing; a target of
    // LONG_MAX asks for a block too large to exist. So does a write whose end wraps or passes
    // any allocation, and one a derived class that does not grow cannot take.
    const long m = LONG_MIN, M = LONG_MAX;
    const std::tuple<long, unsigned int, int> cases[] = {
        {m, 1, 109}, {M - 4, 1, 109}, {M - 5, 1, -2}, {M, 0, -2}};
    for (const auto& [offset, origin, want] : cases)
        EXPECT_EQ(Thrown([&, o = offset, g = origin] { file.Seek(5, 0), file.Seek(o, g); }), want)
            << offset;
    EXPECT_EQ(Thrown([&] { file.Write("x", ULONG_MAX - 1); }), -2);
    EXPECT_EQ(Thrown([&] { file.Write("x", 1UL << 63); }), -2);
    file.refuse = true;
    EXPECT_EQ(Thrown([&] { file.Seek(1000, CMemFile::begin), file.Write("q", 1); }), -2);
}

// Random writes, reads and seeks compared after every step with a byte vector, a position and
// the block size: growth rounds up to a power-of-two granule (exactly for 0 and 1), never
// doubling. Bytes of a gap left by a seek past the end are unspecified (-1).
TEST(CMemFileModel, RandomOperationSequences) {
    std::mt19937 rng(20240611);
    for (int round = 0; round < 30; ++round) {
        unsigned long const granule = (1UL << (rng() % 8)) >> 1;
        ProbeFile file(granule);
        std::vector<int> data;
        unsigned long pos = 0, block = 0;
        auto const grow = [&](unsigned long size) {
            if (size > block)
                block = granule > 1 && size % granule ? (size / granule + 1) * granule : size;
        };
        for (int step = 0; step < 300; ++step) {
            unsigned int const op = rng() % 4;
            if (op == 0) {
                std::vector<unsigned char> bytes(rng() % 200);
                std::generate(bytes.begin(), bytes.end(), [&] { return rng(); });
                file.Write(bytes.data(), bytes.size());
                if (!bytes.empty() && pos + bytes.size() > data.size()) {
                    data.resize(pos + bytes.size(), -1);
                    grow(data.size());
                }
                std::copy(bytes.begin(), bytes.end(), data.begin() + long(pos));
                pos += bytes.size();
            } else if (op == 1) {
                unsigned long const want = rng() % 300;
                std::vector<unsigned char> out(want + 1, 0xEE);
                unsigned int const got = file.Read(out.data(), want);
                ASSERT_EQ(got, pos >= data.size() ? 0 : std::min(want, data.size() - pos));
                for (unsigned long i = 0; i < got; ++i)
                    ASSERT_TRUE(data[pos + i] < 0 || out[i] == data[pos + i]) << i;
                ASSERT_EQ(out[want], 0xEE); // nothing beyond the count
                pos += got;
            } else {
                unsigned int const origin = rng() % 4;
                long const offset = static_cast<long>(rng() % 1200) - 600;
                long const base[] = {0, long(pos), long(data.size()), 0};
                long const target = offset + base[origin];
                bool const refused = origin == 3 || (origin == 2 && offset > 0) || target < 0;
                ASSERT_EQ(Thrown([&] { file.Seek(offset, origin); }), refused ? 109 : 0);
                if (!refused && (pos = static_cast<unsigned long>(target)) > data.size())
                    grow(pos);
            }
            ASSERT_EQ(file.GetPosition(), pos);
            ASSERT_EQ(file.GetLength(), data.size());
            ASSERT_EQ(file.BufferSize(), block) << "granule " << granule;
        }
    }
}
