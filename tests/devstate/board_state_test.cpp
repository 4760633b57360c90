// Board counters, CPU presence, the ME version text, the PCIe presence push
// and the CPLD report.
#include <climits>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;

constexpr std::size_t kCpuCount = 75482;
constexpr std::size_t kCpuPresent = 75483;
constexpr std::size_t kCpuStride = 292;

class BoardState : public qtest::BoundTest {};

TEST_F(BoardState, Counts_AreClampedSilently) {
    struct Case {
        std::size_t offset;
        int (*read)();
        int raw, expected;
    } cases[] = {
        {kCpuCount, QuorixGetCpuNum, 3, 3},       {kCpuCount, QuorixGetCpuNum, 6, 4},
        {119097, QuorixGetFrontBpNum, 8, 8},      {119097, QuorixGetFrontBpNum, 9, 8},
        {119098, QuorixGetRearBpNum, 5, 5},       {119098, QuorixGetRearBpNum, 200, 5},
        {143132, QuorixGetOcpCardNum, 1, 1},      {143132, QuorixGetOcpCardNum, 3, 2},
        {6419986, QuorixGetSysRstartCause, 0xA7, 0xA7},
    };
    qtest::logToConsole({"QRXMONITOR"});
    for (const Case &c : cases) {
        block().setU8(c.offset, static_cast<unsigned char>(c.raw));
        int result = -1;
        EXPECT_EQ(qtest::captureStdout([&] { result = c.read(); }), "") << c.offset;
        EXPECT_EQ(result, c.expected) << c.offset << " raw " << c.raw;
    }
}

TEST_F(BoardState, MemoryPower_IsTruncated) {
    block().setF32(79921, 123.9f);
    EXPECT_EQ(GetMemoryPower(), 123);
    block().setF32(79921, -7.8f);
    EXPECT_EQ(GetMemoryPower(), -7);
}

TEST_F(BoardState, CpuPresent_UsesASignedBoundAgainstTheClampedCount) {
    for (int i = 0; i < 4; ++i) block().setU8(kCpuPresent + kCpuStride * i, static_cast<unsigned char>(0x10 + i));
    block().setU8(kCpuPresent - kCpuStride, 0x0F);
    struct Case {
        int count, index, expected;
    } cases[] = {{2, 0, 0x10}, {2, 1, 0x11}, {2, 2, 0}, {6, 3, 0x13}, {6, 4, 0}, {2, -1, 0x0F}, {0, 0, 0},
                 {0, -1, 0x0F}, {2, INT_MIN, 0}};
    for (const Case &c : cases) {
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
    block().setU8(kCpuPresent, 0xEE);
    block().setU8(kCpuPresent + kCpuStride, 0xEE);
    block().setU8(kCpuPresent + 2 * kCpuStride, 0xEE);
    EXPECT_EQ(GetCpuStat(), 0);
    EXPECT_EQ(g_cpuQueries, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(block().u8(kCpuPresent), 1);
    EXPECT_EQ(block().u8(kCpuPresent + kCpuStride), 0);
    EXPECT_EQ(block().u8(kCpuPresent + 2 * kCpuStride), 0xEE);  // result 7 leaves the byte

    EXPECT_EQ(GetCpuStat(), 0);
    EXPECT_EQ(g_cpuQueries.size(), 3u);
}

TEST_F(BoardState, ConfiguredBitmap_StoresThePresentCpus) {
    block().setU8(kCpuCount, 4);
    const unsigned char present[] = {1, 0, 1, 1};
    for (int i = 0; i < 4; ++i) block().setU8(kCpuPresent + kCpuStride * i, present[i]);
    EXPECT_EQ(GetConfiguredCPUBitMap(), 0x0D);
    EXPECT_EQ(block().u8(6419669), 0x0D);

    block().setU8(kCpuCount, 0);
    EXPECT_EQ(GetConfiguredCPUBitMap(), 0);
    EXPECT_EQ(block().u8(6419669), 0);

    block().setU8(kCpuCount, 9);  // clamped to 4
    block().setU8(kCpuPresent + kCpuStride, 2);
    EXPECT_EQ(GetConfiguredCPUBitMap(), 0x0D);
}

TEST_F(BoardState, BitCount_CountsEverySetBit) {
    struct Case {
        unsigned long long value;
        int bits;
    } cases[] = {{0, 0}, {1, 1}, {0x1234, 5}, {0x8000000000000001ull, 2}, {~0ull, 64}};
    for (const Case &c : cases) EXPECT_EQ(GetBitCount(c.value), c.bits) << c.value;
}

void putMe(unsigned char major, unsigned char minor, unsigned build) {
    block().setU8(79846, major);
    block().setU8(79847, minor);
    block().setU32(79855, build);
}

TEST_F(BoardState, MeRevision_BuildsTheVersionText) {
    struct Case {
        unsigned char major, minor;
        unsigned build;
        const char *text;
    } cases[] = {
        {4, 0x15, (1u << 12) | (2u << 8) | (3u << 20), "4.1.5.123"},
        {4, 0x15, 3u << 20, "4.1.5.3"},
        {4, 0x15, (2u << 8) | (3u << 20), "4.1.5.23"},
        {0x84, 0x15, 0, "4.1.5.0"},             // bit 7 of the major byte is not part of it
        {127, 0xAB, (0xCu << 12) | 0xFF0F00u, "127.:.;.<?\?"},  // nibbles above 9 stay '0' + nibble
    };
    for (const Case &c : cases) {
        putMe(c.major, c.minor, c.build);
        std::vector<char> buf(20, 'x');
        ASSERT_EQ(QuorixGetMeRevision(0, 0, buf.data(), 20), 0);
        EXPECT_EQ(std::string(buf.data()), c.text);
        for (std::size_t k = std::string(c.text).size(); k < buf.size(); ++k) EXPECT_EQ(buf[k], 0) << k;
    }
}

TEST_F(BoardState, MeRevision_RefusesSmallOrNullBuffers) {
    putMe(4, 0x15, 3u << 20);
    std::vector<char> buf(15, 'x');
    int result = 0;
    EXPECT_EQ(qtest::captureStdout([&] { result = QuorixGetMeRevision(2, 9, buf.data(), 14); }),
              "Get Fw Version get input error fwIndex:2, inputSize:14!!");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(buf[0], 'x');
    EXPECT_EQ(qtest::captureStdout([&] { result = QuorixGetMeRevision(1, 0, nullptr, 64); }),
              "Get Fw Version get input error fwIndex:1, inputSize:64!!");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(QuorixGetMeRevision(0, 0, buf.data(), -5), -1);
    EXPECT_EQ(QuorixGetMeRevision(0, 0, buf.data(), 15), 0);
    EXPECT_EQ(std::string(buf.data()), "4.1.5.3");
}

int g_power = 0;
std::vector<unsigned> g_pushed;
int systemPower(int, int, int) { return g_power; }
int slotPresence(unsigned *presence) {
    *presence = 0x12345678u;
    return 0;
}
int pushPresence(unsigned *presence) {
    g_pushed.push_back(*presence);
    return 0;
}

// The last power state is per process, so its whole life is one test.
TEST_F(BoardState, PcieSlotPresence_IsPushedWhenPowerTurnsOn) {
    qtest::replaceSlot(qrx::Slot::checkSystemPowerOk, systemPower);
    qtest::replaceSlot(qrx::Slot::QuorixGetPCIESlotPresentInfo, slotPresence);
    qtest::replaceSlot(qrx::Slot::SetPcieSlotPresentToCpld, pushPresence);
    struct Step {
        int power;
        std::size_t pushes;
    } steps[] = {{0, 0}, {1, 1}, {1, 1}, {0x101, 1}, {0, 1}, {1, 2}, {2, 2}, {1, 3}};
    for (const Step &s : steps) {
        g_power = s.power;
        EXPECT_EQ(QuorixSetPCIESlotPresentToCPLD(), 0);
        EXPECT_EQ(g_pushed.size(), s.pushes) << "power " << s.power;
    }
    EXPECT_EQ(g_pushed, (std::vector<unsigned>{0x12345678u, 0x12345678u, 0x12345678u}));
}

TEST_F(BoardState, CpldReport_ShowsTheCpldFieldsOfTheBlock) {
    block().setU8(0x149B9, 0x2A);
    block().setU8(0x1CC32, 0x13);
    block().setU8(0x1D071, 0x05);
    block().setU8(0x1D0EA, 0x21);
    block().setU8(119097, 1);
    block().setU8(119098, 6);  // clamped to 5
    std::size_t bp0 = 119099, rear0 = 119099 + 1470 * 8;
    block().setU8(bp0, 1);
    block().setU8(bp0 + 1, 254);
    qtest::putText(bp0 + 4, "BP12HDD-Q01\x01");
    block().setU8(bp0 + 302, 0x34);
    block().setU8(bp0 + 558, 12);
    qtest::putText(rear0 + 4, "BPREAR2");
    block().setU8(0x101AD, 1);
    qtest::putText(0x101B2, "FANPLANE-A");
    block().setU8(0x101FD, 0x07);
    EXPECT_GOLDEN("cpld_report.txt", qtest::captureStdout([] { ShowAllCPLDInfo(); }));
}

int g_ocpResults[2] = {0, 0};
int ocpPresent(int slot) { return g_ocpResults[slot]; }

TEST_F(BoardState, SyncOcp_StoresEachSlotAndTheCount_KeepingASlotThatFailedToRead) {
    qtest::replaceSlot(qrx::Slot::QuorixGetOcpPresent, ocpPresent);
    const struct {
        int slot0, slot1, result;
        unsigned char present0, present1;
    } cases[] = {
        {1, 0, 1, 1, 0}, {0, 3, 1, 0, 1}, {2, 1, 2, 1, 1},
        {-1, 0, -1, 1, 0},  // slot 0 unreadable: its card stays counted
        {0, 0, 0, 0, 0},  {0, -4, -1, 0, 0},
    };
    for (const auto &c : cases) {
        g_ocpResults[0] = c.slot0;
        g_ocpResults[1] = c.slot1;
        EXPECT_EQ(QuorixSyncOCPDeviceInfo(), c.result) << c.slot0 << "," << c.slot1;
        EXPECT_EQ(qtest::blockBytes(0x200440, 2), (std::vector<unsigned char>{c.present0, c.present1}));
        EXPECT_EQ(QuorixGetOcpCardNum(), c.present0 + c.present1);
    }
}

std::vector<int> g_polled;
int pollDevice(int index) {
    g_polled.push_back(index);
    return -1;  // the pass ignores what a query returns
}

// Only a device that is present and whose link is up costs a platform call.
TEST_F(BoardState, PciePolls_QueryEveryDeviceWithBothReadinessFlags) {
    const struct {
        int (*poll)();
        qrx::Slot slot;
        std::size_t flags;
    } passes[] = {{QuorixGetPcieGPUThread, qrx::Slot::QuorixGetPcieGPUInfo, 0x200400},
                  {QuorixGetPcieAcceleratorsThread, qrx::Slot::QuorixGetPcieAcceleratorsInfo, 0x200420}};
    for (const auto &pass : passes) {
        qtest::Sim::get().reset();
        qtest::replaceSlot(pass.slot, pollDevice);
        const unsigned char flags[][2] = {{1, 1}, {1, 0}, {0, 1}, {1, 1}, {2, 1}, {1, 2}};
        for (std::size_t i = 0; i < 6; ++i) qtest::block().copyIn(pass.flags + 2 * i, flags[i], 2);
        qtest::block().setU8(pass.flags + 2 * 15, 1);
        qtest::block().setU8(pass.flags + 2 * 15 + 1, 1);
        qtest::block().setU8(pass.flags + 2 * 16, 1);  // past the 16 devices
        qtest::block().setU8(pass.flags + 2 * 16 + 1, 1);
        g_polled.clear();
        EXPECT_EQ(pass.poll(), 0);
        EXPECT_EQ(g_polled, (std::vector<int>{0, 3, 15})) << qrx::slotIndex(pass.slot);
    }
}

}  // namespace
