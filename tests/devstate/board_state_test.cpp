#include <algorithm>
#include <climits>

#include "quorix_test.h"

namespace {

using qtest::block;
using qtest::Bytes;
constexpr std::size_t kCpuCount = 75482, kCpuPresent = 75483, kCpuStride = 292;
std::size_t cpu(int i) { return kCpuPresent + kCpuStride * i; }
const char *const kMeError = "Get Fw Version get input error fwIndex:";

class BoardState : public qtest::BoundTest {};

TEST_F(BoardState, Counts_AreClampedSilently) {
    const struct { std::size_t at; int (*read)(); int raw, expected; } cases[] = {
        {kCpuCount, QuorixGetCpuNum, 3, 3}, {kCpuCount, QuorixGetCpuNum, 6, 4}, {119097, QuorixGetFrontBpNum, 8, 8},
        {119097, QuorixGetFrontBpNum, 9, 8}, {119098, QuorixGetRearBpNum, 5, 5}, {119098, QuorixGetRearBpNum, 200, 5},
        {143132, QuorixGetOcpCardNum, 3, 2}, {6419986, QuorixGetSysRstartCause, 7, 7}};
    qtest::logToConsole({"QRXMONITOR"});
    for (const auto &c : cases) {
        block().setU8(c.at, static_cast<unsigned char>(c.raw));
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(c.read(), c.expected) << c.at << " raw " << c.raw; }), "");
    }
    block().setF32(79921, -7.8f);
    EXPECT_EQ(GetMemoryPower(), -7);  // truncated toward zero
}

TEST_F(BoardState, CpuPresence_ReadsOneUnderASignedBoundAndMapsThePresentOnes) {
    const unsigned char present[] = {15, 1, 2, 0, 1};  // CPUs -1..3
    for (int i = -1; i < 4; ++i) block().setU8(cpu(i), present[i + 1]);
    const struct { int count, index, expected, bitmap; } cases[] = {
        {2, 0, 1, 0x01}, {2, 1, 2, 0x01}, {3, 3, 0, 0x01}, {6, 3, 1, 0x09}, {6, 4, 0, 0x09}, {2, -1, 15, 0x01},
        {0, 0, 0, 0}, {0, -1, 15, 0}, {2, INT_MIN, 0, 0x01}, {4, 3, 1, 0x09}, {9, 0, 1, 0x09}};
    for (const auto &c : cases) {
        block().setU8(kCpuCount, static_cast<unsigned char>(c.count));
        EXPECT_EQ(std::vector<int>({QuorixGetCpuPresentStatus(c.index), GetConfiguredCPUBitMap(), block().u8(6419669)}),
                  std::vector<int>({c.expected, c.bitmap, c.bitmap})) << "count " << c.count << " index " << c.index;
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
    EXPECT_EQ(std::vector<int>({GetCpuStat(), GetCpuStat()}), std::vector<int>({0, 0}));
    EXPECT_EQ(g_cpuQueries, (std::vector<int>{0, 1, 2}));
    EXPECT_EQ(std::vector<int>({block().u8(cpu(0)), block().u8(cpu(1)), block().u8(cpu(2))}),
              std::vector<int>({1, 0, 0xEE}));  // a result other than 0 or 1 leaves the byte
}

TEST_F(BoardState, MeRevision_BuildsTheVersionTextAndRefusesSmallBuffers) {
    const struct { unsigned char major, minor; unsigned build; int size; const char *text; } cases[] = {
        {4, 0x15, (1u << 12) | (2u << 8) | (3u << 20), 20, "4.1.5.123"}, {4, 0x15, 3u << 20, 15, "4.1.5.3"},
        {4, 0x15, (2u << 8) | (3u << 20), 20, "4.1.5.23"}, {0x84, 0x15, 0, 20, "4.1.5.0"},  // major bit 7 is not in it
        {127, 0xAB, (0xCu << 12) | 0xFF0F00u, 20, "127.:.;.<?\?"},  // nibbles above 9 stay '0' + nibble
        {4, 0x15, 0, 14, nullptr}, {4, 0x15, 0, -5, nullptr}};
    for (const auto &c : cases) {
        block().setU8(79846, c.major), block().setU8(79847, c.minor), block().setU32(79855, c.build);
        std::vector<char> buf(20, 'x');
        const auto out =
            qtest::captureStdout([&] { EXPECT_EQ(QuorixGetMeRevision(2, 9, buf.data(), c.size), c.text ? 0 : -1); });
        std::string want = c.text ? c.text : "";
        if (c.text) want.resize(c.size, '\0');  // the whole given size is cleared
        want.resize(20, 'x');
        EXPECT_EQ(std::string(buf.begin(), buf.end()), want);
        EXPECT_EQ(out, c.text ? "" : kMeError + std::string("2, inputSize:") + std::to_string(c.size) + "!!");
    }
    EXPECT_EQ(qtest::captureStdout([] { EXPECT_EQ(QuorixGetMeRevision(1, 0, nullptr, 64), -1); }),
              kMeError + std::string("1, inputSize:64!!"));
}

TEST_F(BoardState, ReadAndWrite_PassThroughTheFruDeviceAndReportFailures) {
    Bytes data = {0x01, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC}, back(8, 0);
    EXPECT_EQ(std::vector<int>({quorix_write_fru(5, 0x10, 8, data.data()), quorix_read_fru(5, 0x10, 8, back.data())}),
              std::vector<int>({8, 8}));
    EXPECT_EQ(back, data);
    for (int device : {30, 31, 32, 33}) EXPECT_EQ(quorix_write_fru(device, 0, 4, data.data()), -1);  // protected
    const int readSlot = qrx::slotIndex(qrx::Slot::ReadFru), writeSlot = qrx::slotIndex(qrx::Slot::WriteFru);
    EXPECT_EQ(qtest::Sim::get().callCount(writeSlot) * 10 + qtest::Sim::get().callCount(readSlot), 11u);
    EXPECT_EQ(quorix_write_fru(29, 0, 4, data.data()) + quorix_write_fru(34, 0, 4, data.data()), 8);
    using Call = int (*)(int, int, int, unsigned char *);
    const struct { qrx::Slot slot; int fault; Call call; int result; const char *out; } cases[] = {
        {qrx::Slot::ReadFru, 2, quorix_read_fru, -1, "[INFO]: Read FRU Info Failed. Length = 8\n"},  // half the length
        {qrx::Slot::ReadFru, 1, quorix_read_fru, -1, "[INFO]: Read FRU Info Failed. Length = -1\n"},
        {qrx::Slot::WriteFru, 1, quorix_write_fru, -1, "[INFO]: Write FRU Info Failed. Ret = -1\n"},
        {qrx::Slot::WriteFru, 2, quorix_write_fru, 8, ""}};  // a short write is passed on as it is
    for (const auto &c : cases) {
        qtest::Sim::get().setFault(qrx::slotIndex(c.slot), c.fault);
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(c.call(2, 0, 16, Bytes(16).data()), c.result) << c.out; }),
                  c.out);
    }
    intf_handle[readSlot] = intf_handle[writeSlot] = nullptr;
    EXPECT_EQ(std::vector<int>({quorix_read_fru(1, 0, 4, data.data()), quorix_write_fru(29, 0, 4, data.data()),
                                quorix_write_fru(30, 0, 4, data.data())}), std::vector<int>({-2, -2, -1}));
}

std::vector<std::string> g_eepromWrites;
int g_eepromResult = 0, g_eepromFailAt = -1;
int write24256(int offset, unsigned char *buffer, int length) {
    const bool erased = std::all_of(buffer, buffer + length, [](unsigned char b) { return b == 0xFF; });
    g_eepromWrites.push_back(std::to_string(offset) + "+" + std::to_string(length) + (erased ? "" : "!"));
    return offset == g_eepromFailAt ? -1 : g_eepromResult;
}

// An accepted write of the asset data (at its own offset only) sends the BIOS information to the CPLD again.
TEST_F(BoardState, AssetWrite_FlagsTheBiosInformationForTheCpld) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, +[](int, unsigned char *, int) { return 0; });
    unsigned char asset[4] = {1, 2, 3, 4};
    std::string flags;
    for (int offset : {29121, 29119, 29120}) {
        qtest::captureStdout([&] { EXPECT_EQ(QuorixWriteAssetInfo2EEpromInterface(offset, asset, 4), 0); });
        flags += std::to_string(block().u8(138227));
    }
    EXPECT_EQ(flags, "001");
}

// Two fan planes: a present one answers 0, a valid record past them does not count.
TEST_F(BoardState, FanPlanePresence_OnlyTheTwoRecordsCount) {
    auto plane = [](int k, unsigned char marker, unsigned char present) {
        block().setU8(65966 + 819 * k + 1, marker);
        block().setU8(65966 + 819 * k + 4, present);
    };
    plane(2, 254, 1);
    EXPECT_EQ(checkFanPlanePresent(), -1);
    plane(1, 253, 1);
    EXPECT_EQ(checkFanPlanePresent(), -1) << "no valid marker";
    plane(1, 254, 1);
    EXPECT_EQ(checkFanPlanePresent(), 0);
}

TEST_F(BoardState, ClearEeprom_ErasesPageByPageAndFlagsClearedAssetData) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, write24256);
    qtest::logToConsole({"QRXMONITOR"});
    const struct { int offset, length, failAt, result; std::vector<std::string> writes; int flag; } cases[] = {
        {0, 64, -1, 0, {"0+64"}, 0}, {60, 70, -1, 0, {"60+4", "64+64", "128+2"}, 0}, {32760, 8, -1, 0, {"32760+8"}, 0},
        {32760, 9, -1, -1, {}, 0}, {-1, 4, -1, -1, {}, 0}, {10, 0, -1, -1, {}, 0}, {0, 0x7FFFFFFF, -1, -1, {}, 0},
        {0, 200, 64, -1, {"0+64", "64+64"}, 0}, {29100, 20, -1, 0, {"29100+20"}, 0},
        {29100, 21, -1, 0, {"29100+20", "29120+1"}, 1}};
    for (const auto &c : cases) {
        g_eepromWrites.clear();
        g_eepromFailAt = c.failAt;
        const auto out = qtest::captureStdout([&] { EXPECT_EQ(QuorixClearEEPROMInfo(c.offset, c.length), c.result); });
        EXPECT_EQ(g_eepromWrites, c.writes) << c.offset << "+" << c.length;
        EXPECT_EQ(block().u8(138227), c.flag) << c.offset << "+" << c.length;  // the asset data flag
        EXPECT_EQ(out.find("QuorixClearEEPROMInfo: write of 64 bytes at 64 failed\n") != out.npos, c.failAt >= 0);
    }
}

constexpr std::size_t kFanCount = 0x200000, kFanRecords = 0x200001;

Bytes fanRecord(unsigned char health, unsigned front, unsigned rear, unsigned char duty, const std::string &name) {
    Bytes r(32, 0);
    qrx::ByteView v(r.data());
    v.setU8(0, 1), v.setU8(1, health), v.setU16(2, front), v.setU16(4, rear), v.setU8(6, duty), v.setU8(7, 1);
    v.setU16(8, 12000), v.copyIn(10, name.data(), name.size());
    return r;
}

TEST_F(BoardState, FanRecords_WriteReadShowAndSetTheDuty) {
    qtest::replaceSlot(qrx::Slot::QuorixGetFanSummaryHealth, +[] { return 2; });
    Bytes fan0 = fanRecord(0, 8200, 7900, 45, "FAN0"), fan2 = fanRecord(2, 0, 0, 100, "FAN2\x01");
    EXPECT_EQ(write_quorix_fan_info(2, fan2.data()), 0);
    EXPECT_EQ(write_quorix_fan_info(0, fan0.data()), 0);  // a lower index keeps the count
    EXPECT_EQ(std::vector<int>({block().u8(kFanCount), QuorixGetFanNumber()}), std::vector<int>({3, 3}));
    EXPECT_EQ(qtest::blockBytes(kFanRecords + 64, 32), fan2);
    Bytes out(33, 0xEE);
    EXPECT_EQ(read_quorix_fan_info(2, out.data()), 0);
    fan2.push_back(0xEE);
    EXPECT_EQ(out, fan2);
    EXPECT_GOLDEN("fan_info.txt", qtest::captureStdout([] { EXPECT_EQ(show_fan_info(), 2); }));
    static int slotResult;
    static std::vector<int> calls;
    qtest::replaceSlot(qrx::Slot::SetFanSpeed, +[](int fan, int duty) { return calls.insert(calls.end(), {fan, duty}), slotResult; });
    // A duty is recorded only if the controller took it; stored: the duty byte of the fan, or the nearest fan.
    const struct { int fan, duty, slot, result, stored; bool called; } cases[] = {
        {2, 100, 0, 0, 100, true}, {0, 0, 0, 0, 0, true}, {1, 37, -5, -5, 0xEE, true}, {3, 50, 0, -1, 0xEE, false},
        {-1, 50, 0, -1, 0xEE, false}, {1, 101, 0, -1, 0xEE, false}, {1, -1, 0, -1, 0xEE, false}};
    for (const auto &c : cases) {
        slotResult = c.slot, calls.clear();
        const std::size_t duty = kFanRecords + 32 * std::clamp(c.fan, 0, 2) + 6;
        block().setU8(duty, 0xEE);
        EXPECT_EQ(quorixSetFanSpeedInterface(c.fan, c.duty), c.result) << c.fan << " " << c.duty;
        EXPECT_EQ(calls, (c.called ? std::vector<int>{c.fan, c.duty} : std::vector<int>{})) << c.fan << " " << c.duty;
        EXPECT_EQ(block().u8(duty), c.stored) << c.fan << " " << c.duty;
    }
    block().setU8(kFanCount, 40);  // clamped to the 16 records of the region
    unsigned char *buf = out.data();
    EXPECT_EQ(std::vector<int>({QuorixGetFanNumber(), read_quorix_fan_info(15, buf), read_quorix_fan_info(16, buf),
                                read_quorix_fan_info(-1, buf), write_quorix_fan_info(16, buf),
                                read_quorix_fan_info(0, nullptr)}),
              std::vector<int>({16, 0, -1, -1, -1, -1}));
}

TEST_F(BoardState, SyncOcp_StoresEachSlotAndTheCount) {
    static int results[2];
    qtest::replaceSlot(qrx::Slot::QuorixGetOcpPresent, +[](int slot) { return results[slot]; });
    const struct { int slot0, slot1, result; Bytes present; } cases[] = {
        {1, 0, 1, {1, 0}}, {0, 3, 1, {0, 1}}, {2, 1, 2, {1, 1}}, {-1, 0, -1, {1, 0}}, {0, 0, 0, {0, 0}}, {0, -4, -1, {0, 0}}};
    for (const auto &c : cases) {
        results[0] = c.slot0, results[1] = c.slot1;
        EXPECT_EQ(QuorixSyncOCPDeviceInfo(), c.result) << c.slot0 << "," << c.slot1;
        EXPECT_EQ(qtest::blockBytes(0x200440, 2), c.present);
        EXPECT_EQ(QuorixGetOcpCardNum(), c.present[0] + c.present[1]);
    }
}

TEST_F(BoardState, PciePolls_QueryEveryDeviceWithBothReadinessFlags) {
    static std::vector<int> polled;
    const struct { int (*poll)(); qrx::Slot slot; std::size_t flags; } passes[] = {
        {QuorixGetPcieGPUThread, qrx::Slot::QuorixGetPcieGPUInfo, 0x200400},
        {QuorixGetPcieAcceleratorsThread, qrx::Slot::QuorixGetPcieAcceleratorsInfo, 0x200420}};
    for (const auto &pass : passes) {
        qtest::replaceSlot(pass.slot, +[](int index) { return polled.push_back(index), -1; });
        const Bytes flags = {1, 1, 1, 0, 0, 1, 1, 1, 2, 1, 1, 2};  // devices 0..5; 15 and the 17th (past the table) ready
        block().copyIn(pass.flags, flags.data(), flags.size());
        block().setU16(pass.flags + 30, 0x0101), block().setU16(pass.flags + 32, 0x0101);
        polled.clear();
        EXPECT_EQ(pass.poll(), 0);
        EXPECT_EQ(polled, (std::vector<int>{0, 3, 15})) << qrx::slotIndex(pass.slot);
    }
}

}  // namespace
