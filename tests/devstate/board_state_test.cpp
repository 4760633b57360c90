// Board counters, CPU presence and the ME version text.
#include <climits>

#include "quorix_test.h"

namespace {

using qtest::block;
constexpr std::size_t kCpuCount = 75482, kCpuPresent = 75483, kCpuStride = 292;
std::size_t cpu(int i) { return kCpuPresent + kCpuStride * i; }

class BoardState : public qtest::BoundTest {};

TEST_F(BoardState, Counts_AreClampedSilently) {
    const struct { std::size_t offset; int (*read)(); int raw, expected; } cases[] = {
        {kCpuCount, QuorixGetCpuNum, 3, 3},   {kCpuCount, QuorixGetCpuNum, 6, 4},   {119097, QuorixGetFrontBpNum, 8, 8},
        {119097, QuorixGetFrontBpNum, 9, 8},  {119098, QuorixGetRearBpNum, 5, 5},   {119098, QuorixGetRearBpNum, 200, 5},
        {143132, QuorixGetOcpCardNum, 1, 1},  {143132, QuorixGetOcpCardNum, 3, 2},  {6419986, QuorixGetSysRstartCause, 0xA7, 0xA7}};
    qtest::logToConsole({"QRXMONITOR"});
    for (const auto &c : cases) {
        block().setU8(c.offset, static_cast<unsigned char>(c.raw));
        int result = -1;
        EXPECT_EQ(qtest::captureStdout([&] { result = c.read(); }), "") << c.offset;
        EXPECT_EQ(result, c.expected) << c.offset << " raw " << c.raw;
    }
    for (auto [watts, expected] : std::vector<std::pair<float, int>>{{123.9f, 123}, {-7.8f, -7}}) {
        block().setF32(79921, watts);
        EXPECT_EQ(GetMemoryPower(), expected);
    }
}

TEST_F(BoardState, CpuPresent_UsesASignedBoundAgainstTheClampedCount) {
    for (int i = -1; i < 4; ++i) block().setU8(cpu(i), static_cast<unsigned char>(0x10 + i));
    const struct { int count, index, expected; } cases[] = {
        {2, 0, 0x10}, {2, 1, 0x11}, {2, 2, 0}, {6, 3, 0x13}, {6, 4, 0}, {2, -1, 0x0F}, {0, 0, 0}, {0, -1, 0x0F}, {2, INT_MIN, 0}};
    for (const auto &c : cases) {
        block().setU8(kCpuCount, static_cast<unsigned char>(c.count));
        EXPECT_EQ(QuorixGetCpuPresentStatus(c.index), c.expected) << "count " << c.count << " index " << c.index;
    }
}

std::vector<int> g_cpuQueries;
int cpuPresent(int index) {
    g_cpuQueries.push_back(index);
    return index == 0 ? 1 : index == 1 ? 0 : 7;
}

// GetCpuStat keeps a per-process flag, so its whole life is one test.
TEST_F(BoardState, CpuStat_FillsOncePerProcessAndRetriesAfterABadCount) {
    qtest::replaceSlot(qrx::Slot::GetCpuPresent, cpuPresent);
    block().setU8(kCpuCount, 6);
    EXPECT_EQ(GetCpuStat(), 0);
    EXPECT_TRUE(g_cpuQueries.empty());
    block().setU8(kCpuCount, 3);
    for (int i = 0; i < 3; ++i) block().setU8(cpu(i), 0xEE);
    EXPECT_EQ(GetCpuStat(), 0);
    EXPECT_EQ(GetCpuStat(), 0);
    EXPECT_EQ(g_cpuQueries, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(std::vector<int>({block().u8(cpu(0)), block().u8(cpu(1)), block().u8(cpu(2))}),
              std::vector<int>({1, 0, 0xEE}));  // a result other than 0 or 1 leaves the byte
}

TEST_F(BoardState, ConfiguredBitmap_StoresThePresentCpus) {
    const unsigned char present[] = {1, 0, 1, 1};
    for (int i = 0; i < 4; ++i) block().setU8(cpu(i), present[i]);
    for (auto [count, bitmap] : std::vector<std::pair<int, int>>{{4, 0x0D}, {0, 0}, {3, 0x05}, {9, 0x0D}}) {
        block().setU8(kCpuCount, static_cast<unsigned char>(count));
        EXPECT_EQ(GetConfiguredCPUBitMap(), bitmap) << count;
        EXPECT_EQ(block().u8(6419669), bitmap);
    }
    const struct { unsigned long long value; int bits; } cases[] = {{0, 0}, {1, 1}, {0x1234, 5}, {0x8000000000000001ull, 2}, {~0ull, 64}};
    for (const auto &c : cases) EXPECT_EQ(GetBitCount(c.value), c.bits) << c.value;
}

TEST_F(BoardState, MeRevision_BuildsTheVersionTextAndRefusesSmallBuffers) {
    const struct { unsigned char major, minor; unsigned build; int size; const char *text; } cases[] = {
        {4, 0x15, (1u << 12) | (2u << 8) | (3u << 20), 20, "4.1.5.123"}, {4, 0x15, 3u << 20, 15, "4.1.5.3"},
        {4, 0x15, (2u << 8) | (3u << 20), 20, "4.1.5.23"},
        {0x84, 0x15, 0, 20, "4.1.5.0"},                         // bit 7 of the major byte is not part of it
        {127, 0xAB, (0xCu << 12) | 0xFF0F00u, 20, "127.:.;.<?\?"},  // nibbles above 9 stay '0' + nibble
        {4, 0x15, 0, 14, nullptr}, {4, 0x15, 0, -5, nullptr}};
    for (const auto &c : cases) {
        block().setU8(79846, c.major), block().setU8(79847, c.minor), block().setU32(79855, c.build);
        std::vector<char> buf(20, 'x');
        int result = 0;
        const std::string out = qtest::captureStdout([&] { result = QuorixGetMeRevision(2, 9, buf.data(), c.size); });
        EXPECT_EQ(result, c.text ? 0 : -1) << c.size;
        std::string want = c.text ? c.text : "";
        if (c.text) want.resize(c.size, '\0');  // the whole given size is cleared
        want.resize(20, 'x');
        EXPECT_EQ(std::string(buf.begin(), buf.end()), want);
        EXPECT_EQ(out, c.text ? "" : "Get Fw Version get input error fwIndex:2, inputSize:" + std::to_string(c.size) + "!!");
    }
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixGetMeRevision(1, 0, nullptr, 64), -1); }),
              "Get Fw Version get input error fwIndex:1, inputSize:64!!");
}


}  // namespace
