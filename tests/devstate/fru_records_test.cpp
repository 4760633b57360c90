// FRU access rules, the asset write side effect, scan enables, ME access and
// the backplane and fan-plane presence checks.
#include <algorithm>
#include <string>
#include <vector>

#include "quorix_test.h"

namespace {

using qtest::block;

class FruRecords : public qtest::BoundTest {};

TEST_F(FruRecords, ReadAndWrite_RoundTripThroughTheFruDevice) {
    std::vector<unsigned char> data = {0x01, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC};
    EXPECT_EQ(quorix_write_fru(5, 0x10, 8, data.data()), 8);
    std::vector<unsigned char> back(8, 0);
    EXPECT_EQ(quorix_read_fru(5, 0x10, 8, back.data()), 8);
    EXPECT_EQ(back, data);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::WriteFru)), 1u);
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::ReadFru)), 1u);
}

TEST_F(FruRecords, Read_AShortTransferIsAFailure) {
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::ReadFru), 2);  // half the length
    std::vector<unsigned char> buf(16, 0);
    int result = 0;
    EXPECT_EQ(qtest::captureStdout([&] { result = quorix_read_fru(2, 0, 16, buf.data()); }),
              "[INFO]: Read FRU Info Failed. Length = 8\n");
    EXPECT_EQ(result, -1);
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::ReadFru), 1);
    EXPECT_EQ(qtest::captureStdout([&] { result = quorix_read_fru(2, 0, 16, buf.data()); }),
              "[INFO]: Read FRU Info Failed. Length = -1\n");
    EXPECT_EQ(result, -1);
}

TEST_F(FruRecords, ReadAndWrite_EmptySlotsGiveMinusTwo) {
    intf_handle[20] = nullptr;
    intf_handle[19] = nullptr;
    unsigned char buf[4] = {};
    EXPECT_EQ(quorix_read_fru(1, 0, 4, buf), -2);
    EXPECT_EQ(quorix_write_fru(29, 0, 4, buf), -2);
    // The protected devices are refused before the slot is looked at.
    for (int device : {30, 31, 32, 33}) EXPECT_EQ(quorix_write_fru(device, 0, 4, buf), -1) << device;
}

TEST_F(FruRecords, Write_ProtectedDevicesAreNeverWritten) {
    unsigned char buf[4] = {1, 2, 3, 4};
    for (int device : {30, 31, 32, 33}) {
        std::string out = qtest::captureStdout([&] { EXPECT_EQ(quorix_write_fru(device, 0, 4, buf), -1); });
        EXPECT_EQ(out, "");
    }
    EXPECT_EQ(qtest::Sim::get().callCount(qrx::slotIndex(qrx::Slot::WriteFru)), 0u);
    EXPECT_EQ(quorix_write_fru(29, 0, 4, buf), 4);
    EXPECT_EQ(quorix_write_fru(34, 0, 4, buf), 4);
}

TEST_F(FruRecords, Write_FailurePrintsTheResult) {
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::WriteFru), 1);
    unsigned char buf[4] = {1, 2, 3, 4};
    int result = 0;
    EXPECT_EQ(qtest::captureStdout([&] { result = quorix_write_fru(3, 0, 4, buf); }),
              "[INFO]: Write FRU Info Failed. Ret = -1\n");
    EXPECT_EQ(result, -1);
    qtest::Sim::get().setFault(qrx::slotIndex(qrx::Slot::WriteFru), 2);  // a short write is passed on as it is
    EXPECT_EQ(quorix_write_fru(3, 0, 4, buf), 2);
}

int g_assetResult = 0;
std::vector<int> g_assetCalls;
int writeAsset(int offset, unsigned char *, int length) {
    g_assetCalls.push_back(offset);
    g_assetCalls.push_back(length);
    return g_assetResult;
}

TEST_F(FruRecords, AssetWrite_AtTheAssetOffsetForcesBiosInfoToCpld) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, writeAsset);
    unsigned char data[2] = {0x12, 0x34};
    int result = -9;
    EXPECT_EQ(qtest::captureStdout([&] { result = QuorixWriteAssetInfo2EEpromInterface(29120, data, 2); }),
              "ForceSetBiosInfo2Cpld when write asset info,offset:0x71c0!! \n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(block().u8(138227), 1);
    EXPECT_EQ(g_assetCalls, (std::vector<int>{29120, 2}));
}

TEST_F(FruRecords, AssetWrite_OtherOffsetsOrFailuresLeaveTheFlag) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, writeAsset);
    unsigned char data[2] = {0x12, 0x34};
    EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixWriteAssetInfo2EEpromInterface(29121, data, 2), 0); }), "");
    EXPECT_EQ(block().u8(138227), 0);
    g_assetResult = -1;
    EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(QuorixWriteAssetInfo2EEpromInterface(29120, data, 2), -1); }), "");
    EXPECT_EQ(block().u8(138227), 0);
    g_assetResult = 2;
    EXPECT_EQ(QuorixWriteAssetInfo2EEpromInterface(29120, data, 2), 2);
    EXPECT_EQ(block().u8(138227), 0);
}

TEST_F(FruRecords, MeAccess_AcceptsZeroAndOneOnly) {
    EXPECT_EQ(write_me_access_status(1), 0);
    EXPECT_EQ(block().u8(23), 1);
    EXPECT_EQ(read_me_access_status(), 1);
    for (unsigned value : {2u, 255u, 0xFFFFFFFFu}) {
        EXPECT_EQ(write_me_access_status(value), -1) << value;
        EXPECT_EQ(block().u8(23), 1);
    }
    EXPECT_EQ(write_me_access_status(0), 0);
    EXPECT_EQ(read_me_access_status(), 0);
}

TEST_F(FruRecords, ScanEnables_CheckIndexAndValueUnsigned) {
    struct Case {
        unsigned index, value;
        int result;
    } cases[] = {{0, 1, 0}, {24, 2, 0}, {12, 0, 0}, {25, 1, -1}, {3, 3, -1}, {0xFFFFFFFFu, 1, -1}};
    for (const Case &c : cases) {
        auto before = qtest::blockBytes(24, 26);
        EXPECT_EQ(write_device_scan_enable(c.index, c.value), c.result) << c.index << "," << c.value;
        auto after = qtest::blockBytes(24, 26);
        if (c.result == 0) {
            before[c.index] = static_cast<unsigned char>(c.value);
            EXPECT_EQ(read_device_scan_enable(c.index), static_cast<int>(c.value));
        }
        EXPECT_EQ(after, before);
    }
    EXPECT_EQ(block().u8(48), 2);
    EXPECT_EQ(read_device_scan_enable(25), -1);
    EXPECT_EQ(read_device_scan_enable(static_cast<unsigned>(-1)), -1);
}

TEST_F(FruRecords, StartAndStop_SetAllTwentyFiveScans) {
    block().setU8(23, 0x77);
    block().setU8(49, 0x77);
    EXPECT_EQ(StartQuorixMonitorScan(), 0);
    EXPECT_EQ(qtest::blockBytes(24, 25), std::vector<unsigned char>(25, 1));
    EXPECT_EQ(StopQuorixMonitorScan(), 0);
    EXPECT_EQ(qtest::blockBytes(24, 25), std::vector<unsigned char>(25, 0));
    EXPECT_EQ(block().u8(23), 0x77);
    EXPECT_EQ(block().u8(49), 0x77);
}

void putBackplane(int k, unsigned char presence, unsigned char marker) {
    block().setU8(119103 + 1470 * k, presence);
    block().setU8(119100 + 1470 * k, marker);
}

TEST_F(FruRecords, BackplanePresence_NeedsPresenceAndTheValidMarker) {
    EXPECT_EQ(checkBackPlanePresent(), -1);
    putBackplane(3, 1, 253);
    putBackplane(5, 0, 254);
    EXPECT_EQ(checkBackPlanePresent(), -1);
    putBackplane(12, 0x80, 254);  // last record of the second pass
    EXPECT_EQ(checkBackPlanePresent(), 0);
    putBackplane(12, 0, 0);
    putBackplane(0, 2, 254);
    EXPECT_EQ(checkBackPlanePresent(), 0);
    putBackplane(0, 0, 0);
    putBackplane(13, 1, 254);  // no such record
    EXPECT_EQ(checkBackPlanePresent(), -1);
}

TEST_F(FruRecords, FanPlanePresence_ChecksBothRecords) {
    struct Case {
        unsigned char presence0, marker0, presence1, marker1;
        int result;
    } cases[] = {{0, 0, 0, 0, -1},     {1, 254, 0, 0, 0},   {1, 253, 0, 254, -1}, {0, 254, 3, 254, 0},
                 {1, 0, 1, 253, -1},   {0, 0, 1, 254, 0}};
    for (const Case &c : cases) {
        block().setU8(65970, c.presence0);
        block().setU8(65967, c.marker0);
        block().setU8(65970 + 819, c.presence1);
        block().setU8(65967 + 819, c.marker1);
        EXPECT_EQ(checkFanPlanePresent(), c.result)
            << int(c.presence0) << "," << int(c.marker0) << "," << int(c.presence1) << "," << int(c.marker1);
    }
}

std::vector<std::string> g_eepromWrites;
int g_eepromFailAt = -1;
int write24256(int offset, unsigned char *buffer, int length) {
    bool erased = std::all_of(buffer, buffer + length, [](unsigned char b) { return b == 0xFF; });
    g_eepromWrites.push_back(std::to_string(offset) + "+" + std::to_string(length) + (erased ? "" : "!"));
    return offset == g_eepromFailAt ? -1 : 0;
}

TEST_F(FruRecords, ClearEeprom_ErasesPageByPageWithoutCrossingAPage) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, write24256);
    const struct {
        int offset, length, result;
        std::vector<std::string> writes;
    } cases[] = {
        {0, 64, 0, {"0+64"}},
        {60, 70, 0, {"60+4", "64+64", "128+2"}},
        {32760, 8, 0, {"32760+8"}},
        {32760, 9, -1, {}},  // past the 32 KiB part
        {-1, 4, -1, {}},
        {10, 0, -1, {}},
        {0, 0x7FFFFFFF, -1, {}},
    };
    for (const auto &c : cases) {
        g_eepromWrites.clear();
        EXPECT_EQ(QuorixClearEEPROMInfo(c.offset, c.length), c.result) << c.offset << "+" << c.length;
        EXPECT_EQ(g_eepromWrites, c.writes) << c.offset << "+" << c.length;
    }
    EXPECT_EQ(qtest::block().u8(138227), 0) << "asset offset not cleared";
}

TEST_F(FruRecords, ClearEeprom_StopsAtAFailedPageAndFlagsClearedAssetData) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, write24256);
    qtest::logToConsole({"QRXMONITOR"});
    g_eepromWrites.clear();
    g_eepromFailAt = 64;
    std::string out = qtest::captureStdout([] { EXPECT_EQ(QuorixClearEEPROMInfo(0, 200), -1); });
    g_eepromFailAt = -1;
    EXPECT_EQ(g_eepromWrites, (std::vector<std::string>{"0+64", "64+64"}));
    EXPECT_NE(out.find("QuorixClearEEPROMInfo: write of 64 bytes at 64 failed\n"), std::string::npos) << out;
    EXPECT_EQ(qtest::block().u8(138227), 0);
    EXPECT_EQ(QuorixClearEEPROMInfo(29100, 21), 0);
    EXPECT_EQ(qtest::block().u8(138227), 1) << "the CPLD's BIOS information must be written again";
}

}  // namespace
