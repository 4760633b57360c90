// FRU access rules and the EEPROM erase with its asset-data side effect.
#include <algorithm>

#include "quorix_test.h"

namespace {

using qtest::block;
using qtest::Bytes;
int slot(qrx::Slot s) { return qrx::slotIndex(s); }
constexpr std::size_t kAssetFlag = 138227;

class FruRecords : public qtest::BoundTest {};

TEST_F(FruRecords, ReadAndWrite_PassThroughTheFruDeviceAndReportFailures) {
    Bytes data = {0x01, 0x00, 0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC}, back(8, 0);
    EXPECT_EQ(quorix_write_fru(5, 0x10, 8, data.data()), 8);
    EXPECT_EQ(quorix_read_fru(5, 0x10, 8, back.data()), 8);
    EXPECT_EQ(back, data);
    for (int device : {30, 31, 32, 33}) {  // protected: refused before the slot is looked at
        EXPECT_EQ(qtest::captureStdout([&] { EXPECT_EQ(quorix_write_fru(device, 0, 4, data.data()), -1); }), "");
    }
    EXPECT_EQ(std::vector<unsigned>({qtest::Sim::get().callCount(slot(qrx::Slot::WriteFru)), qtest::Sim::get().callCount(slot(qrx::Slot::ReadFru))}),
              std::vector<unsigned>({1, 1}));
    EXPECT_EQ(quorix_write_fru(29, 0, 4, data.data()) + quorix_write_fru(34, 0, 4, data.data()), 8);
    const struct { qrx::Slot slot; int fault; int (*call)(int, int, int, unsigned char *); int result; const char *out; } cases[] = {
        {qrx::Slot::ReadFru, 2, quorix_read_fru, -1, "[INFO]: Read FRU Info Failed. Length = 8\n"},  // half the length
        {qrx::Slot::ReadFru, 1, quorix_read_fru, -1, "[INFO]: Read FRU Info Failed. Length = -1\n"},
        {qrx::Slot::WriteFru, 1, quorix_write_fru, -1, "[INFO]: Write FRU Info Failed. Ret = -1\n"},
        {qrx::Slot::WriteFru, 2, quorix_write_fru, 8, ""}};  // a short write is passed on as it is
    for (const auto &c : cases) {
        qtest::Sim::get().setFault(slot(c.slot), c.fault);
        int result = 0;
        EXPECT_EQ(qtest::captureStdout([&] { result = c.call(2, 0, 16, Bytes(16).data()); }), c.out);
        EXPECT_EQ(result, c.result) << c.out;
        qtest::Sim::get().setFault(slot(c.slot), 0);
    }
    intf_handle[slot(qrx::Slot::ReadFru)] = intf_handle[slot(qrx::Slot::WriteFru)] = nullptr;
    EXPECT_EQ(quorix_read_fru(1, 0, 4, data.data()), -2);
    EXPECT_EQ(quorix_write_fru(29, 0, 4, data.data()), -2);
    EXPECT_EQ(quorix_write_fru(30, 0, 4, data.data()), -1);
}

std::vector<std::string> g_eepromWrites;
int g_eepromResult = 0, g_eepromFailAt = -1;
int write24256(int offset, unsigned char *buffer, int length) {
    const bool erased = std::all_of(buffer, buffer + length, [](unsigned char b) { return b == 0xFF; });
    g_eepromWrites.push_back(std::to_string(offset) + "+" + std::to_string(length) + (erased ? "" : "!"));
    return offset == g_eepromFailAt ? -1 : g_eepromResult;
}

TEST_F(FruRecords, ClearEeprom_ErasesPageByPageAndFlagsClearedAssetData) {
    qtest::replaceSlot(qrx::Slot::QuorixWrite24256EEprom, write24256);
    qtest::logToConsole({"QRXMONITOR"});
    const struct { int offset, length, failAt, result; std::vector<std::string> writes; unsigned char flag; } cases[] = {
        {0, 64, -1, 0, {"0+64"}, 0}, {60, 70, -1, 0, {"60+4", "64+64", "128+2"}, 0}, {32760, 8, -1, 0, {"32760+8"}, 0},
        {32760, 9, -1, -1, {}, 0}, {-1, 4, -1, -1, {}, 0}, {10, 0, -1, -1, {}, 0}, {0, 0x7FFFFFFF, -1, -1, {}, 0},
        {0, 200, 64, -1, {"0+64", "64+64"}, 0}, {29100, 21, -1, 0, {"29100+20", "29120+1"}, 1}};
    for (const auto &c : cases) {
        g_eepromWrites.clear();
        g_eepromFailAt = c.failAt;
        const std::string out = qtest::captureStdout([&] { EXPECT_EQ(QuorixClearEEPROMInfo(c.offset, c.length), c.result); });
        EXPECT_EQ(g_eepromWrites, c.writes) << c.offset << "+" << c.length;
        EXPECT_EQ(block().u8(kAssetFlag), c.flag) << c.offset << "+" << c.length;
        EXPECT_EQ(out.find("QuorixClearEEPROMInfo: write of 64 bytes at 64 failed\n") != std::string::npos, c.failAt >= 0);
    }
}

}  // namespace
