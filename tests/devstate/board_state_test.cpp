// Board counters, CPU presence, the ME version text, the PCIe and OCP pushes
// and polls, and the CPLD report.
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

int g_power = 0;
std::vector<unsigned> g_pushed;
int systemPower(int, int, int) { return g_power; }
int slotPresence(unsigned *presence) { return *presence = 0x12345678u, 0; }
int pushPresence(unsigned *presence) { return g_pushed.push_back(*presence), 0; }

// The last power state is per process, so its whole life is one test.
TEST_F(BoardState, PcieSlotPresence_IsPushedWhenPowerTurnsOn) {
    qtest::replaceSlot(qrx::Slot::checkSystemPowerOk, systemPower);
    qtest::replaceSlot(qrx::Slot::QuorixGetPCIESlotPresentInfo, slotPresence);
    qtest::replaceSlot(qrx::Slot::SetPcieSlotPresentToCpld, pushPresence);
    const struct { int power; std::size_t pushes; } steps[] = {{0, 0}, {1, 1}, {1, 1}, {0x101, 1}, {0, 1}, {1, 2}, {2, 2}, {1, 3}};
    for (const auto &s : steps) {
        g_power = s.power;
        EXPECT_EQ(QuorixSetPCIESlotPresentToCPLD(), 0);
        EXPECT_EQ(g_pushed.size(), s.pushes) << "power " << s.power;
    }
    EXPECT_EQ(g_pushed, std::vector<unsigned>(3, 0x12345678u));
}

TEST_F(BoardState, CpldReport_ShowsTheCpldFieldsOfTheBlock) {
    const std::pair<std::size_t, unsigned char> bytes[] = {
        {0x149B9, 0x2A}, {0x1CC32, 0x13}, {0x1D071, 0x05}, {0x1D0EA, 0x21}, {119097, 1}, {119098, 6},
        {119099, 1}, {119100, 254}, {119099 + 302, 0x34}, {119099 + 558, 12}, {0x101AD, 1}, {0x101FD, 0x07}};
    for (auto [at, value] : bytes) block().setU8(at, value);
    qtest::putText(119099 + 4, "BP12HDD-Q01\x01");
    qtest::putText(119099 + 1470 * 8 + 4, "BPREAR2");
    qtest::putText(0x101B2, "FANPLANE-A");
    EXPECT_GOLDEN("cpld_report.txt", qtest::captureStdout([] { ShowAllCPLDInfo(); }));
}

int g_ocpResults[2] = {0, 0};
int ocpPresent(int slot) { return g_ocpResults[slot]; }

TEST_F(BoardState, SyncOcp_StoresEachSlotAndTheCount_KeepingASlotThatFailedToRead) {
    qtest::replaceSlot(qrx::Slot::QuorixGetOcpPresent, ocpPresent);
    const struct { int slot0, slot1, result; unsigned char present0, present1; } cases[] = {
        {1, 0, 1, 1, 0}, {0, 3, 1, 0, 1}, {2, 1, 2, 1, 1}, {-1, 0, -1, 1, 0}, {0, 0, 0, 0, 0}, {0, -4, -1, 0, 0}};
    for (const auto &c : cases) {
        g_ocpResults[0] = c.slot0, g_ocpResults[1] = c.slot1;
        EXPECT_EQ(QuorixSyncOCPDeviceInfo(), c.result) << c.slot0 << "," << c.slot1;
        EXPECT_EQ(qtest::blockBytes(0x200440, 2), (std::vector<unsigned char>{c.present0, c.present1}));
        EXPECT_EQ(QuorixGetOcpCardNum(), c.present0 + c.present1);
    }
}

std::vector<int> g_polled;
int pollDevice(int index) { return g_polled.push_back(index), -1; }

// Only a device that is present and whose link is up costs a platform call.
TEST_F(BoardState, PciePolls_QueryEveryDeviceWithBothReadinessFlags) {
    const struct { int (*poll)(); qrx::Slot slot; std::size_t flags; } passes[] = {
        {QuorixGetPcieGPUThread, qrx::Slot::QuorixGetPcieGPUInfo, 0x200400},
        {QuorixGetPcieAcceleratorsThread, qrx::Slot::QuorixGetPcieAcceleratorsInfo, 0x200420}};
    const std::vector<unsigned char> flags = {1, 1, 1, 0, 0, 1, 1, 1, 2, 1, 1, 2};
    for (const auto &pass : passes) {
        qtest::replaceSlot(pass.slot, pollDevice);
        block().copyIn(pass.flags, flags.data(), flags.size());
        block().setU16(pass.flags + 2 * 15, 0x0101);
        block().setU16(pass.flags + 2 * 16, 0x0101);  // past the 16 devices
        g_polled.clear();
        EXPECT_EQ(pass.poll(), 0);
        EXPECT_EQ(g_polled, (std::vector<int>{0, 3, 15})) << qrx::slotIndex(pass.slot);
    }
}

}  // namespace
